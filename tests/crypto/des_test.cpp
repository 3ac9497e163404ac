// The DES engine against the published known-answer tables and, for random keys and blocks, against
// OpenSSL's libcrypto as an oracle; and the key schedule's wipe.
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

std::vector<std::uint8_t> bytes_of(const std::vector<std::uint64_t>& blocks) {
    std::vector<std::uint8_t> out;
    for (const std::uint64_t value : blocks) {
        const Block b = block_of(value);
        out.insert(out.end(), b.begin(), b.end());
    }
    return out;
}

Block crypt(const KeySchedule& schedule, Direction direction, const Block& in) {
    Block out;
    schedule.crypt_block(direction, in.data(), out.data());
    return out;
}

// One known answer, checked both ways: the key enciphers `plain` to `cipher` and deciphers it back.
void expect_answer(std::uint64_t key, std::uint64_t plain, std::uint64_t cipher) {
    const Block key_bytes = block_of(key);
    const KeySchedule schedule(key_bytes);
    EXPECT_EQ(crypt(schedule, Direction::encrypt, block_of(plain)), block_of(cipher)) << std::hex << key << " " << plain;
    EXPECT_EQ(crypt(schedule, Direction::decrypt, block_of(cipher)), block_of(plain)) << std::hex << key << " " << cipher;
}

// NIST SP 800-17, Appendix B, Table 5 (substitution table: its 19 pairs use every entry of the eight
// S-boxes): key, plaintext, cipher. The bit-by-bit tables of plaintext and key are left to the random
// oracle below, which walks every bit position many times over.
constexpr std::uint64_t kSubstitutionTable[19][3] = {
    {0x7CA110454A1A6E57, 0x01A1D6D039776742, 0x690F5B0D9A26939B},
    {0x0131D9619DC1376E, 0x5CD54CA83DEF57DA, 0x7A389D10354BD271},
    {0x07A1133E4A0B2686, 0x0248D43806F67172, 0x868EBB51CAB4599A},
    {0x3849674C2602319E, 0x51454B582DDF440A, 0x7178876E01F19B2A},
    {0x04B915BA43FEB5B6, 0x42FD443059577FA2, 0xAF37FB421F8C4095},
    {0x0113B970FD34F2CE, 0x059B5E0851CF143A, 0x86A560F10EC6D85B},
    {0x0170F175468FB5E6, 0x0756D8E0774761D2, 0x0CD3DA020021DC09},
    {0x43297FAD38E373FE, 0x762514B829BF486A, 0xEA676B2CB7DB2B7A},
    {0x07A7137045DA2A16, 0x3BDD119049372802, 0xDFD64A815CAF1A0F},
    {0x04689104C2FD3B2F, 0x26955F6835AF609A, 0x5C513C9C4886C088},
    {0x37D06BB516CB7546, 0x164D5E404F275232, 0x0A2AEEAE3FF4AB77},
    {0x1F08260D1AC2465E, 0x6B056E18759F5CCA, 0xEF1BF03E5DFA575A},
    {0x584023641ABA6176, 0x004BD6EF09176062, 0x88BF0DB6D70DEE56},
    {0x025816164629B007, 0x480D39006EE762F2, 0xA1F9915541020B56},
    {0x49793EBC79B3258F, 0x437540C8698F3CFA, 0x6FBF1CAFCFFD0556},
    {0x4FB05E1515AB73A7, 0x072D43A077075292, 0x2F22E49BAB7CA1AC},
    {0x49E95D6D4CA229BF, 0x02FE55778117F12A, 0x5A6B612CC26CCE4A},
    {0x018310DC409B26D6, 0x1D9D5C5018F728C2, 0x5F4C038ED12B2E41},
    {0x1C587F1C13924FEF, 0x305532286D6F295A, 0x63FAC0D034D9F793}};

TEST(Des, PublishedKnownAnswersBothWays) {
    for (const auto& [key, plain, cipher] : kSubstitutionTable) expect_answer(key, plain, cipher);
}

// NIST CAVP, triple DES ECB multi-block message test, keying option 2 (K3 = K1): K1 K2, plaintext,
// ciphertext (TECBMMT2, encrypt count 1, decrypt counts 0 and 1).
TEST(TripleDes, PublishedTwoKeyAnswersBothWays) {
    const struct { std::uint64_t k1, k2; std::vector<std::uint64_t> plain, cipher; } cases[] = {
        {0x259DF16E7AF804FE, 0x83B90E9BF7C7E557, {0xA4619C433BBD6787, 0xC07C81728F9AC9FA},
         {0x9E06DE155C483C6B, 0xCFD834DBC8BD5830}},
        {0x151F10383D6D199B, 0x4A763BD54A46A445, {0xD8DA89298878ED7D}, {0x89321BA75BA545DB}},
        {0x023DFBE6621AA17C, 0xC219EAE9CDECD923, {0x9B071622181E6412, 0xDE6066429401410D},
         {0x54045DC71D8D565B, 0x227EC19F06FEF912}},
    };
    for (const auto& c : cases) {
        std::array<std::uint8_t, 16> key;
        std::ranges::copy(block_of(c.k1), key.begin());
        std::ranges::copy(block_of(c.k2), key.begin() + 8);
        const TripleKeySchedule schedule(key);
        const std::vector<std::uint8_t> plain = bytes_of(c.plain), cipher = bytes_of(c.cipher);
        std::vector<std::uint8_t> out(plain.size());
        schedule.crypt_ecb(Direction::encrypt, plain, out);
        EXPECT_EQ(out, cipher) << std::hex << c.k1;
        schedule.crypt_ecb(Direction::decrypt, cipher, out);
        EXPECT_EQ(out, plain) << std::hex << c.k1;
    }
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
