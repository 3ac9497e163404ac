// src/crypto/encoders.cpp: crypto. The hexadecimal, decimal and Base64 conversions and their exports.
#include "crypto/encoders.h"

#include "core/library_lock.h"
#include "vnr_32.h"

#include <array>
#include <bit>
#include <cstring>

namespace vnr::crypto {

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";
constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The value of a hexadecimal digit after upper-casing, or -1. A zero byte is a bad digit like any other.
int digit_value(char c) noexcept {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// ---- Base64 tables, derived from the alphabet -------------------------------------------------

// Every 12-bit value as its two characters, in a 16-bit word whose bytes in memory are those two
// characters in order: two look-ups give a group's four characters.
constexpr std::array<std::uint16_t, 4096> kBase64Pairs = [] {
    std::array<std::uint16_t, 4096> pairs{};
    for (unsigned v = 0; v < 4096; ++v) {
        const auto first = static_cast<unsigned char>(kBase64Alphabet[v >> 6]);
        const auto second = static_cast<unsigned char>(kBase64Alphabet[v & 0x3F]);
        pairs[v] = std::endian::native == std::endian::little ? static_cast<std::uint16_t>(first | second << 8)
                                                              : static_cast<std::uint16_t>(first << 8 | second);
    }
    return pairs;
}();

// Four pairs of characters to `out` in one store.
inline void store_pairs(char* out, std::uint64_t p0, std::uint64_t p1, std::uint64_t p2, std::uint64_t p3) noexcept {
    const std::uint64_t eight = std::endian::native == std::endian::little ? p0 | p1 << 16 | p2 << 32 | p3 << 48
                                                                         : p0 << 48 | p1 << 32 | p2 << 16 | p3;
    std::memcpy(out, &eight, sizeof eight);
}

// The bytes of `v` in reverse order, written in a form that compilers make one instruction of.
constexpr std::uint64_t byteswap64(std::uint64_t v) {
    v = (v & 0x00FF00FF00FF00FF) << 8 | (v >> 8 & 0x00FF00FF00FF00FF);
    v = (v & 0x0000FFFF0000FFFF) << 16 | (v >> 16 & 0x0000FFFF0000FFFF);
    return v << 32 | v >> 32;
}

// The three bytes `b` (b0 in the top of its 24 bits) as a word whose first three bytes in memory are
// b0, b1, b2.
constexpr std::uint32_t in_memory_order(std::uint32_t b) {
    if constexpr (std::endian::native == std::endian::little)
        return (b >> 16 & 0xFF) | (b & 0xFF00) | (b & 0xFF) << 16;
    else
        return b << 8;
}

// For each position k (0 to 3) in a group of four characters and each byte value, the character's
// six bits at their place among the group's three bytes, in memory order. Anything outside the
// alphabet, the pad '=' included, counts as 0.
constexpr std::array<std::array<std::uint32_t, 256>, 4> kBase64Values = [] {
    std::array<std::array<std::uint32_t, 256>, 4> values{};
    for (unsigned v = 0; v < 64; ++v)
        for (unsigned k = 0; k < 4; ++k)
            values[k][static_cast<unsigned char>(kBase64Alphabet[v])] = in_memory_order(v << (18 - 6 * k));
    return values;
}();

// The three bytes of a group of four characters, in memory order in the low three bytes of a word.
inline std::uint32_t base64_group(const char* in) noexcept {
    return kBase64Values[0][static_cast<unsigned char>(in[0])] | kBase64Values[1][static_cast<unsigned char>(in[1])] |
           kBase64Values[2][static_cast<unsigned char>(in[2])] | kBase64Values[3][static_cast<unsigned char>(in[3])];
}

// Pairs of digits to bytes, each byte `base` times the first digit plus the second. The first digit
// of a pair is judged before the second is read, so reading stops at the first bad one.
std::int16_t pairs_to_bytes(const char* src, std::uint8_t* dst, std::uint32_t count, int base) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        const int high = digit_value(src[2 * i]);
        if (high < 0) return VNR_E_GENERAL;
        const int low = digit_value(src[2 * i + 1]);
        if (low < 0) return VNR_E_GENERAL;
        dst[i] = static_cast<std::uint8_t>(high * base + low);
    }
    dst[count] = 0;
    return VNR_OK;
}

}  // namespace

std::int16_t bytes_to_hex(const std::uint8_t* src, char* dst, std::uint32_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        dst[2 * i] = kHexDigits[src[i] >> 4];
        dst[2 * i + 1] = kHexDigits[src[i] & 0x0F];
    }
    dst[2 * static_cast<std::uint64_t>(count)] = '\0';
    return VNR_OK;
}

std::int16_t hex_to_bytes(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept {
    return pairs_to_bytes(src, dst, count, 16);
}

std::int16_t hex_asc(const std::uint8_t* src, char* dst, std::uint32_t count) noexcept {
    const core::LibraryGuard guard;
    return bytes_to_hex(src, dst, count);
}

std::int16_t asc_hex(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept {
    const core::LibraryGuard guard;
    return hex_to_bytes(src, dst, count);
}

std::int16_t asc_dec(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept {
    const core::LibraryGuard guard;
    return pairs_to_bytes(src, dst, count, 10);
}

std::int32_t hex_base64(const std::uint8_t* src, char* dst, std::uint32_t count) noexcept {
    const std::uint32_t groups = count / 3;
    const std::uint8_t* in = src;
    char* out = dst;
    // Two groups at a time: six bytes in (read as eight, while eight remain), eight characters out in
    // one store.
    std::uint32_t g = 0;
    for (; g + 2 <= groups && std::uint64_t{3} * g + 8 <= count; g += 2, in += 6, out += 8) {
        std::uint64_t word;
        std::memcpy(&word, in, sizeof word);
        if constexpr (std::endian::native == std::endian::little) word = byteswap64(word);
        const std::uint64_t p0 = kBase64Pairs[word >> 52], p1 = kBase64Pairs[(word >> 40) & 0xFFF];
        const std::uint64_t p2 = kBase64Pairs[(word >> 28) & 0xFFF], p3 = kBase64Pairs[(word >> 16) & 0xFFF];
        store_pairs(out, p0, p1, p2, p3);
    }
    for (; g + 2 <= groups; g += 2, in += 6, out += 8) {
        const std::uint32_t a = in[0] << 16 | in[1] << 8 | in[2];
        const std::uint32_t b = in[3] << 16 | in[4] << 8 | in[5];
        store_pairs(out, kBase64Pairs[a >> 12], kBase64Pairs[a & 0xFFF], kBase64Pairs[b >> 12], kBase64Pairs[b & 0xFFF]);
    }
    if (groups % 2 != 0) {
        const std::uint32_t a = in[0] << 16 | in[1] << 8 | in[2];
        std::memcpy(out, &kBase64Pairs[a >> 12], 2);
        std::memcpy(out + 2, &kBase64Pairs[a & 0xFFF], 2);
        in += 3, out += 4;
    }
    // A last group of one or two bytes: its characters with zero bits filled in, then padding.
    const std::uint32_t left = count - 3 * groups;
    if (left != 0) {
        const std::uint32_t a = in[0] << 16 | (left > 1 ? in[1] << 8 : 0);
        out[0] = kBase64Alphabet[a >> 18];
        out[1] = kBase64Alphabet[(a >> 12) & 0x3F];
        out[2] = left > 1 ? kBase64Alphabet[(a >> 6) & 0x3F] : '=';
        out[3] = '=';
        out += 4;
    }
    return static_cast<std::int32_t>(out - dst + 1);
}

std::int32_t base64_hex(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept {
    const std::uint32_t groups = count / 4;
    if (groups == 0) return 1;
    const char* in = src;
    std::uint8_t* out = dst;
    // Each group but the last is stored as four bytes, the fourth overwritten by the next group.
    for (std::uint32_t g = 0; g + 1 < groups; ++g, in += 4, out += 3) {
        const std::uint32_t bytes = base64_group(in);
        std::memcpy(out, &bytes, sizeof bytes);
    }
    const std::uint32_t bytes = base64_group(in);
    std::memcpy(out, &bytes, 3);
    return static_cast<std::int32_t>(3 * groups + 1);
}

}  // namespace vnr::crypto

extern "C" {

VNR_API int16_t VNR_CALL hex_asc(const uint8_t* src, char* dst, uint32_t count) {
    return vnr::crypto::hex_asc(src, dst, count);
}

VNR_API int16_t VNR_CALL asc_hex(const char* src, uint8_t* dst, uint32_t count) {
    return vnr::crypto::asc_hex(src, dst, count);
}

VNR_API int16_t VNR_CALL asc_dec(const char* src, uint8_t* dst, uint32_t count) {
    return vnr::crypto::asc_dec(src, dst, count);
}

VNR_API int32_t VNR_CALL hex_base64(const uint8_t* src, char* dst, uint32_t count) {
    return vnr::crypto::hex_base64(src, dst, count);
}

VNR_API int32_t VNR_CALL base64_hex(const char* src, uint8_t* dst, uint32_t count) {
    return vnr::crypto::base64_hex(src, dst, count);
}

}  // extern "C"
