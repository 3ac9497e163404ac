// tools/utf8_output.h: the command-line tool. The library speaks GBK; the tool prints UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace vnr::tool {

// GBK text as UTF-8; a byte sequence that is not GBK becomes U+FFFD.
std::string gbk_to_utf8(std::string_view gbk);

// Prepares standard output for UTF-8 (the console code page on Windows; nothing elsewhere).
void use_utf8_output();

}  // namespace vnr::tool
