// tools/open_options.h: the command-line tool. How a verb opens the reader: --port and --baud.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vnr::tool {

struct OpenOptions {
    std::string port;           // empty: USB first, then COM1
    int com = 0;                // with a COMn port: n
    std::int32_t baud = 115200;
};

// Takes --port or --baud at argv[i] (and its value, advancing i). Returns 1 when taken, 0 when argv[i]
// is another option, -1 after printing what is wrong with it.
int take_open_option(int argc, char** argv, int& i, OpenOptions& options);

// Opens as the options say. Returns the handle, or prints why there is none and returns 0 or below.
std::int32_t open_reader(const OpenOptions& options);

}  // namespace vnr::tool
