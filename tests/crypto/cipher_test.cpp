// The exported DES functions: the lengths they take, exactly which bytes of `dst` they write and what,
// the rf pair in place, and their log lines.
#include "crypto/des.h"
#include "support/sim_reader.h"
#include "vnr_32.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

using vnr::crypto::des::Direction;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kUntouched = 0xEE;
const Bytes kKey = {0x3B, 0x38, 0x98, 0x37, 0x15, 0x20, 0xF7, 0x5E, 0x92, 0x2F, 0xB5, 0x10, 0xC7, 0x1F, 0x43, 0x6E};

Bytes message_of(std::size_t length) {
    Bytes m(length);
    for (std::size_t i = 0; i < length; ++i) m[i] = static_cast<std::uint8_t>(i * 29 + 7);
    return m;
}

// The engine over `message` filled with zero bytes to whole blocks.
Bytes engine(bool triple, Direction direction, Bytes message) {
    message.resize((message.size() + 7) / 8 * 8, 0);
    Bytes out(message.size());
    if (triple) vnr::crypto::des::TripleKeySchedule(std::span(kKey).first<16>()).crypt_ecb(direction, message, out);
    else vnr::crypto::des::KeySchedule(std::span(kKey).first<8>()).crypt_ecb(direction, message, out);
    return out;
}

using ShortFunction = int16_t (*)(const uint8_t*, const uint8_t*, uint8_t, uint8_t*);
using WholeFunction = int16_t (*)(const uint8_t*, const uint8_t*, uint16_t, uint8_t*);

struct ShortRow {
    const char* name;
    ShortFunction function;
    bool triple;
    Direction direction;
    const char* success;
    const char* refusal;
};
const ShortRow kShortRows[] = {
    {"des_encrypt", des_encrypt, false, Direction::encrypt, "==>des_encrypt()成功。 ", "==>des_encrypt(), msgLen参数不合法。 "},
    {"des_decrypt", des_decrypt, false, Direction::decrypt, "==>des_decrypt()成功。 ", "==>des_decrypt(), msgLen参数无效。 "},
    {"des3_encrypt", des3_encrypt, true, Direction::encrypt, "==>des3_encrypt()成功。 ", "==>des3_encrypt(), msgLen参数无效。 "},
    {"des3_decrypt", des3_decrypt, true, Direction::decrypt, "==>des3_decrypt()成功。 ", "==>des3_decrypt()，msgLen参数不合法。 "},
};

TEST(DesFamily, OneToSixteenBytesEachWritesExactlyItsLengthAndRefusesTheRest) {
    for (const ShortRow& row : kShortRows) {
        for (const std::size_t length : {0, 1, 5, 8, 9, 16, 17, 255}) {
            const Bytes message = message_of(length);
            Bytes dst(length + 8, kUntouched);
            const bool fits = length >= 1 && length <= 16;
            EXPECT_EQ(row.function(kKey.data(), message.data(), static_cast<uint8_t>(length), dst.data()),
                      fits ? VNR_OK : VNR_E_BAD_ARGUMENT) << row.name << " " << length;
            Bytes expected = fits ? engine(row.triple, row.direction, message) : Bytes{};
            expected.resize(fits ? length : 0);
            expected.resize(dst.size(), kUntouched);
            EXPECT_EQ(dst, expected) << row.name << " " << length;
        }
    }
}

TEST(RfFamily, EveryLengthWritesWholeBlocksAndReturnsZero) {
    const struct { WholeFunction function; Direction direction; } rows[] = {
        {rf_encrypt, Direction::encrypt}, {rf_decrypt, Direction::decrypt}};
    for (const auto& row : rows) {
        for (const std::size_t length : {0, 1, 3, 8, 9, 16, 17, 65535}) {
            const Bytes message = message_of(length);
            const std::size_t whole = (length + 7) / 8 * 8;
            Bytes dst(whole + 8, kUntouched);
            EXPECT_EQ(row.function(kKey.data(), message.data(), static_cast<uint16_t>(length), dst.data()), VNR_OK);
            Bytes expected = engine(false, row.direction, message);
            expected.resize(dst.size(), kUntouched);
            EXPECT_EQ(dst, expected) << length;
        }
    }
}

// In place: three bytes come back with five zero bytes behind them.
TEST(RfFamily, WorksInPlace) {
    Bytes in_place = message_of(3);
    in_place.resize(8, kUntouched);
    rf_encrypt(kKey.data(), in_place.data(), 3, in_place.data());
    rf_decrypt(kKey.data(), in_place.data(), 8, in_place.data());
    EXPECT_EQ(in_place, (Bytes{7, 36, 65, 0, 0, 0, 0, 0}));
}

TEST(Cipher, EntryAndResultLinesForTheDesFamilyAndNoneForRf) {
    const vnr::test::TempPrefix prefix;
    prefix.enable_log();
    std::string expected;
    Bytes dst(16);
    for (const ShortRow& row : kShortRows) {
        for (const uint8_t length : {17, 8}) {
            row.function(kKey.data(), kKey.data(), length, dst.data());
            const std::string entry = std::string("-----") + row.name + "()----- ";
            for (const std::string& line : {entry, std::string(length == 8 ? row.success : row.refusal)})
                expected += " | " + vnrsim::to_gbk(line) + "\n";
        }
    }
    rf_encrypt(kKey.data(), kKey.data(), 8, dst.data());
    rf_decrypt(kKey.data(), kKey.data(), 8, dst.data());
    // Each line is "YYYY-MM-DD hh:mm:ss:mmmm | text": drop the 24-character time heads.
    std::string lines;
    std::istringstream log(vnr::test::log_text(prefix));
    for (std::string line; std::getline(log, line);) lines += line.substr(24) + "\n";
    EXPECT_EQ(lines, expected);
}

}  // namespace
