// src/crypto/des.cpp: crypto. DES and two-key triple DES. The published S-boxes and permutations
// stand here as tables; everything the rounds read (S-boxes merged with P, the key schedule's
// bit gathers) is derived from them at compile time, and the shift networks that stand in for the
// initial and final permutations are checked against those tables at compile time.
//
// Inside, a half block is held rotated left by one bit, which puts the six input bits of S-boxes
// 8, 6, 4 and 2 at the bottom of its four bytes, and, rotated right by four more, those of S-boxes
// 7, 5, 3 and 1: the expansion E costs one rotation. Several blocks are worked in lockstep, so
// that their table look-ups overlap.
#include "crypto/des.h"

#include "core/wipe.h"

#include <bit>
#include <cstring>
#include <utility>

namespace vnr::crypto::des {

namespace {

// ---- The published tables (bits numbered from 1, the most significant first) --------------------

constexpr std::uint8_t kInitialPermutation[64] = {
    58, 50, 42, 34, 26, 18, 10, 2, 60, 52, 44, 36, 28, 20, 12, 4,
    62, 54, 46, 38, 30, 22, 14, 6, 64, 56, 48, 40, 32, 24, 16, 8,
    57, 49, 41, 33, 25, 17, 9,  1, 59, 51, 43, 35, 27, 19, 11, 3,
    61, 53, 45, 37, 29, 21, 13, 5, 63, 55, 47, 39, 31, 23, 15, 7};

constexpr std::uint8_t kExpansion[48] = {
    32, 1,  2,  3,  4,  5,  4,  5,  6,  7,  8,  9,  8,  9,  10, 11, 12, 13, 12, 13, 14, 15, 16, 17,
    16, 17, 18, 19, 20, 21, 20, 21, 22, 23, 24, 25, 24, 25, 26, 27, 28, 29, 28, 29, 30, 31, 32, 1};

constexpr std::uint8_t kPermutation[32] = {
    16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
    2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};

constexpr std::uint8_t kSBoxes[8][4][16] = {
    {{14, 4, 13, 1, 2, 15, 11, 8, 3, 10, 6, 12, 5, 9, 0, 7},
     {0, 15, 7, 4, 14, 2, 13, 1, 10, 6, 12, 11, 9, 5, 3, 8},
     {4, 1, 14, 8, 13, 6, 2, 11, 15, 12, 9, 7, 3, 10, 5, 0},
     {15, 12, 8, 2, 4, 9, 1, 7, 5, 11, 3, 14, 10, 0, 6, 13}},
    {{15, 1, 8, 14, 6, 11, 3, 4, 9, 7, 2, 13, 12, 0, 5, 10},
     {3, 13, 4, 7, 15, 2, 8, 14, 12, 0, 1, 10, 6, 9, 11, 5},
     {0, 14, 7, 11, 10, 4, 13, 1, 5, 8, 12, 6, 9, 3, 2, 15},
     {13, 8, 10, 1, 3, 15, 4, 2, 11, 6, 7, 12, 0, 5, 14, 9}},
    {{10, 0, 9, 14, 6, 3, 15, 5, 1, 13, 12, 7, 11, 4, 2, 8},
     {13, 7, 0, 9, 3, 4, 6, 10, 2, 8, 5, 14, 12, 11, 15, 1},
     {13, 6, 4, 9, 8, 15, 3, 0, 11, 1, 2, 12, 5, 10, 14, 7},
     {1, 10, 13, 0, 6, 9, 8, 7, 4, 15, 14, 3, 11, 5, 2, 12}},
    {{7, 13, 14, 3, 0, 6, 9, 10, 1, 2, 8, 5, 11, 12, 4, 15},
     {13, 8, 11, 5, 6, 15, 0, 3, 4, 7, 2, 12, 1, 10, 14, 9},
     {10, 6, 9, 0, 12, 11, 7, 13, 15, 1, 3, 14, 5, 2, 8, 4},
     {3, 15, 0, 6, 10, 1, 13, 8, 9, 4, 5, 11, 12, 7, 2, 14}},
    {{2, 12, 4, 1, 7, 10, 11, 6, 8, 5, 3, 15, 13, 0, 14, 9},
     {14, 11, 2, 12, 4, 7, 13, 1, 5, 0, 15, 10, 3, 9, 8, 6},
     {4, 2, 1, 11, 10, 13, 7, 8, 15, 9, 12, 5, 6, 3, 0, 14},
     {11, 8, 12, 7, 1, 14, 2, 13, 6, 15, 0, 9, 10, 4, 5, 3}},
    {{12, 1, 10, 15, 9, 2, 6, 8, 0, 13, 3, 4, 14, 7, 5, 11},
     {10, 15, 4, 2, 7, 12, 9, 5, 6, 1, 13, 14, 0, 11, 3, 8},
     {9, 14, 15, 5, 2, 8, 12, 3, 7, 0, 4, 10, 1, 13, 11, 6},
     {4, 3, 2, 12, 9, 5, 15, 10, 11, 14, 1, 7, 6, 0, 8, 13}},
    {{4, 11, 2, 14, 15, 0, 8, 13, 3, 12, 9, 7, 5, 10, 6, 1},
     {13, 0, 11, 7, 4, 9, 1, 10, 14, 3, 5, 12, 2, 15, 8, 6},
     {1, 4, 11, 13, 12, 3, 7, 14, 10, 15, 6, 8, 0, 5, 9, 2},
     {6, 11, 13, 8, 1, 4, 10, 7, 9, 5, 0, 15, 14, 2, 3, 12}},
    {{13, 2, 8, 4, 6, 15, 11, 1, 10, 9, 3, 14, 5, 0, 12, 7},
     {1, 15, 13, 8, 10, 3, 7, 4, 12, 5, 6, 11, 0, 14, 9, 2},
     {7, 11, 4, 1, 9, 12, 14, 2, 0, 6, 10, 13, 15, 3, 5, 8},
     {2, 1, 14, 7, 4, 10, 8, 13, 15, 12, 9, 0, 3, 5, 6, 11}}};

// Permuted choice 1: the 56 key bits that form C (the first 28) and D.
constexpr std::uint8_t kPermutedChoice1[56] = {
    57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18, 10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
    63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22, 14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

// Permuted choice 2: the 48 bits of C and D that form a round key.
constexpr std::uint8_t kPermutedChoice2[48] = {
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

// Left rotations of C and D before each round.
constexpr std::uint8_t kRotations[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

static_assert([] {
    for (const auto& box : kSBoxes)
        for (const auto& row : box) {
            unsigned seen = 0;
            for (const std::uint8_t value : row) seen |= 1u << value;
            if (seen != 0xFFFF) return false;                  // every row is a permutation of 0..15
        }
    return true;
}());

// ---- Bits and words -------------------------------------------------------------------------------

// Bit `n` (1 the most significant) of a `width`-bit value.
constexpr std::uint64_t bit_of(std::uint64_t value, unsigned width, unsigned n) { return (value >> (width - n)) & 1; }

// Gathers the bits that `table` names, the first one ending most significant.
template <std::size_t N>
constexpr std::uint64_t gather(std::uint64_t value, unsigned width, const std::uint8_t (&table)[N]) {
    std::uint64_t out = 0;
    for (const std::uint8_t n : table) out = (out << 1) | bit_of(value, width, n);
    return out;
}

constexpr std::uint32_t load_be32(const std::uint8_t* p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) | p[3];
}

constexpr void store_be32(std::uint32_t v, std::uint8_t* p) {
    p[0] = static_cast<std::uint8_t>(v >> 24);
    p[1] = static_cast<std::uint8_t>(v >> 16);
    p[2] = static_cast<std::uint8_t>(v >> 8);
    p[3] = static_cast<std::uint8_t>(v);
}

// ---- The initial and final permutations as shift networks ---------------------------------------

// Exchanges the bits of `b` under `mask` with the bits of `a` under mask << shift.
constexpr void swap_bits(std::uint32_t& a, std::uint32_t& b, unsigned shift, std::uint32_t mask) {
    const std::uint32_t t = ((a >> shift) ^ b) & mask;
    b ^= t;
    a ^= t << shift;
}

// The block's two big-endian words in, the two halves after IP out, each rotated left by one bit.
constexpr void initial_permutation(std::uint32_t& l, std::uint32_t& r) {
    swap_bits(l, r, 4, 0x0F0F0F0F);
    swap_bits(l, r, 16, 0x0000FFFF);
    swap_bits(r, l, 2, 0x33333333);
    swap_bits(r, l, 8, 0x00FF00FF);
    r = std::rotl(r, 1);
    const std::uint32_t t = (l ^ r) & 0xAAAAAAAA;
    l ^= t;
    r ^= t;
    l = std::rotl(l, 1);
}

// The inverse: halves rotated left by one (the right half first, as DES ends) in, the big-endian words
// of the output block out.
constexpr void final_permutation(std::uint32_t& l, std::uint32_t& r) {
    l = std::rotr(l, 1);
    const std::uint32_t t = (l ^ r) & 0xAAAAAAAA;
    l ^= t;
    r ^= t;
    r = std::rotr(r, 1);
    swap_bits(r, l, 8, 0x00FF00FF);
    swap_bits(r, l, 2, 0x33333333);
    swap_bits(l, r, 16, 0x0000FFFF);
    swap_bits(l, r, 4, 0x0F0F0F0F);
}

// The networks are linear in the bits, so agreeing with the tables on every single-bit block proves
// them for all blocks.
static_assert([] {
    for (unsigned n = 1; n <= 64; ++n) {
        const std::uint64_t block = std::uint64_t{1} << (64 - n);
        const std::uint64_t permuted = gather(block, 64, kInitialPermutation);
        std::uint32_t l = static_cast<std::uint32_t>(block >> 32), r = static_cast<std::uint32_t>(block);
        initial_permutation(l, r);
        if (l != std::rotl(static_cast<std::uint32_t>(permuted >> 32), 1) ||
            r != std::rotl(static_cast<std::uint32_t>(permuted), 1))
            return false;
        // The final permutation is the inverse of the initial one.
        final_permutation(l, r);
        if ((std::uint64_t{l} << 32 | r) != block) return false;
    }
    return true;
}());

// ---- The round function --------------------------------------------------------------------------

// Where S-box `box` (1..8) finds its six input bits in a half held rotated left by one: at the
// bottom of byte `byte` of the half itself (S8, S6, S4, S2 in bytes 0 to 3), or, when `rotated`, of
// the half rotated right by four more (S7, S5, S3, S1).
struct SBoxLane {
    bool rotated;
    unsigned byte;
};
constexpr SBoxLane lane_of(unsigned box) { return {box % 2 == 1, (8 - box) / 2}; }   // box 1..8

// The six bits of the rotated half that a lane feeds to its S-box are those that E names.
static_assert([] {
    for (unsigned box = 1; box <= 8; ++box) {
        for (unsigned k = 0; k < 6; ++k) {
            const unsigned n = kExpansion[6 * (box - 1) + k];            // bit of R, 1..32
            const std::uint32_t half = std::rotl(std::uint32_t{1} << (32 - n), 1);
            const SBoxLane lane = lane_of(box);
            const std::uint32_t word = lane.rotated ? std::rotr(half, 4) : half;
            if (((word >> (8 * lane.byte)) & 0x3F) != (1u << (5 - k))) return false;
        }
    }
    return true;
}());

// S-box k (0..7) followed by P, for each six-bit input, as a word in the rotated form of a half.
using SpTables = std::array<std::array<std::uint32_t, 64>, 8>;
constexpr SpTables make_sp_tables() {
    SpTables tables{};
    for (unsigned box = 0; box < 8; ++box) {
        for (unsigned input = 0; input < 64; ++input) {
            const unsigned row = ((input >> 4) & 2) | (input & 1);
            const unsigned column = (input >> 1) & 0xF;
            const std::uint32_t substituted = std::uint32_t{kSBoxes[box][row][column]} << (28 - 4 * box);
            tables[box][input] = std::rotl(static_cast<std::uint32_t>(gather(substituted, 32, kPermutation)), 1);
        }
    }
    return tables;
}
constexpr SpTables kSp = make_sp_tables();

// f(R, K) for a half in rotated form, with the round key as its two words: `a` for S-boxes 8, 6, 4, 2
// and `b` for 7, 5, 3, 1, each six bits at the bottom of its byte.
inline std::uint32_t round_function(std::uint32_t half, std::uint32_t a, std::uint32_t b) {
    const std::uint32_t x = (half ^ a) & 0x3F3F3F3F;
    const std::uint32_t y = (std::rotr(half, 4) ^ b) & 0x3F3F3F3F;
    return kSp[7][x & 0xFF] ^ kSp[5][(x >> 8) & 0xFF] ^ kSp[3][(x >> 16) & 0xFF] ^ kSp[1][x >> 24] ^
           kSp[6][y & 0xFF] ^ kSp[4][(y >> 8) & 0xFF] ^ kSp[2][(y >> 16) & 0xFF] ^ kSp[0][y >> 24];
}

// ---- The key schedule ----------------------------------------------------------------------------

constexpr std::uint32_t kMask28 = 0x0FFFFFFF;

constexpr std::uint32_t rotl28(std::uint32_t v, unsigned n) { return ((v << n) | (v >> (28 - n))) & kMask28; }

// Permuted choice 2 as 14 tables, one for each four bits of C and D (56 bits, C first): each entry is
// the round key's two words for those bits, packed as a in the low and b in the high half.
using Pc2Tables = std::array<std::array<std::uint64_t, 16>, 14>;

// The 48-bit round key K as the two words of round_function.
constexpr std::uint64_t pack_round_key(std::uint64_t k) {
    std::uint32_t a = 0, b = 0;
    for (unsigned box = 1; box <= 8; ++box) {
        const std::uint32_t six = static_cast<std::uint32_t>(k >> (48 - 6 * box)) & 0x3F;
        const SBoxLane lane = lane_of(box);
        (lane.rotated ? b : a) |= six << (8 * lane.byte);
    }
    return std::uint64_t{b} << 32 | a;
}

constexpr Pc2Tables make_pc2_tables() {
    Pc2Tables tables{};
    for (unsigned nibble = 0; nibble < 14; ++nibble)
        for (unsigned value = 0; value < 16; ++value) {
            const std::uint64_t cd = std::uint64_t{value} << (52 - 4 * nibble);
            tables[nibble][value] = pack_round_key(gather(cd, 56, kPermutedChoice2));
        }
    return tables;
}
constexpr Pc2Tables kPc2 = make_pc2_tables();

// ---- Blocks in lockstep --------------------------------------------------------------------------

// Sixteen rounds over `Lanes` blocks, the round keys taken forwards or backwards. On return
// l holds L16 and r holds R16 (the last round's exchange is not undone).
template <bool Backwards, std::size_t Lanes>
inline void sixteen_rounds(const RoundKeys& keys, std::uint32_t (&l)[Lanes], std::uint32_t (&r)[Lanes]) {
    for (unsigned round = 0; round < 16; round += 2) {
        const std::size_t first = Backwards ? 15 - round : round;
        const std::size_t second = Backwards ? 14 - round : round + 1;
        for (std::size_t j = 0; j < Lanes; ++j) l[j] ^= round_function(r[j], keys[2 * first], keys[2 * first + 1]);
        for (std::size_t j = 0; j < Lanes; ++j) r[j] ^= round_function(l[j], keys[2 * second], keys[2 * second + 1]);
    }
}

// One DES step of a chain ends with the halves in output order (R16, L16); the next starts from that
// block, whose IP and FP cancel out, so only the exchange remains between steps.
template <std::size_t Lanes>
inline void exchange_halves(std::uint32_t (&l)[Lanes], std::uint32_t (&r)[Lanes]) {
    for (std::size_t j = 0; j < Lanes; ++j) std::swap(l[j], r[j]);
}

// `Lanes` blocks from `in` to `out`, through `steps`, which runs the rounds of one or three DES steps.
template <std::size_t Lanes, typename Steps>
inline void crypt_lanes(const std::uint8_t* in, std::uint8_t* out, const Steps& steps) {
    std::uint32_t l[Lanes], r[Lanes];
    for (std::size_t j = 0; j < Lanes; ++j) {
        l[j] = load_be32(in + 8 * j);
        r[j] = load_be32(in + 8 * j + 4);
        initial_permutation(l[j], r[j]);
    }
    steps(l, r);
    for (std::size_t j = 0; j < Lanes; ++j) {
        final_permutation(r[j], l[j]);
        store_be32(r[j], out + 8 * j);
        store_be32(l[j], out + 8 * j + 4);
    }
}

// Lanes worked together in ECB: enough to overlap the look-ups of independent blocks.
constexpr std::size_t kLanes = 4;

// ECB over whole blocks, front to back, or back to front when `out` lies behind `in` in an
// overlapping range: either way, a block is read before any output lands on it.
template <typename Steps>
void crypt_blocks(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, const Steps& steps) {
    const std::size_t blocks = in.size() / kBlockSize;
    const auto in_at = reinterpret_cast<std::uintptr_t>(in.data());
    const auto out_at = reinterpret_cast<std::uintptr_t>(out.data());
    const bool backwards = out_at > in_at && out_at < in_at + in.size();
    if (!backwards) {
        std::size_t i = 0;
        for (; i + kLanes <= blocks; i += kLanes)
            crypt_lanes<kLanes>(in.data() + 8 * i, out.data() + 8 * i, steps);
        for (; i < blocks; ++i) crypt_lanes<1>(in.data() + 8 * i, out.data() + 8 * i, steps);
    } else {
        std::size_t i = blocks;
        for (; i >= kLanes; i -= kLanes)
            crypt_lanes<kLanes>(in.data() + 8 * (i - kLanes), out.data() + 8 * (i - kLanes), steps);
        for (; i > 0; --i) crypt_lanes<1>(in.data() + 8 * (i - 1), out.data() + 8 * (i - 1), steps);
    }
}

// The rounds of single DES and of the triple chain, for either direction.
struct SingleSteps {
    const RoundKeys& keys;
    bool decrypt;
    template <std::size_t Lanes>
    void operator()(std::uint32_t (&l)[Lanes], std::uint32_t (&r)[Lanes]) const {
        if (decrypt) sixteen_rounds<true>(keys, l, r);
        else sixteen_rounds<false>(keys, l, r);
    }
};

struct TripleSteps {
    const RoundKeys& k1;
    const RoundKeys& k2;
    bool decrypt;
    template <std::size_t Lanes>
    void operator()(std::uint32_t (&l)[Lanes], std::uint32_t (&r)[Lanes]) const {
        if (decrypt) run<true>(l, r);
        else run<false>(l, r);
    }
    template <bool Decrypt, std::size_t Lanes>
    void run(std::uint32_t (&l)[Lanes], std::uint32_t (&r)[Lanes]) const {
        sixteen_rounds<Decrypt>(k1, l, r);
        exchange_halves(l, r);
        sixteen_rounds<!Decrypt>(k2, l, r);
        exchange_halves(l, r);
        sixteen_rounds<Decrypt>(k1, l, r);
    }
};

}  // namespace

KeySchedule::KeySchedule(std::span<const std::uint8_t, kKeySize> key) noexcept {
    std::uint64_t bits = 0;
    for (const std::uint8_t byte : key) bits = (bits << 8) | byte;
    const std::uint64_t cd = gather(bits, 64, kPermutedChoice1);
    std::uint32_t c = static_cast<std::uint32_t>(cd >> 28), d = static_cast<std::uint32_t>(cd) & kMask28;
    for (unsigned round = 0; round < 16; ++round) {
        c = rotl28(c, kRotations[round]);
        d = rotl28(d, kRotations[round]);
        const std::uint64_t joined = std::uint64_t{c} << 28 | d;
        std::uint64_t packed = 0;
        for (unsigned nibble = 0; nibble < 14; ++nibble) packed |= kPc2[nibble][(joined >> (52 - 4 * nibble)) & 0xF];
        keys_[2 * std::size_t{round}] = static_cast<std::uint32_t>(packed);
        keys_[2 * std::size_t{round} + 1] = static_cast<std::uint32_t>(packed >> 32);
    }
    core::secure_wipe_object(bits);
    core::secure_wipe_object(c);
    core::secure_wipe_object(d);
}

KeySchedule::~KeySchedule() { core::secure_wipe_object(keys_); }

void KeySchedule::crypt_block(Direction direction, const std::uint8_t* in, std::uint8_t* out) const noexcept {
    crypt_lanes<1>(in, out, SingleSteps{keys_, direction == Direction::decrypt});
}

void KeySchedule::crypt_ecb(Direction direction, std::span<const std::uint8_t> in,
                            std::span<std::uint8_t> out) const noexcept {
    crypt_blocks(in, out, SingleSteps{keys_, direction == Direction::decrypt});
}

TripleKeySchedule::TripleKeySchedule(std::span<const std::uint8_t, kTripleKeySize> key) noexcept
    : k1_(key.first<kKeySize>()), k2_(key.last<kKeySize>()) {}

void TripleKeySchedule::crypt_block(Direction direction, const std::uint8_t* in, std::uint8_t* out) const noexcept {
    crypt_lanes<1>(in, out, TripleSteps{k1_.round_keys(), k2_.round_keys(), direction == Direction::decrypt});
}

void TripleKeySchedule::crypt_ecb(Direction direction, std::span<const std::uint8_t> in,
                                  std::span<std::uint8_t> out) const noexcept {
    crypt_blocks(in, out, TripleSteps{k1_.round_keys(), k2_.round_keys(), direction == Direction::decrypt});
}

}  // namespace vnr::crypto::des
