// src/pinpad/decrypt.cpp: pinpad. pwd_decrypt: deciphers in memory under the user key that the active key
// number names in the library's user key table, with DES or triple DES as userkey_triple says, through
// the exported des_decrypt and des3_decrypt.
#include "core/boundary.h"
#include "core/call.h"
#include "pinpad/state.h"
#include "vnr_32.h"

#include <array>

namespace vnr::pinpad {

namespace {

std::int32_t decrypt_with_active_key(const std::uint8_t* src, std::uint8_t msgLen, std::uint8_t* dst) {
    std::array<std::uint8_t, kLongKeySize> key{};
    const core::WipeOnExit wipe(key);
    bool triple = false;
    {
        // The key number, the flag and the key are taken under the lock; the cipher takes it itself.
        const core::Call call(nullptr);
        const PadState& pad = pad_state(call.guard());
        const UserKey* entry = user_key(call.guard(), pad.active_userkeyno);
        if (entry == nullptr) return VNR_E_BAD_ARGUMENT;  // no key kept for that number
        key = entry->key;
        triple = pad.userkey_triple != 0;
    }
    return triple ? des3_decrypt(key.data(), src, msgLen, dst) : des_decrypt(key.data(), src, msgLen, dst);
}

}  // namespace

}  // namespace vnr::pinpad

extern "C" VNR_API int32_t VNR_CALL pwd_decrypt(const uint8_t* src, uint8_t msgLen, uint8_t* dst) {
    return vnr::core::guarded<int32_t>([&] { return vnr::pinpad::decrypt_with_active_key(src, msgLen, dst); });
}
