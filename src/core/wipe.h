// src/core/wipe.h: core. Wiping memory that held secrets (keys, key schedules, clear text), in a way
// the compiler may not drop as a dead store: every byte is written through a volatile pointer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace vnr::core {

// Sets every byte of `bytes` to zero, even when nothing reads them afterwards.
inline void secure_wipe(std::span<std::uint8_t> bytes) noexcept {
    volatile std::uint8_t* const p = bytes.data();
    for (std::size_t i = 0; i < bytes.size(); ++i) p[i] = 0;
}

// The same for the whole storage of a plain object (an array of round keys, a work block).
template <typename T>
    requires std::is_trivially_copyable_v<T>
inline void secure_wipe_object(T& object) noexcept {
    secure_wipe({reinterpret_cast<std::uint8_t*>(&object), sizeof(T)});
}

}  // namespace vnr::core
