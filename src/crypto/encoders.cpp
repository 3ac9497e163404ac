// src/crypto/encoders.cpp: crypto. The hexadecimal, decimal and Base64 conversions and their exports.
#include "crypto/encoders.h"

#include "core/library_lock.h"
#include "vnr_32.h"

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

// The value of a Base64 character; anything outside the alphabet, the pad '=' included, counts as 0.
std::uint8_t base64_value(char c) noexcept {
    if (c >= 'A' && c <= 'Z') return static_cast<std::uint8_t>(c - 'A');
    if (c >= 'a' && c <= 'z') return static_cast<std::uint8_t>(c - 'a' + 26);
    if (c >= '0' && c <= '9') return static_cast<std::uint8_t>(c - '0' + 52);
    if (c == '+') return 62;
    if (c == '/') return 63;
    return 0;
}

// Pairs of digits to bytes, each byte `base` times the first digit plus the second. The first digit
// of a pair is judged before the second is read, so reading stops at the first bad one.
std::int16_t pairs_to_bytes(const char* src, std::uint8_t* dst, std::uint32_t count, int base) noexcept {
    const core::LibraryGuard guard;
    for (std::uint32_t i = 0; i < count; ++i) {
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

std::int16_t hex_asc(const std::uint8_t* src, char* dst, std::uint32_t count) noexcept {
    const core::LibraryGuard guard;
    for (std::uint32_t i = 0; i < count; ++i) {
        dst[2 * i] = kHexDigits[src[i] >> 4];
        dst[2 * i + 1] = kHexDigits[src[i] & 0x0F];
    }
    dst[2 * static_cast<std::uint64_t>(count)] = '\0';
    return VNR_OK;
}

std::int16_t asc_hex(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept {
    return pairs_to_bytes(src, dst, count, 16);
}

std::int16_t asc_dec(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept {
    return pairs_to_bytes(src, dst, count, 10);
}

std::int32_t hex_base64(const std::uint8_t* src, char* dst, std::uint32_t count) noexcept {
    std::uint32_t out = 0;
    for (std::uint32_t i = 0; i < count; i += 3) {
        const std::uint32_t left = count - i;
        const std::uint32_t group = (src[i] << 16) | (left > 1 ? src[i + 1] << 8 : 0) | (left > 2 ? src[i + 2] : 0);
        dst[out++] = kBase64Alphabet[(group >> 18) & 0x3F];
        dst[out++] = kBase64Alphabet[(group >> 12) & 0x3F];
        dst[out++] = left > 1 ? kBase64Alphabet[(group >> 6) & 0x3F] : '=';
        dst[out++] = left > 2 ? kBase64Alphabet[group & 0x3F] : '=';
    }
    return static_cast<std::int32_t>(out + 1);
}

std::int32_t base64_hex(const char* src, std::uint8_t* dst, std::uint32_t count) noexcept {
    const std::uint32_t groups = count / 4;
    for (std::uint32_t g = 0; g < groups; ++g) {
        const char* in = src + 4 * static_cast<std::uint64_t>(g);
        const std::uint32_t group = (base64_value(in[0]) << 18) | (base64_value(in[1]) << 12) |
                                    (base64_value(in[2]) << 6) | base64_value(in[3]);
        std::uint8_t* out = dst + 3 * static_cast<std::uint64_t>(g);
        out[0] = static_cast<std::uint8_t>(group >> 16);
        out[1] = static_cast<std::uint8_t>(group >> 8);
        out[2] = static_cast<std::uint8_t>(group);
    }
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
