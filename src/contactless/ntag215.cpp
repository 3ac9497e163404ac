// src/contactless/ntag215.cpp: contactless. The NTAG215 functions made of other ones: the password
// change, the lock bytes, the base information read as a text, and the initialisation of a delivered
// tag in one call. None takes a lock of its own or writes a line of its own; each step locks and logs
// for itself, so another thread's command may fall between steps.
#include "contactless/commands.h"
#include "core/boundary.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vnr::contactless {

namespace {

constexpr std::uint8_t kNtagKeySize = 4;
constexpr std::uint8_t kPasswordPage = 0x85;
constexpr std::uint8_t kLockPage = 0x82;
constexpr std::array<std::uint8_t, 4> kLockBytes{0x70, 0x00, 0x00, 0x00};
constexpr std::uint8_t kBaseInfoFirst = 0x50;  // 48 pages, 192 bytes
constexpr std::uint8_t kBaseInfoLast = 0x7F;
constexpr std::size_t kBaseInfoSize = 192;
constexpr std::size_t kPageSize = 4;

// The password a tag carries when it is delivered, with which NTAG215_Init authenticates.
constexpr std::array<std::uint8_t, kNtagKeySize> kDefaultPassword{0xFF, 0xFF, 0xFF, 0xFF};

std::int16_t change_key(std::int32_t icdev, const std::uint8_t* key, std::uint8_t key_length) {
    if (key_length != kNtagKeySize) return VNR_E_GENERAL;
    return core::run(kNtagWrite, {icdev, {kPasswordPage}, {key}});
}

std::int16_t read_base_info(std::int32_t icdev, char* out) {
    if (out == nullptr) return VNR_E_BAD_ARGUMENT;
    std::array<std::uint8_t, kFastReadRoom> pages{};
    const std::int16_t status = core::run(kNtagFastRead, {icdev, {kBaseInfoFirst, kBaseInfoLast}, {}, {pages.data()}});
    if (status != VNR_OK) return status;
    // The text runs to the first zero byte; one that would not fit the caller's room is refused.
    const auto end = std::find(pages.begin(), pages.begin() + kBaseInfoRoom, std::uint8_t{0});
    if (end == pages.begin() + kBaseInfoRoom) return VNR_E_END_BYTE;
    std::copy(pages.begin(), end + 1, out);
    return VNR_OK;
}

std::int16_t init_tag(std::int32_t icdev, const std::uint8_t* key, const char* text) {
    if (text == nullptr) return VNR_NTAG215_INIT_TEXT;
    if (NTAG215_Authentication(icdev, kDefaultPassword.data(), kNtagKeySize) != VNR_OK) return VNR_NTAG215_INIT_AUTHENTICATION;
    if (NTAG215_ChangeKey(icdev, key, kNtagKeySize) != VNR_OK) return VNR_NTAG215_INIT_CHANGE_KEY;
    // The text is measured only now, after the password change: a text that is too long leaves the tag
    // with its new password. Nothing of it is read past its terminator.
    const std::size_t length = strnlen(text, kBaseInfoSize + 1);
    if (length > kBaseInfoSize) return VNR_NTAG215_INIT_TEXT;
    for (std::size_t at = 0; at < length; at += kPageSize) {
        std::array<std::uint8_t, kPageSize> page{};  // zeros behind the text's end
        std::memcpy(page.data(), text + at, std::min(kPageSize, length - at));
        const auto number = static_cast<std::uint8_t>(kBaseInfoFirst + at / kPageSize);
        if (NTAG215_Write_4bytes(icdev, number, page.data()) != VNR_OK) return VNR_NTAG215_INIT_WRITE_PAGE;
    }
    if (NTAG215_WriteLock(icdev) != VNR_OK) return VNR_NTAG215_INIT_WRITE_LOCK;
    return VNR_OK;
}

}  // namespace

}  // namespace vnr::contactless

using vnr::core::guarded;
namespace cl = vnr::contactless;

extern "C" {

VNR_API int16_t VNR_CALL NTAG215_ChangeKey(int32_t icdev, const uint8_t* key, uint8_t KeyLength) {
    return guarded<int16_t>([&] { return cl::change_key(icdev, key, KeyLength); });
}

VNR_API int16_t VNR_CALL NTAG215_WriteLock(int32_t icdev) {
    return guarded<int16_t>([&] { return NTAG215_Write_4bytes(icdev, cl::kLockPage, cl::kLockBytes.data()); });
}

VNR_API int16_t VNR_CALL NTAG215_ReadBaseInfo(int32_t icdev, char* out) {
    return guarded<int16_t>([&] { return cl::read_base_info(icdev, out); });
}

VNR_API int16_t VNR_CALL NTAG215_Init(int32_t icdev, const uint8_t* key, const char* text) {
    return guarded<int16_t>([&] { return cl::init_tag(icdev, key, text); });
}

}  // extern "C"
