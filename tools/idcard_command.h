// tools/idcard_command.h: the command-line tool. The identity card verbs.
#pragma once

namespace vnr::tool {



// vnr idcard [--photo FILE] [--image FILE] [--json] [--fingerprint] [--wait SECONDS]: waits for a card, reads it
// (resident or foreign) and prints its fields. `argv` holds the options after the verb.
int idcard_command(int argc, char** argv);

// vnr image OUT.bmp [--face both|front|back] [--photo FILE] [--fields FILE.json] [--name T] ...: draws
// a card picture from the fields given.
int image_command(int argc, char** argv);

// vnr wlt encode IN.bmp OUT.wlt | vnr wlt decode IN.wlt: packs a portrait into the card's photo format,
// or has the library decode a .wlt file to the bitmap beside it.
int wlt_command(int argc, char** argv);

}  // namespace vnr::tool
