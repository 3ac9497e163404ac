// src/core/wipe.h: core. Wiping bytes that held a key, a PIN or a frame that carried one, in a way the
// compiler cannot leave out as a dead store. The frame and reply buffers of the exchange and the links
// are wiped whenever they are given up, so that no secret outlives the call that carried it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

namespace vnr::core {

// Sets every byte of `bytes` to 0 through a volatile pointer, which the compiler must honour.
inline void secure_wipe(std::span<std::uint8_t> bytes) noexcept {
    volatile std::uint8_t* at = bytes.data();
    for (std::size_t i = 0; i < bytes.size(); ++i) at[i] = 0;
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
