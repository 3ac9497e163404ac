// src/idcard/messages.h: idcard. The message texts that the identity card functions hand to their
// callers, and how they are laid into a caller's buffer. Texts are UTF-8 here and GBK at the interface.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vnr::idcard {

// The GBK bytes of one of the library's own texts, for the log: the UTF-8 bytes when the system
// cannot convert.
std::string gbk(std::string_view utf8);

// The GBK bytes of one of the library's own texts for a caller's buffer, whose room is counted in GBK
// bytes: false when the system cannot convert, and then nothing may be written.
bool gbk_for_caller(std::string_view utf8, std::string& gbk);

// Lays the GBK bytes of `utf8` at the head of `dest` without a terminator: the bytes behind them stay
// as they were. Nothing is written when `dest` is null or the text cannot be converted.
void lay_text(char* dest, std::string_view utf8);

// As lay_text, with a terminating zero.
void lay_text_z(char* dest, std::string_view utf8);

// The message for a triple of the identity card module that is not success: tried from the top of the
// table, the first row that fits wins.
std::string_view sw_text(std::uint8_t sw1, std::uint8_t sw2, std::uint8_t sw3) noexcept;

// The message for the status of a photo save.
std::string_view photo_status_text(int status) noexcept;

// The length of the GBK character at `at` in `text`: 2 for a lead byte with a byte behind it, else 1.
constexpr std::size_t gbk_char_length(std::string_view text, std::size_t at) noexcept {
    const auto c = static_cast<unsigned char>(text[at]);
    return c >= 0x81 && c <= 0xFE && at + 1 < text.size() ? 2 : 1;
}

// Messages of the read functions.
inline constexpr std::string_view kDone = "操作成功";
inline constexpr std::string_view kFailed = "操作失败";

}  // namespace vnr::idcard
