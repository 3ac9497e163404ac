// The hex, decimal and Base64 encoders: exactly the bytes written, the terminator, and the byte behind
// them, which must be left alone.
#include "idcard/idcard_support.h"

namespace {

using idtest::Bytes;

constexpr std::uint8_t kUntouched = 0xEE;

TEST(HexAsc, TwoUpperCaseDigitsPerByteThenATerminator) {
    const struct { Bytes src; std::string text; } cases[] = {
        {{0x0A, 0xFF}, "0AFF"}, {{}, ""}, {{0x00, 0x01, 0xAB, 0x9C}, "0001AB9C"}};
    for (const auto& c : cases) {
        char dst[16];
        std::fill(std::begin(dst), std::end(dst), static_cast<char>(kUntouched));
        EXPECT_EQ(hex_asc(c.src.data(), dst, static_cast<uint32_t>(c.src.size())), 0);
        EXPECT_EQ(std::string(dst, c.text.size()), c.text);
        EXPECT_EQ(dst[c.text.size()], '\0');
        EXPECT_EQ(static_cast<uint8_t>(dst[c.text.size() + 1]), kUntouched) << c.text;
    }
}

struct PairCase {
    const char* src;
    uint32_t count;
    int16_t status;
    Bytes written;  // terminator included when one is due
};

void expect_pairs(int16_t (*convert)(const char*, uint8_t*, uint32_t), const PairCase& c) {
    uint8_t dst[16];
    std::fill(std::begin(dst), std::end(dst), kUntouched);
    EXPECT_EQ(convert(c.src, dst, c.count), c.status) << c.src;
    EXPECT_EQ(Bytes(dst, dst + c.written.size()), c.written) << c.src;
    EXPECT_EQ(dst[c.written.size()], kUntouched) << c.src;
}

TEST(AscHex, DigitPairsEitherCaseAndTheFirstBadCharacterStops) {
    const PairCase cases[] = {
        {"0aFf", 2, 0, {0x0A, 0xFF, 0x00}},
        {"", 0, 0, {0x00}},                       // only the terminator
        {"0A1BzZ99", 4, -1, {0x0A, 0x1B}},        // bad third pair: what was done, no terminator
        {"0A", 2, -1, {0x0A}},                    // the text's zero byte is a bad character
        {"G0", 1, -1, {}},  {"0g", 1, -1, {}},  {"7f80", 2, 0, {0x7F, 0x80, 0x00}},
    };
    for (const auto& c : cases) expect_pairs(asc_hex, c);
}

TEST(AscDec, PairsAreTenTimesTheFirstDigitPlusTheSecondWithLettersAsTenToFifteen) {
    const PairCase cases[] = {
        {"1F", 1, 0, {25, 0x00}},  {"12", 1, 0, {12, 0x00}}, {"FF", 1, 0, {165, 0x00}},   {"ff", 1, 0, {165, 0x00}},
        {"0199", 2, 0, {1, 99, 0}}, {"1G", 1, -1, {}},        {"011 ", 2, -1, {1}},        {"", 0, 0, {0x00}},
    };
    for (const auto& c : cases) expect_pairs(asc_dec, c);
}

TEST(Base64Hex, WholeGroupsOnlyAndEverythingOutsideTheAlphabetCountsZero) {
    // Whole texts both ways, padding included, are checked against libcrypto in tests/crypto.
    const struct { std::string text; Bytes bytes; } cases[] = {
        {"YWJjZA", idtest::bytes_of("abc")},  // the two characters behind the group are ignored
        {"YWJ", {}},
        {"Y\x80Jj", {0x60, 0x02, 0x63}},  {"YW*j", {0x61, 0x60, 0x23}},
    };
    for (const auto& c : cases) {
        uint8_t dst[16];
        std::fill(std::begin(dst), std::end(dst), kUntouched);
        EXPECT_EQ(base64_hex(c.text.data(), dst, static_cast<uint32_t>(c.text.size())),
                  static_cast<int32_t>(c.bytes.size() + 1)) << c.text;
        EXPECT_EQ(Bytes(dst, dst + c.bytes.size()), c.bytes) << c.text;
        EXPECT_EQ(dst[c.bytes.size()], kUntouched) << c.text;
    }
}

}  // namespace
