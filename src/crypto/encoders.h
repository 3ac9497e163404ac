// src/crypto/encoders.h: crypto. Bytes to and from hexadecimal, decimal pairs and Base64, in the
// caller's buffers. The exported functions of the same names call these; other families call them
// directly. No reader, no log line, no check of pointers or sizes: the caller provides the room.
#pragma once

#include <cstdint>

namespace vnr::crypto {

// Each of `count` bytes as two upper-case digits, then a zero byte (2*count+1 bytes). Returns 0.
std::int16_t bytes_to_hex(const std::uint8_t* src, char* dst, std::uint32_t count) noexcept;

// `count` bytes from pairs of hexadecimal digits (either case), then a zero byte. At the first bad
// character: -1, the bytes done so far in `dst`, no zero byte.
std::int16_t hex_to_bytes(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept;

// bytes_to_hex under the library lock.
std::int16_t hex_asc(const std::uint8_t* src, char* dst, std::uint32_t count) noexcept;

// hex_to_bytes under the library lock.
std::int16_t asc_hex(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept;

// As asc_hex, each pair read as 10*first+second with A to F counting 10 to 15. Takes the library lock.
std::int16_t asc_dec(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept;

// Base64 of `count` bytes, padded, no zero byte. Returns the number of characters plus one.
std::int32_t hex_base64(const std::uint8_t* src, char* dst, std::uint32_t count) noexcept;

// Three bytes for each whole group of four characters among the first `count`; a character outside
// the alphabet (the pad included) counts as 0. No zero byte. Returns 3*groups+1.
std::int32_t base64_hex(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept;

// The length of hex_base64's text for `count` bytes, without the one it adds to its result.
constexpr std::uint32_t base64_length(std::uint32_t count) noexcept { return (count + 2) / 3 * 4; }

}  // namespace vnr::crypto
