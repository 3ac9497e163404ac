// tools/utf8_output.h: the command-line tool. The library speaks GBK; the tool prints UTF-8.
#pragma once

namespace vnr::tool {

// Prepares standard output for UTF-8 (the console code page on Windows; nothing elsewhere).
void use_utf8_output();

}  // namespace vnr::tool
