// src/crypto/des.h: crypto. The DES block cipher and its two-key triple form, in ECB: pure
// computation over the caller's bytes, with no lock, no log and no I/O. Blocks are 8 bytes, taken
// with the most significant bit first; the parity bits of a key (the low bit of each byte) are ignored.
// Key schedules wipe themselves when they go, so round keys never outlive their use.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vnr::crypto::des {

inline constexpr std::size_t kBlockSize = 8;
inline constexpr std::size_t kKeySize = 8;
// A two-key triple DES key: K1, then K2; the third key of the chain is K1 again.
inline constexpr std::size_t kTripleKeySize = 16;

enum class Direction { encrypt, decrypt };

// The 16 round keys of one DES key, each as the two words that the round function reads.
using RoundKeys = std::array<std::uint32_t, 32>;

// The key schedule of one DES key. Not copyable, so that no stray copy of the round keys is left.
class KeySchedule {
public:
    explicit KeySchedule(std::span<const std::uint8_t, kKeySize> key) noexcept;
    ~KeySchedule();
    KeySchedule(const KeySchedule&) = delete;
    KeySchedule& operator=(const KeySchedule&) = delete;

    // One block from `in` to `out`, which may be the same 8 bytes.
    void crypt_block(Direction direction, const std::uint8_t* in, std::uint8_t* out) const noexcept;

    // ECB over whole blocks: in.size() must be a multiple of 8 and out must hold as many bytes. The
    // two may overlap in any way: each output block equals the cipher of its input block as it was
    // before the call.
    void crypt_ecb(Direction direction, std::span<const std::uint8_t> in, std::span<std::uint8_t> out) const noexcept;

    const RoundKeys& round_keys() const noexcept { return keys_; }

private:
    RoundKeys keys_;
};

// Two-key triple DES: enciphering is E(K1) D(K2) E(K1), deciphering D(K1) E(K2) D(K1).
class TripleKeySchedule {
public:
    explicit TripleKeySchedule(std::span<const std::uint8_t, kTripleKeySize> key) noexcept;

    void crypt_block(Direction direction, const std::uint8_t* in, std::uint8_t* out) const noexcept;
    // As KeySchedule::crypt_ecb.
    void crypt_ecb(Direction direction, std::span<const std::uint8_t> in, std::span<std::uint8_t> out) const noexcept;

private:
    KeySchedule k1_;
    KeySchedule k2_;
};

}  // namespace vnr::crypto::des
