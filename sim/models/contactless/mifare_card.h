// sim/models/contactless/mifare_card.h: a Mifare Classic card of the model "contactless", 1K (16 sectors
// of 4 blocks) or 4K (32 sectors of 4 blocks, then 8 of 16; 256 blocks), with the card's own rules.
//
// Each sector's last block is its trailer: key A (bytes 0-5), the access bits (6-8), a free byte (9),
// key B (10-15). The access bits give each block group (the data blocks of a 4-block sector one by
// one, of a 16-block sector by fives, and the trailer) three bits C1 C2 C3, stored with their inverses:
//   byte 6 = ~C2 (high nibble) ~C1 (low), byte 7 = C1 ~C3, byte 8 = C3 C2, bit n of each nibble for
//   group n. A factory trailer: keys FF FF FF FF FF FF, access bits FF 07 80, byte 9 69.
// What each condition C1C2C3 allows (A: with key A, B: with key B, AB: either, -: never):
//   data block  read write incr decr/transfer      trailer  key A write  access read/write  key B read/write
//   000         AB   AB    AB   AB                 000      A            A / -              A / A
//   010         AB   -     -    -                  010      -            A / -              A / -
//   100         AB   B     -    -                  100      B            AB / -             - / B
//   110         AB   B     B    AB                 110      -            AB / -             - / -
//   001         AB   -     -    AB                 001      A            A / A              A / A
//   011         B    B     -    -                  011      B            AB / B             - / B
//   101         B    -     -    -                  101      -            AB / B             - / -
//   111         -    -     -    -                  111      -            AB / -             - / -
// Key A never reads (as zeros); key B reads as zeros where it may not be read, and where it may, it is
// data and authentication with it fails. A trailer write changes the parts it may and keeps the others
// (refused when it may change none); access bits written with inverses that do not match make the
// sector unusable for good, as on a card: every later authentication to it fails. Block 0 (the UID,
// its check byte, SAK and maker data) is read-only.
//
// Authentication of one sector with key A (mode 0) or key B (mode 1) lasts until a halt, the end of
// the card's session, or another authentication; a failed one ends it too. Every block command needs
// its block's sector authenticated (kRfNotAuthenticated).
//
// Values: a value block holds a signed 32-bit value V, least significant byte first, as V ~V V, then
// an address byte A as A ~A A ~A. A block not in this format refuses the value commands
// (kRfNotValueBlock). Increment and decrement put their result in the card's transfer register and
// leave the block as it was; transfer writes the register into a block (with the address byte of the
// block it came from); a result outside the signed 32-bit range is kRfValueOverflow. The reader gives
// and takes values as 4 bytes, most significant first.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "models/cards/cpu_card.h"
#include "vnrsim/model.h"

namespace vnrsim {

using MifareBlock = std::array<std::uint8_t, 16>;

// Access conditions C1C2C3 (0 to 7) of the three data groups and the trailer, as three access bytes
// (bytes 6 to 8 of a trailer). {0, 0, 0, 1} gives the factory FF 07 80.
std::array<std::uint8_t, 3> mifare_access_bytes(std::array<std::uint8_t, 4> conditions);

// A value block holding `value`, with the address byte `address`.
MifareBlock mifare_value_block(std::int32_t value, std::uint8_t address);

struct MifareSetup {
    bool big = false;         // 4K rather than 1K
    CardBytes uid;            // 4 or 7 bytes
    std::uint8_t sak = 0x08;  // the activation's type byte
    std::vector<MifareBlock> blocks;
};

// A factory card: the UID, its check byte (4-byte UIDs), SAK and the ATQA in block 0, zeros in the
// data blocks, factory trailers. `uid` is 4 or 7 bytes.
MifareSetup factory_mifare(bool big, CardBytes uid);

class MifareCard {
public:
    explicit MifareCard(MifareSetup setup);

    std::size_t blocks() const noexcept { return setup_.blocks.size(); }
    std::size_t sectors() const noexcept { return setup_.big ? 40 : 16; }
    // The reply to the activation: SAK and UID.
    CardBytes activation() const;

    Answer authenticate(std::uint8_t sector, std::uint8_t mode, std::span<const std::uint8_t, 6> key);
    Answer read(std::uint8_t block) const;
    Answer write(std::uint8_t block, std::span<const std::uint8_t, 16> data);
    Answer read_value(std::uint8_t block) const;
    Answer init_value(std::uint8_t block, std::uint32_t value);
    Answer change_value(std::uint8_t block, std::uint32_t amount, bool increment);
    Answer transfer(std::uint8_t block);
    // A halt, the field off, another card chosen: authentication and the transfer register are gone.
    void end_session() noexcept;

    const MifareBlock& block(std::size_t block) const { return setup_.blocks.at(block); }
    std::optional<std::uint8_t> authenticated_sector() const noexcept { return sector_; }

private:
    struct Access;
    // The sector of a block, its trailer and the block's group in it (3: the trailer).
    std::size_t sector_of(std::size_t block) const noexcept;
    std::size_t trailer_of(std::size_t sector) const noexcept;
    std::size_t group_of(std::size_t block) const noexcept;
    // 0 when the authenticated key may do `operation` (read, write, increment, decrement) on a data
    // block, else the refusal; also refuses a block outside the card or outside the authentication.
    std::uint16_t allowed(std::size_t block, std::size_t operation) const;
    std::optional<std::int32_t> value_of(const MifareBlock& block) const;

    MifareSetup setup_;
    std::optional<std::uint8_t> sector_;                             // the authenticated sector
    bool key_b_ = false;                                             // authenticated with key B
    std::optional<std::pair<std::int32_t, std::uint8_t>> transfer_;  // value and address byte
};

}  // namespace vnrsim
