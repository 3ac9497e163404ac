// The DES engine, single and two-key triple, against OpenSSL's libcrypto as an oracle for random keys and
// blocks (every S-box entry and bit position many times over); overlapping buffers; the key schedule's wipe.
#include "crypto/des.h"

#define OPENSSL_SUPPRESS_DEPRECATED   // DES_* are deprecated in OpenSSL 3, and are the oracle here
#include <openssl/des.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <random>
#include <vector>

namespace {

using vnr::crypto::des::Direction;
using vnr::crypto::des::KeySchedule;
using vnr::crypto::des::TripleKeySchedule;
using Block = std::array<std::uint8_t, 8>;

Block block_of(std::uint64_t value) {
    Block b;
    for (int i = 0; i < 8; ++i) b[i] = static_cast<std::uint8_t>(value >> (56 - 8 * i));
    return b;
}

// 10^5 random keys, each with a run of blocks long enough to go through the engine's lockstep lanes
// and its single-block tail, against libcrypto block by block, and back.
TEST(Des, AgreesWithLibcryptoOnRandomKeysAndBlocks) {
    constexpr int kKeys = 100000;
    constexpr std::size_t kBlocks = 5;
    std::mt19937_64 random(20240601);
    std::array<std::uint8_t, 16> key;
    std::array<std::uint8_t, 8 * kBlocks> plain, ours, back;
    int mismatches = 0;
    for (int n = 0; n < kKeys && mismatches < 5; ++n) {
        for (auto& b : key) b = static_cast<std::uint8_t>(random());
        for (auto& b : plain) b = static_cast<std::uint8_t>(random());
        DES_key_schedule ks1, ks2;
        DES_set_key_unchecked(reinterpret_cast<const_DES_cblock*>(key.data()), &ks1);
        DES_set_key_unchecked(reinterpret_cast<const_DES_cblock*>(key.data() + 8), &ks2);
        std::array<std::uint8_t, 8 * kBlocks> single_oracle, triple_oracle;
        for (std::size_t i = 0; i < kBlocks; ++i) {
            auto* in = reinterpret_cast<const_DES_cblock*>(plain.data() + 8 * i);
            DES_ecb_encrypt(in, reinterpret_cast<DES_cblock*>(single_oracle.data() + 8 * i), &ks1, DES_ENCRYPT);
            DES_ecb3_encrypt(in, reinterpret_cast<DES_cblock*>(triple_oracle.data() + 8 * i), &ks1, &ks2, &ks1,
                             DES_ENCRYPT);
        }
        const KeySchedule single{std::span(key).first<8>()};
        single.crypt_ecb(Direction::encrypt, plain, ours);
        single.crypt_ecb(Direction::decrypt, ours, back);
        mismatches += ours != single_oracle || back != plain;
        const TripleKeySchedule triple(key);
        triple.crypt_ecb(Direction::encrypt, plain, ours);
        triple.crypt_ecb(Direction::decrypt, ours, back);
        mismatches += ours != triple_oracle || back != plain;
    }
    EXPECT_EQ(mismatches, 0);
}

// ECB in place and over buffers that overlap either way gives what separate buffers give.
TEST(Des, OverlappingBuffersGiveTheSameBlocks) {
    const Block key = block_of(0x0123456789ABCDEF);
    const KeySchedule schedule(key);
    std::vector<std::uint8_t> message(8 * 11);
    for (std::size_t i = 0; i < message.size(); ++i) message[i] = static_cast<std::uint8_t>(i * 37 + 1);
    std::vector<std::uint8_t> expected(message.size());
    schedule.crypt_ecb(Direction::encrypt, message, expected);
    for (const std::ptrdiff_t shift : {0, 3, 8, 21, -5, -8, -40}) {
        std::vector<std::uint8_t> buffer(message.size() + 96, 0);
        std::uint8_t* in = buffer.data() + 48;
        std::ranges::copy(message, in);
        const std::span<std::uint8_t> out(in + shift, message.size());
        schedule.crypt_ecb(Direction::encrypt, {in, message.size()}, out);
        EXPECT_TRUE(std::ranges::equal(out, expected)) << shift;
    }
}

// The key schedule zeroes its round keys when it goes, even though nothing reads them afterwards.
TEST(Des, KeyScheduleWipesItselfWhenDestroyed) {
    alignas(KeySchedule) std::array<std::uint8_t, sizeof(KeySchedule)> storage{};
    const Block key = block_of(0x133457799BBCDFF1);
    auto* schedule = new (storage.data()) KeySchedule(key);
    const auto& keys = schedule->round_keys();
    EXPECT_TRUE(std::ranges::any_of(keys, [](std::uint32_t k) { return k != 0; }));
    schedule->~KeySchedule();
    EXPECT_TRUE(std::ranges::all_of(storage, [](std::uint8_t b) { return b == 0; }));
}

}  // namespace
