// src/platform/text.h: platform. Conversions into and out of GBK (code page 936).
// Backends: posix/text.cpp (iconv), win32/text.cpp (MultiByteToWideChar / WideCharToMultiByte).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vnr::platform {

// UTF-16LE code units (two bytes each, low byte first) to GBK. A character that GBK lacks becomes
// '?'. An odd trailing byte is ignored. False when the conversion itself is not available.
bool utf16le_to_gbk(std::span<const std::uint8_t> utf16le, std::string& gbk);

// UTF-8 to GBK; used for the library's own texts, which are written in UTF-8 in the sources.
bool utf8_to_gbk(std::string_view utf8, std::string& gbk);

// GBK to UTF-8; used by the command-line tool, which prints UTF-8.
bool gbk_to_utf8(std::string_view gbk, std::string& utf8);

}  // namespace vnr::platform
