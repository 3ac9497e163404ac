// src/core/wipe.h: core. Wiping bytes that held a key, a PIN or a frame that carried one, in a way the
// compiler cannot leave out as a dead store. The frame and reply buffers of the exchange and the links
// are wiped whenever they are given up, so that no secret outlives the call that carried it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>
#include <vector>

namespace vnr::core {

// Sets every byte of `bytes` to 0. The compiler must take the empty statement behind the fill for one
// that reads the bytes, so it cannot leave the fill out as a dead store; the fill runs at memset's
// speed (a frame buffer of 64 KiB is wiped at every exchange, byte by byte that was most of its cost).
inline void secure_wipe(std::span<std::uint8_t> bytes) noexcept {
    if (bytes.empty()) return;
    std::memset(bytes.data(), 0, bytes.size());
    __asm__ __volatile__("" : : "r"(bytes.data()) : "memory");
}

// The same for the whole storage of a plain object (an array of round keys, a work block).
template <typename T>
    requires std::is_trivially_copyable_v<T>
inline void secure_wipe_object(T& object) noexcept {
    secure_wipe({reinterpret_cast<std::uint8_t*>(&object), sizeof(T)});
}

// A heap buffer of bytes that wipes itself when it is given up.
class WipedBytes : public std::vector<std::uint8_t> {
public:
    using std::vector<std::uint8_t>::vector;
    WipedBytes(const WipedBytes&) = default;
    WipedBytes& operator=(const WipedBytes&) = default;
    ~WipedBytes() { secure_wipe(*this); }
};

// Wipes `bytes` at the end of the scope, on every way out.
class WipeOnExit {
public:
    explicit WipeOnExit(std::span<std::uint8_t> bytes) noexcept : bytes_(bytes) {}
    ~WipeOnExit() { secure_wipe(bytes_); }
    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

private:
    std::span<std::uint8_t> bytes_;
};

}  // namespace vnr::core
