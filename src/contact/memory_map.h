// src/contact/memory_map.h: contact family. What the library knows of a memory card's address space:
// the limit that a size code gives, the cutting of long transfers into pieces, and the map of the
// AT88SC1604 family (its zones, the reserved heads that hold its codes, where each code lies). Pure: no
// lock, no I/O; the functions that send commands refuse with these before anything goes to the reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vnr::contact {

// ---- Memory cards -------------------------------------------------------------------------------

// The size code that says no size is known: transfers then run without an address check.
inline constexpr std::int32_t kNoSizeCode = -1;

// The card's limit in bytes for a size code, 128 x 2^(code mod 32), for the codes that are accepted
// (0, 1, 2, 4, 6, 8, 16, 32, 64, 128); nullopt for any other code.
std::optional<std::uint32_t> size_limit(std::int32_t size_code) noexcept;

// A long transfer goes to the reader in pieces of this many bytes, each at its own address.
inline constexpr std::uint32_t kPieceBytes = 1024;

// The number of pieces of a transfer of `len` bytes: len / 1024, one more for a remainder.
constexpr std::uint32_t piece_count(std::uint32_t len) noexcept { return (len + kPieceBytes - 1) / kPieceBytes; }

// Whether a transfer of `len` bytes at `addr` may go to a card of `size_code`: with no size known any
// transfer may; else the code must be accepted, `addr` below the limit and `addr` + `len` within it,
// and every piece must start at an address the command's 16 bits can carry.
bool transfer_fits(std::int32_t size_code, std::uint32_t addr, std::uint32_t len) noexcept;

// ---- The AT88SC1604 family ----------------------------------------------------------------------

// One zone of the card: its first and last absolute address, and how many bytes at its head hold the
// zone's codes.
struct Zone {
    std::int32_t first;
    std::int32_t last;
    std::int32_t reserved_head;
};

// Zones 0 to 5 (2007 bytes in all).
inline constexpr Zone kZones[] = {
    {0, 20, 0}, {21, 1221, 6}, {1222, 1482, 5}, {1483, 1743, 5}, {1744, 2004, 5}, {2005, 2006, 0},
};
inline constexpr std::int32_t kLastZone = 5;

// Zone 0's addresses 10 to 12 hold the card's security code: a write may not start there.
inline constexpr std::int32_t kCardCodeFirst = 10;
inline constexpr std::int32_t kCardCodeLast = 12;

// A read may touch any byte of the zone: `offset` within it, `len` at least 1, the end within it.
bool may_read(std::int32_t zone, std::int32_t offset, std::int32_t len) noexcept;
// An erase keeps out of the zone's reserved head.
bool may_erase(std::int32_t zone, std::int32_t offset, std::int32_t len) noexcept;
// A write refuses a start in the zone's reserved head (zone 0: at 10 to 12) or beyond the zone; in zones 1
// to 4 a start below the zone passes. At most the zone's size less its head, ending within the zone.
bool may_write(std::int32_t zone, std::int32_t offset, std::int32_t len) noexcept;

// Code numbers 0 to 8: 0 the card's security code, 1 to 4 the security codes of zones 1 to 4, 5 to 8
// their erase codes. A code is 2 bytes.
inline constexpr std::int32_t kLastCodeNumber = 8;
inline constexpr std::int32_t kCodeBytes = 2;

// Where code `number` (0 to 8) lies on the card.
std::int32_t code_address(std::int32_t number) noexcept;

// The zone whose read bounds the inner erase of code `number` (0 to 8) uses: 0 for 0, n for n and n + 4.
constexpr std::int32_t zone_of_code(std::int32_t number) noexcept { return number > 4 ? number - 4 : number; }

}  // namespace vnr::contact
