// sim/models/contactless/mifare_card.cpp: the Mifare Classic card's sectors, access bits and values
// (see mifare_card.h).
#include "models/contactless/mifare_card.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "models/contactless/contactless_status.h"

namespace vnrsim {
namespace {

constexpr std::uint8_t kKeyA = 1, kKeyB = 2, kBoth = 3;  // who may: masks of the authenticated key

// Data blocks, by condition C1C2C3: read, write, increment, decrement (and transfer).
constexpr std::uint8_t kDataRules[8][4] = {
    {kBoth, kBoth, kBoth, kBoth},  // 000
    {kBoth, 0, 0, kBoth},          // 001
    {kBoth, 0, 0, 0},              // 010
    {kKeyB, kKeyB, 0, 0},          // 011
    {kBoth, kKeyB, 0, 0},          // 100
    {kKeyB, 0, 0, 0},              // 101
    {kBoth, kKeyB, kKeyB, kBoth},  // 110
    {0, 0, 0, 0},                  // 111
};
enum { kRead, kWrite, kIncrement, kDecrement };

// Trailers, by condition: key A write, access bits read, access bits write, key B read, key B write.
constexpr std::uint8_t kTrailerRules[8][5] = {
    {kKeyA, kKeyA, 0, kKeyA, kKeyA},      // 000
    {kKeyA, kKeyA, kKeyA, kKeyA, kKeyA},  // 001
    {0, kKeyA, 0, kKeyA, 0},              // 010
    {kKeyB, kBoth, kKeyB, 0, kKeyB},      // 011
    {kKeyB, kBoth, 0, 0, kKeyB},          // 100
    {0, kBoth, kKeyB, 0, 0},              // 101
    {0, kBoth, 0, 0, 0},                  // 110
    {0, kBoth, 0, 0, 0},                  // 111
};
enum { kKeyAWrite, kAccessRead, kAccessWrite, kKeyBRead, kKeyBWrite };

constexpr std::size_t kAccessAt = 6, kKeyBAt = 10, kKeyLength = 6;

// The conditions of the four groups from a trailer, or nullopt when the inverses do not match.
std::optional<std::array<std::uint8_t, 4>> conditions_of(const MifareBlock& trailer) {
    const std::uint8_t b6 = trailer[6], b7 = trailer[7], b8 = trailer[8];
    const std::uint8_t c1 = b7 >> 4, c2 = b8 & 0x0F, c3 = b8 >> 4;
    if ((b6 & 0x0F) != (~c1 & 0x0F) || (b6 >> 4) != (~c2 & 0x0F) || (b7 & 0x0F) != (~c3 & 0x0F)) return std::nullopt;
    std::array<std::uint8_t, 4> out{};
    for (std::size_t g = 0; g < 4; ++g)
        out[g] = static_cast<std::uint8_t>(((c1 >> g) & 1) << 2 | ((c2 >> g) & 1) << 1 | ((c3 >> g) & 1));
    return out;
}

void put_le32(MifareBlock& block, std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) block[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

Answer refuse(std::uint16_t status) { return {status, {}}; }

}  // namespace

std::array<std::uint8_t, 3> mifare_access_bytes(std::array<std::uint8_t, 4> conditions) {
    std::uint8_t c1 = 0, c2 = 0, c3 = 0;
    for (std::size_t g = 0; g < 4; ++g) {
        c1 |= static_cast<std::uint8_t>(((conditions[g] >> 2) & 1) << g);
        c2 |= static_cast<std::uint8_t>(((conditions[g] >> 1) & 1) << g);
        c3 |= static_cast<std::uint8_t>((conditions[g] & 1) << g);
    }
    return {static_cast<std::uint8_t>((~c2 & 0x0F) << 4 | (~c1 & 0x0F)),
            static_cast<std::uint8_t>(c1 << 4 | (~c3 & 0x0F)), static_cast<std::uint8_t>(c3 << 4 | c2)};
}

MifareBlock mifare_value_block(std::int32_t value, std::uint8_t address) {
    MifareBlock block{};
    const auto v = static_cast<std::uint32_t>(value);
    put_le32(block, 0, v);
    put_le32(block, 4, ~v);
    put_le32(block, 8, v);
    const auto inverse = static_cast<std::uint8_t>(~address);
    block[12] = address, block[13] = inverse, block[14] = address, block[15] = inverse;
    return block;
}

MifareSetup factory_mifare(bool big, CardBytes uid) {
    if (uid.size() != 4 && uid.size() != 7) throw std::invalid_argument("a Mifare Classic UID is 4 or 7 bytes");
    MifareSetup setup;
    setup.big = big;
    setup.uid = uid;
    setup.sak = big ? 0x18 : 0x08;
    setup.blocks.assign(big ? 256 : 64, MifareBlock{});
    MifareBlock& maker = setup.blocks[0];
    std::copy(uid.begin(), uid.end(), maker.begin());
    std::size_t at = uid.size();
    if (uid.size() == 4) maker[at++] = uid[0] ^ uid[1] ^ uid[2] ^ uid[3];
    maker[at++] = setup.sak;
    maker[at++] = big ? 0x02 : 0x04;  // ATQA
    maker[at] = 0x00;
    MifareBlock trailer{};
    std::fill_n(trailer.begin(), kKeyLength, std::uint8_t{0xFF});
    trailer[6] = 0xFF, trailer[7] = 0x07, trailer[8] = 0x80, trailer[9] = 0x69;
    std::fill_n(trailer.begin() + kKeyBAt, kKeyLength, std::uint8_t{0xFF});
    for (std::size_t sector = 0; sector < (big ? 40u : 16u); ++sector) {
        const std::size_t last = sector < 32 ? sector * 4 + 3 : 128 + (sector - 32) * 16 + 15;
        setup.blocks[last] = trailer;
    }
    return setup;
}

MifareCard::MifareCard(MifareSetup setup) : setup_(std::move(setup)) {}

CardBytes MifareCard::activation() const {
    CardBytes out(1 + setup_.uid.size(), setup_.sak);
    std::copy(setup_.uid.begin(), setup_.uid.end(), out.begin() + 1);
    return out;
}

std::size_t MifareCard::sector_of(std::size_t block) const noexcept {
    return block < 128 ? block / 4 : 32 + (block - 128) / 16;
}

std::size_t MifareCard::trailer_of(std::size_t sector) const noexcept {
    return sector < 32 ? sector * 4 + 3 : 128 + (sector - 32) * 16 + 15;
}

std::size_t MifareCard::group_of(std::size_t block) const noexcept {
    if (block < 128) return block % 4;
    const std::size_t index = (block - 128) % 16;
    return index == 15 ? 3 : index / 5;
}

void MifareCard::end_session() noexcept {
    sector_.reset();
    transfer_.reset();
}

Answer MifareCard::authenticate(std::uint8_t sector, std::uint8_t mode, std::span<const std::uint8_t, 6> key) {
    end_session();
    if (sector >= sectors()) return refuse(kRfBeyondCard);
    if (mode > 1) return refuse(kRfBadFields);
    const MifareBlock& trailer = setup_.blocks[trailer_of(sector)];
    const auto conditions = conditions_of(trailer);
    if (!conditions) return refuse(kRfAuthFailed);
    const bool key_b_readable = kTrailerRules[(*conditions)[3]][kKeyBRead] != 0;
    if (mode == 1 && key_b_readable) return refuse(kRfAuthFailed);
    const auto stored = trailer.begin() + (mode == 1 ? kKeyBAt : 0);
    if (!std::equal(key.begin(), key.end(), stored)) return refuse(kRfAuthFailed);
    sector_ = sector;
    key_b_ = mode == 1;
    return {0, {}};
}

std::uint16_t MifareCard::allowed(std::size_t block, std::size_t operation) const {
    if (block >= blocks()) return kRfBeyondCard;
    if (!sector_ || *sector_ != sector_of(block)) return kRfNotAuthenticated;
    const auto conditions = conditions_of(setup_.blocks[trailer_of(*sector_)]);
    if (!conditions || group_of(block) == 3) return kRfAccessDenied;
    const std::uint8_t who = kDataRules[(*conditions)[group_of(block)]][operation];
    return (who & (key_b_ ? kKeyB : kKeyA)) ? 0 : kRfAccessDenied;
}

Answer MifareCard::read(std::uint8_t block) const {
    if (block < blocks() && sector_ && *sector_ == sector_of(block) && group_of(block) == 3) {
        const MifareBlock& trailer = setup_.blocks[block];
        const auto conditions = conditions_of(trailer);
        if (!conditions) return refuse(kRfAccessDenied);
        const std::uint8_t key = key_b_ ? kKeyB : kKeyA;
        const auto& rules = kTrailerRules[(*conditions)[3]];
        CardBytes out(16, 0x00);  // key A never reads
        if (rules[kAccessRead] & key) std::copy_n(trailer.begin() + kAccessAt, 4, out.begin() + kAccessAt);
        if (rules[kKeyBRead] & key) std::copy_n(trailer.begin() + kKeyBAt, kKeyLength, out.begin() + kKeyBAt);
        return {0, out};
    }
    if (const std::uint16_t refusal = allowed(block, kRead)) return refuse(refusal);
    const MifareBlock& data = setup_.blocks[block];
    return {0, CardBytes(data.begin(), data.end())};
}

Answer MifareCard::write(std::uint8_t block, std::span<const std::uint8_t, 16> data) {
    if (block == 0) return refuse(block < blocks() && sector_ == 0 ? kRfAccessDenied : kRfNotAuthenticated);
    if (block < blocks() && sector_ && *sector_ == sector_of(block) && group_of(block) == 3) {
        MifareBlock& trailer = setup_.blocks[block];
        const auto conditions = conditions_of(trailer);
        if (!conditions) return refuse(kRfAccessDenied);
        const std::uint8_t key = key_b_ ? kKeyB : kKeyA;
        const auto& rules = kTrailerRules[(*conditions)[3]];
        const bool key_a = rules[kKeyAWrite] & key, access = rules[kAccessWrite] & key, key_b = rules[kKeyBWrite] & key;
        if (!key_a && !access && !key_b) return refuse(kRfAccessDenied);
        if (key_a) std::copy_n(data.begin(), kKeyLength, trailer.begin());
        if (access) std::copy_n(data.begin() + kAccessAt, 4, trailer.begin() + kAccessAt);
        if (key_b) std::copy_n(data.begin() + kKeyBAt, kKeyLength, trailer.begin() + kKeyBAt);
        return {0, {}};
    }
    if (const std::uint16_t refusal = allowed(block, kWrite)) return refuse(refusal);
    std::copy(data.begin(), data.end(), setup_.blocks[block].begin());
    return {0, {}};
}

std::optional<std::int32_t> MifareCard::value_of(const MifareBlock& block) const {
    const auto le32 = [&](std::size_t at) {
        std::uint32_t v = 0;
        for (std::size_t i = 0; i < 4; ++i) v |= static_cast<std::uint32_t>(block[at + i]) << (8 * i);
        return v;
    };
    const std::uint32_t v = le32(0);
    if (le32(4) != ~v || le32(8) != v) return std::nullopt;
    const std::uint8_t a = block[12];
    if (block[13] != static_cast<std::uint8_t>(~a) || block[14] != a || block[15] != static_cast<std::uint8_t>(~a))
        return std::nullopt;
    return static_cast<std::int32_t>(v);
}

Answer MifareCard::read_value(std::uint8_t block) const {
    if (const std::uint16_t refusal = allowed(block, kRead)) return refuse(refusal);
    const auto value = value_of(setup_.blocks[block]);
    if (!value) return refuse(kRfNotValueBlock);
    const auto v = static_cast<std::uint32_t>(*value);
    return {0,
            {static_cast<std::uint8_t>(v >> 24), static_cast<std::uint8_t>(v >> 16), static_cast<std::uint8_t>(v >> 8),
             static_cast<std::uint8_t>(v)}};
}

Answer MifareCard::init_value(std::uint8_t block, std::uint32_t value) {
    if (block == 0) return refuse(sector_ == 0 ? kRfAccessDenied : kRfNotAuthenticated);
    if (const std::uint16_t refusal = allowed(block, kWrite)) return refuse(refusal);
    setup_.blocks[block] = mifare_value_block(static_cast<std::int32_t>(value), block);
    return {0, {}};
}

Answer MifareCard::change_value(std::uint8_t block, std::uint32_t amount, bool increment) {
    if (const std::uint16_t refusal = allowed(block, increment ? kIncrement : kDecrement)) return refuse(refusal);
    const auto value = value_of(setup_.blocks[block]);
    if (!value) return refuse(kRfNotValueBlock);
    const std::int64_t result = increment ? std::int64_t{*value} + amount : std::int64_t{*value} - amount;
    if (result < std::numeric_limits<std::int32_t>::min() || result > std::numeric_limits<std::int32_t>::max())
        return refuse(kRfValueOverflow);
    transfer_ = {static_cast<std::int32_t>(result), setup_.blocks[block][12]};
    return {0, {}};
}

Answer MifareCard::transfer(std::uint8_t block) {
    if (block == 0) return refuse(sector_ == 0 ? kRfAccessDenied : kRfNotAuthenticated);
    if (const std::uint16_t refusal = allowed(block, kDecrement)) return refuse(refusal);
    if (!transfer_) return refuse(kRfNoTransferValue);
    setup_.blocks[block] = mifare_value_block(transfer_->first, transfer_->second);
    return {0, {}};
}

}  // namespace vnrsim
