// src/pinpad/state.h: pinpad. The PIN pad's state in the library: one set for the process, belonging to
// no handle; device_close does not touch it and nothing clears a flag once it is set. Reachable only
// with the library lock's proof.
#pragma once

#include "core/library_lock.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vnr::pinpad {

inline constexpr std::size_t kUserKeyEntries = 16;
inline constexpr std::size_t kLongKeySize = 16;  // a triple DES key; a DES key fills the first 8 bytes
inline constexpr std::size_t kShortKeySize = 8;

// One entry of the user key table: the key's kind (0 DES, 1 a 16-byte key) and its bytes.
struct UserKey {
    std::uint8_t des_type = 0;
    std::array<std::uint8_t, kLongKeySize> key{};
};

struct PadState {
    bool pin_len_set = false;          // a PIN length was given to the pad
    bool pin_timeout_set = false;      // an entry time-out was given to the pad
    std::uint32_t pin_wait_ms = 0;     // how long a PIN read waits for the pad's reply
    std::int32_t active_userkeyno = 0; // the key number of the enciphered read (0 to 255)
    // The user keys loaded by number 0 to 15, kept for deciphering in the library; numbers from 16 on
    // are loaded into the pad but have no entry here.
    std::array<UserKey, kUserKeyEntries> userkey_table{};
    std::int32_t userkey_triple = 0;   // 0: the active key is a DES key; otherwise a 16-byte one
};

// The one instance.
PadState& pad_state(const core::LibraryGuard&) noexcept;

// The entry of key number `userkeyno`, or null for a number outside the table.
UserKey* user_key(const core::LibraryGuard&, std::int32_t userkeyno) noexcept;

}  // namespace vnr::pinpad
