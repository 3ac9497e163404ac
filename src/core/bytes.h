// src/core/bytes.h: core. Bounded reading of reply bytes and bounded copies into a caller's room, so
// that no family does pointer arithmetic on what a reader sent. Pure: no lock, no I/O.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

namespace vnr::core {

using Bytes = std::span<const std::uint8_t>;

// Reads bytes front to back. Every read either takes what it asks for or fails and takes nothing, so a
// reply that is shorter than its layout says is refused, never read past.
class ByteReader {
public:
    explicit ByteReader(Bytes data) noexcept : rest_(data) {}

    // The next `n` bytes, or nullopt when fewer are left.
    std::optional<Bytes> take(std::size_t n) noexcept {
        if (n > rest_.size()) return std::nullopt;
        const Bytes head = rest_.first(n);
        rest_ = rest_.subspan(n);
        return head;
    }
    std::optional<std::uint8_t> u8() noexcept {
        const auto b = take(1);
        return b ? std::optional<std::uint8_t>((*b)[0]) : std::nullopt;
    }
    // Big-endian numbers, as the reader sends them.
    std::optional<std::uint16_t> be16() noexcept {
        const auto b = take(2);
        if (!b) return std::nullopt;
        return static_cast<std::uint16_t>((*b)[0] << 8 | (*b)[1]);
    }
    std::optional<std::uint32_t> be32() noexcept {
        const auto b = take(4);
        if (!b) return std::nullopt;
        return static_cast<std::uint32_t>((*b)[0]) << 24 | static_cast<std::uint32_t>((*b)[1]) << 16 |
               static_cast<std::uint32_t>((*b)[2]) << 8 | (*b)[3];
    }
    // Skips `n` bytes; false (and nothing skipped) when fewer are left.
    bool skip(std::size_t n) noexcept { return take(n).has_value(); }
    // What is left, all of it.
    Bytes rest() noexcept { return std::exchange(rest_, Bytes{}); }
    std::size_t left() const noexcept { return rest_.size(); }

private:
    Bytes rest_;
};

// Copies all of `from` to the front of `to`, or nothing at all when it does not fit.
[[nodiscard]] inline bool copy_into(Bytes from, std::span<std::uint8_t> to) noexcept {
    if (from.size() > to.size()) return false;
    std::copy(from.begin(), from.end(), to.begin());
    return true;
}

// The caller's buffer at `at` with the room that the interface documents for it.
inline std::span<std::uint8_t> room_at(void* at, std::size_t room) noexcept {
    return {static_cast<std::uint8_t*>(at), room};
}

// Big-endian bytes of a number, for commands.
constexpr std::uint8_t high_byte(std::uint32_t v) noexcept { return static_cast<std::uint8_t>(v >> 8); }
constexpr std::uint8_t low_byte(std::uint32_t v) noexcept { return static_cast<std::uint8_t>(v); }

}  // namespace vnr::core
