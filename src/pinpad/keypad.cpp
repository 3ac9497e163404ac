// src/pinpad/keypad.cpp: pinpad. The exported mw_kb_* functions: they check the caller's 32-bit numbers,
// turn hexadecimal texts into bytes and call the layer below (pinpad/commands.h). Keys are wiped from the
// library's buffers once sent; a user key loaded by a number below 16 is kept in the pad's table.
#include "core/boundary.h"
#include "core/call.h"
#include "crypto/encoders.h"
#include "pinpad/commands.h"
#include "pinpad/state.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>

namespace vnr::pinpad {

namespace {

using core::Call;
using core::argument_check;

constexpr std::int32_t kLastKeyNumber = 255;
constexpr std::int32_t kShortestTimeoutS = 6;
constexpr std::int32_t kLongestTimeoutS = 255;
constexpr std::size_t kBlockBytes = 6;
constexpr std::size_t kEncipheredRoom = 17;  // mw_kb_getenpin's own buffer: its `pin` holds 2*17+1

constexpr bool is_key_number(std::int32_t n) noexcept { return n >= 0 && n <= kLastKeyNumber; }

// The key text as 8 or 16 bytes (and the converter's zero byte); false for a missing text or one that
// is not that many pairs of hexadecimal digits.
bool key_bytes(const char* text, std::int32_t des_type, std::array<std::uint8_t, kLongKeySize + 1>& key) {
    const auto size = static_cast<std::uint32_t>(des_type == 0 ? kShortKeySize : kLongKeySize);
    return text != nullptr && crypto::asc_hex(text, key.data(), size) == VNR_OK;
}

std::int16_t download_mainkey(std::int32_t icdev, std::int32_t destype, std::int32_t mainkeyno, const char* text) {
    Call call("-----mw_kb_downloadmainkey()----- ");
    if (const auto refused = call.refused({
            argument_check(destype >= 0 && destype <= kLastDesType, "==>mw_kb_downloadmainkey()，destype参数无效. "),
            argument_check(is_key_number(mainkeyno), "==>mw_kb_downloadmainkey()，mainkeyno参数无效. ")}))
        return *refused;
    std::array<std::uint8_t, kLongKeySize + 1> key{};
    const core::WipeOnExit wipe(key);
    if (!key_bytes(text, destype, key)) return call.refuse(VNR_E_BAD_ARGUMENT, "==>mw_kb_downloadmainkey()，key参数无效. ");
    const std::int16_t status = call.outside([&] {
        return pwdkb_load_mainkey(icdev, static_cast<std::uint8_t>(destype), static_cast<std::uint8_t>(mainkeyno), key.data());
    });
    return call.finish(status, "==>mw_kb_downloadmainkey()，状态码：%d. ");
}

std::int16_t download_userkey(std::int32_t icdev, std::int32_t destype, std::int32_t mainkeyno, std::int32_t userkeyno,
                              const char* text) {
    Call call("-----mw_kb_downloaduserkey()----- ");
    if (const auto refused = call.refused({
            argument_check(destype >= 0 && destype <= kLastDesType, "==>mw_kb_downloaduserkey()，destype参数无效. "),
            argument_check(is_key_number(mainkeyno) && is_key_number(userkeyno),
                           "==>mw_kb_downloaduserkey()，mainkeyno userkeyno参数无效. ")}))
        return *refused;
    std::array<std::uint8_t, kLongKeySize + 1> key{};
    const core::WipeOnExit wipe(key);
    if (!key_bytes(text, destype, key)) return call.refuse(VNR_E_BAD_ARGUMENT, "==>mw_kb_downloaduserkey()，key参数无效. ");
    const std::int16_t status = call.outside([&] {
        return pwdkb_load_workkey(icdev, static_cast<std::uint8_t>(destype), static_cast<std::uint8_t>(mainkeyno),
                                  static_cast<std::uint8_t>(userkeyno), key.data());
    });
    // The pad keeps no copy the library could ask for: the library keeps its own, for deciphering.
    if (status == VNR_OK) {
        if (UserKey* entry = user_key(call.guard(), userkeyno)) {
            entry->des_type = static_cast<std::uint8_t>(destype);
            std::copy_n(key.begin(), kLongKeySize, entry->key.begin());  // a DES key leaves zeros behind it
        }
    }
    return call.finish(status, "==>mw_kb_downloaduserkey()，状态码：%d. ");
}

std::int16_t set_timeout(std::int32_t icdev, std::int32_t seconds) {
    // Checked before any lock is taken.
    if (seconds < kShortestTimeoutS || seconds > kLongestTimeoutS)
        return log::refuse(VNR_E_BAD_ARGUMENT, "==>mw_kb_settimeout()，超时时间错误. ");
    return pwdkb_settimeout(icdev, static_cast<std::uint8_t>(seconds));
}

std::int16_t get_pin(std::int32_t icdev, std::int32_t times, std::uint8_t* pin) {
    // Refused before a person is asked for anything.
    if ((times != 1 && times != 2) || pin == nullptr) return VNR_E_BAD_ARGUMENT;
    core::WipedBytes entered(kPinReplyRoom);
    std::uint8_t length = 0;
    const std::int16_t status = times == 1 ? pwdkb_getpwd(icdev, &length, entered) : pwdkb_getpwd_again(icdev, &length, entered);
    if (status != VNR_OK) return status;
    std::copy_n(entered.begin(), length, pin);
    return VNR_OK;
}

std::int16_t get_enciphered_pin(std::int32_t icdev, std::int32_t times, const char* blockdata, char* pin) {
    if ((times != 1 && times != 2) || pin == nullptr) return VNR_E_BAD_ARGUMENT;
    std::array<std::uint8_t, kBlockBytes + 1> block{};
    if (blockdata == nullptr || crypto::asc_hex(blockdata, block.data(), kBlockBytes) != VNR_OK)
        return log::refuse(VNR_E_BAD_ARGUMENT, "==>mw_kb_getenpin()，blockdata参数无效. ");
    // The key number is the active one; the reentrant lock stays held through the read below.
    const Call call(nullptr);
    const auto userkeyno = static_cast<std::uint8_t>(pad_state(call.guard()).active_userkeyno & 0xFF);
    std::array<std::uint8_t, kEncipheredRoom> enciphered{};
    std::uint8_t length = 0;
    const std::int16_t status = times == 1 ? pwdkb_getpwd_encrypt(icdev, userkeyno, block.data(), &length, enciphered)
                                           : pwdkb_getpwd_again_encrypt(icdev, userkeyno, block.data(), &length, enciphered);
    if (status != VNR_OK) return status;
    return crypto::hex_asc(enciphered.data(), pin, length);
}

std::int16_t activate_key(std::int32_t mainkeyno, std::int32_t userkeyno) {
    if (!is_key_number(mainkeyno) || !is_key_number(userkeyno)) return VNR_E_BAD_ARGUMENT;
    const Call call(nullptr);
    PadState& pad = pad_state(call.guard());
    pad.active_userkeyno = userkeyno;
    const UserKey* entry = user_key(call.guard(), userkeyno);
    pad.userkey_triple = entry != nullptr ? entry->des_type : 0;
    return VNR_OK;
}

}  // namespace

}  // namespace vnr::pinpad

using vnr::core::guarded;
namespace pad = vnr::pinpad;

extern "C" {

VNR_API int16_t VNR_CALL mw_kb_downloadmainkey(int32_t icdev, int32_t destype, int32_t mainkeyno, const char* key) {
    return guarded<int16_t>([&] { return pad::download_mainkey(icdev, destype, mainkeyno, key); });
}

VNR_API int16_t VNR_CALL mw_kb_downloaduserkey(int32_t icdev, int32_t destype, int32_t mainkeyno, int32_t userkeyno,
                                               const char* key) {
    return guarded<int16_t>([&] { return pad::download_userkey(icdev, destype, mainkeyno, userkeyno, key); });
}

VNR_API int16_t VNR_CALL mw_kb_setpasslen(int32_t icdev, int32_t passlen) {
    // Only the low byte goes on: 0x101 sets 1.
    return guarded<int16_t>([&] { return pad::pwdkb_setpwdlen(icdev, static_cast<uint8_t>(passlen & 0xFF)); });
}

VNR_API int16_t VNR_CALL mw_kb_settimeout(int32_t icdev, int32_t seconds) {
    return guarded<int16_t>([&] { return pad::set_timeout(icdev, seconds); });
}

VNR_API int16_t VNR_CALL mw_kb_getpin(int32_t icdev, int32_t times, uint8_t* pin) {
    return guarded<int16_t>([&] { return pad::get_pin(icdev, times, pin); });
}

VNR_API int16_t VNR_CALL mw_kb_getenpin(int32_t icdev, int32_t times, const char* blockdata, char* pin) {
    return guarded<int16_t>([&] { return pad::get_enciphered_pin(icdev, times, blockdata, pin); });
}

VNR_API int16_t VNR_CALL mw_kb_activekey(int32_t /*icdev: not looked at*/, int32_t mainkeyno, int32_t userkeyno) {
    return guarded<int16_t>([&] { return pad::activate_key(mainkeyno, userkeyno); });
}

}  // extern "C"
