// tests/reader/eeprom_test.cpp: the EEPROM's words under byte addresses: what a read asks for and hands
// over, what a write reads first and sends, at the word edges and at the end of the 200 bytes.
#include "reader_support.h"

namespace {

using namespace readertest;

using Eeprom = Session;

constexpr uint8_t R = 0xC0, kRead = 0x0B, kWrite = 0x0A;

struct ReadCase {
    uint16_t address, length;
    Bytes asked, reply, handed;  // the read command, the reply, what reaches the caller (then the 0xEE behind)
    int16_t status = VNR_OK;
};

const ReadCase kReads[] = {
    {199, 1, {R, kRead, 0, 99, 0, 2}, {0x11, 0x22}, {0x22}},
    {0, 200, {R, kRead, 0, 0, 0, 200}, Bytes(200, 0x33), Bytes(200, 0x33)},
    {1, 3, {R, kRead, 0, 0, 0, 4}, {1, 2, 3, 4}, {2, 3, 4}},
    {0, 4, {R, kRead, 0, 0, 0, 4}, {1, 2}, {}, VNR_E_END_BYTE},  // fewer bytes than the words asked for
    {0, 2, {R, kRead, 0, 0, 0, 2}, {1, 2, 3}, {}, VNR_E_END_BYTE},  // more than asked: refused by the room
};

TEST_F(Eeprom, ReadsAskForWholeWordsAndHandOverTheBytesAskedFor) {
    for (const ReadCase& c : kReads) {
        SCOPED_TRACE(testing::Message() << c.address << "+" << c.length);
        reader.clear_history();
        answer({R, kRead}, c.reply);
        Bytes data(201, 0xEE);
        EXPECT_EQ(dev_readeeprom(icdev, c.address, c.length, data.data()), c.status);
        EXPECT_EQ(sent(), std::vector<Bytes>{c.asked});
        EXPECT_EQ(Bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(c.handed.size()) + 1), c.handed + Bytes{0xEE});
    }
}

struct WriteCase {
    uint16_t address, length;
    std::vector<Bytes> sent;  // the first read, if any, and the write
    int16_t status = VNR_OK;
    uint16_t read_status = 0; // the reader's answer to the first read
};

// The caller's bytes are D1 D2 ...; the EEPROM around them reads 0x10 + its own address.
const WriteCase kWrites[] = {
    {10, 4, {{R, kWrite, 0, 5, 0, 4, 0xD1, 0xD2, 0xD3, 0xD4}}},
    {10, 3, {{R, kRead, 0, 6, 0, 2}, {R, kWrite, 0, 5, 0, 4, 0xD1, 0xD2, 0xD3, 0x1D}}},
    {11, 3, {{R, kRead, 0, 5, 0, 2}, {R, kWrite, 0, 5, 0, 4, 0x1A, 0xD1, 0xD2, 0xD3}}},
    {11, 2, {{R, kRead, 0, 5, 0, 4}, {R, kWrite, 0, 5, 0, 4, 0x1A, 0xD1, 0xD2, 0x1D}}},
    {199, 1, {{R, kRead, 0, 99, 0, 2}, {R, kWrite, 0, 99, 0, 2, uint8_t(0x10 + 198), 0xD1}}},
    {198, 2, {{R, kWrite, 0, 99, 0, 2, 0xD1, 0xD2}}},
    {200, 2, {{R, kWrite, 0, 100, 0, 2, 0xD1, 0xD2}}},  // past the end: the reader decides
    {200, 1, {}, VNR_E_BAD_ARGUMENT},                    // its neighbour lies past the end: the first read refuses
    {199, 2, {}, VNR_E_BAD_ARGUMENT},
    {10, 1, {{R, kRead, 0, 5, 0, 2}}, -0x6A82, 0x6A82},  // a failing first read: its status, nothing written
};

TEST_F(Eeprom, WritesReadTheirWordsNeighboursFirstAndSendThemBack) {
    for (const WriteCase& c : kWrites) {
        SCOPED_TRACE(testing::Message() << c.address << "+" << c.length);
        reader.clear_history();
        // The neighbours as the reader holds them: byte n reads 0x10 + n (low 8 bits).
        const uint16_t first = c.sent.size() == 2 ? uint16_t(c.sent[0][3] * 2) : 0;
        Bytes around;
        for (uint16_t n = first; n < first + (c.sent.size() == 2 ? c.sent[0][5] : 0); ++n) around.push_back(uint8_t(0x10 + n));
        answer({R, kRead}, around, c.read_status);
        answer({R, kWrite}, {});
        const Bytes data{0xD1, 0xD2, 0xD3, 0xD4};
        EXPECT_EQ(dev_writeeeprom(icdev, c.address, c.length, data.data()), c.status);
        EXPECT_EQ(sent(), c.sent);
    }
    expect_logged({"-----dev_readeeprom()----- ", "==>dev_writeeeprom(), 状态码：0。 ", "==>dev_readeeprom(), nAddr参数不合法。"});
}

}  // namespace
