// src/contact/memory_map.cpp: contact family. Size codes, pieces and the AT88SC1604 map (see memory_map.h).
#include "contact/memory_map.h"

#include <array>

namespace vnr::contact {

namespace {

constexpr std::uint32_t kSmallestLimit = 128;
constexpr std::int32_t kAcceptedCodes[] = {0, 1, 2, 4, 6, 8, 16, 32, 64, 128};
constexpr std::uint32_t kLastAddress = 0xFFFF;  // what a command's 16-bit address carries

constexpr std::array<std::int32_t, kLastCodeNumber + 1> kCodeAddresses = {10, 21, 1222, 1483, 1744, 24, 1224, 1485, 1746};

const Zone* zone_at(std::int32_t zone) noexcept {
    return zone >= 0 && zone <= kLastZone ? &kZones[zone] : nullptr;
}

// `len` bytes from `offset` start at or after `from`, start at or before the zone's last address, and
// end within the zone. 64 bits, so that no caller's value can wrap.
bool within(const Zone& z, std::int64_t from, std::int64_t offset, std::int64_t len) noexcept {
    return len >= 1 && offset >= from && offset <= z.last && offset + len <= std::int64_t{z.last} + 1;
}

}  // namespace

std::optional<std::uint32_t> size_limit(std::int32_t size_code) noexcept {
    for (const std::int32_t accepted : kAcceptedCodes)
        if (size_code == accepted) return kSmallestLimit << (size_code % 32);
    return std::nullopt;
}

bool transfer_fits(std::int32_t size_code, std::uint32_t addr, std::uint32_t len) noexcept {
    if (size_code < 0) return true;
    const std::optional<std::uint32_t> limit = size_limit(size_code);
    if (!limit || addr >= *limit || std::uint64_t{addr} + len > *limit) return false;
    // Pieces start 1024 bytes apart; one that would start past 0xFFFF would reach the card at its
    // address modulo 65536, over other data.
    const std::uint32_t pieces = piece_count(len);
    return pieces < 2 || std::uint64_t{addr} + std::uint64_t{kPieceBytes} * (pieces - 1) <= kLastAddress;
}

bool may_read(std::int32_t zone, std::int32_t offset, std::int32_t len) noexcept {
    const Zone* z = zone_at(zone);
    return z != nullptr && within(*z, z->first, offset, len);
}

bool may_erase(std::int32_t zone, std::int32_t offset, std::int32_t len) noexcept {
    const Zone* z = zone_at(zone);
    return z != nullptr && within(*z, std::int64_t{z->first} + z->reserved_head, offset, len);
}

bool may_write(std::int32_t zone, std::int32_t offset, std::int32_t len) noexcept {
    const Zone* z = zone_at(zone);
    if (z == nullptr) return false;
    const std::int64_t most = std::int64_t{z->last} - z->first + 1 - z->reserved_head;
    if (len > most) return false;
    if (z->reserved_head == 0) {
        // Zones 0 and 5: the start within the zone; zone 0 keeps the card's code at 10 to 12.
        if (zone == 0 && offset >= kCardCodeFirst && offset <= kCardCodeLast) return false;
        return within(*z, z->first, offset, len);
    }
    // Zones 1 to 4: only the reserved head and what lies above the zone are refused.
    if (offset >= z->first && offset < std::int64_t{z->first} + z->reserved_head) return false;
    return within(*z, INT64_MIN / 2, offset, len);
}

std::int32_t code_address(std::int32_t number) noexcept {
    return kCodeAddresses[static_cast<std::size_t>(number)];
}

}  // namespace vnr::contact
