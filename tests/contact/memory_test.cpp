// Memory cards: the type told from the reader's reply, the bounds that a size code sets, transfers in
// pieces of 1024 bytes (their addresses, lengths, waits, a failure part-way), and the AT88SC1604 map at
// the edges of every zone.
#include "contact/contact_session.h"

namespace {

using namespace contact_test;
using Memory = ContactSession;

Bytes filled(std::size_t n, std::uint8_t value) { return Bytes(n, value); }
Bytes read_command(std::uint16_t addr, std::uint16_t len) {
    return {0x32, 0x35, 0x00, static_cast<std::uint8_t>(addr >> 8), static_cast<std::uint8_t>(addr), static_cast<std::uint8_t>(len >> 8),
            static_cast<std::uint8_t>(len)};
}

TEST_F(Memory, TheTypeComesFromAShortReplyOrFromTheHeadOfTheAnswerToReset) {
    const struct { Bytes reply; long status; std::uint8_t type; } cases[] = {
        {{0x05, 0x03}, 0, 5}, {{0x07}, 0, 7}, {{}, 0, 0}, {{0x16, 0x04, 0x3B}, 0, 8}, {{0x16, 0x05, 0x3B}, -4097, 0xEE},
        {{0xA2, 0x13, 0x10}, 0, 4}, {{0x88, 0x15, 0x10}, 0, 4}, {{0x92, 0x23, 0x10}, 0, 3}, {{0x81, 0x13, 0x10}, 0, 3}, {{0x69, 0x35, 0x00}, 0, 8},
    };
    for (const auto& c : cases) {
        answer({0x32, 0x32}, c.reply, 0, 1);
        std::uint8_t type = 0xEE;
        EXPECT_EQ(contact_identifytype(icdev, 0, &type), c.status) << c.reply.size();
        EXPECT_EQ(type, c.type);
    }
}

TEST_F(Memory, ASizeCodeBoundsTransfersUntilTheNextSetType) {
    const struct { Bytes identified; std::uint16_t addr, len; long status; } cases[] = {
        {{0x01, 0x01}, 255, 1, 0}, {{0x01, 0x01}, 255, 2, -37}, {{0x01, 0x01}, 256, 0, -37}, {{0x01, 0x00}, 0, 128, 0},
        {{0x01, 0x00}, 0, 129, -37}, {{0x05, 0x03}, 0, 1, -37}, {{0x0A, 0x20}, 0, 129, -37}, {{0x0A}, 127, 1, 0},
        {{0x01, 0x10}, 0xF800, 2048, 0}, {{0x01, 0x10}, 0xFC00, 2048, -37}, {{0x05, 0x06}, 8191, 1, 0}, {{0x05, 0x07}, 0, 1, -37},
        {{0x01, 0x08}, 0, 0, 0}, {{0x01, 0x00}, 0, 129, -37}, {{0x81, 0x13, 0x10}, 0, 129, -37},  // type 3 keeps the code
    };
    std::uint8_t type = 0, data[4096] = {};
    for (const auto& c : cases) {
        if (c.identified.size() <= 2) restart();
        answer({0x32, 0x32}, c.identified, 0, 1);
        ASSERT_EQ(contact_identifytype(icdev, 0, &type), 0);
        reader.clear_history();
        EXPECT_EQ(contact_read(icdev, 0, c.addr, c.len, data), c.status) << c.addr << "+" << c.len;
        EXPECT_EQ(contact_write(icdev, 0, c.addr, c.len, data), c.status) << c.addr << "+" << c.len;
        EXPECT_EQ(sent().empty(), c.status != 0 || c.len == 0);
    }
    EXPECT_EQ(contact_settype(icdev, 0, 2), -37);
    EXPECT_EQ(contact_read(icdev, 0, 0, 300, data), 0) << "even a refused contact_settype forgets the size";
}

TEST_F(Memory, LongReadsGoInPiecesEachUnderTheLongWait) {
    for (const std::uint16_t at : {0x0100, 0x0500}) answer(read_command(at, 1024), filled(1024, at >> 8), 0, 1);
    answer(read_command(0x0900, 1), {0x77}, 0, 1);
    answer({0x32, 0x32}, {0x01, 0x08}, 0, 1);  // 32768 bytes
    std::uint8_t type = 0;
    ASSERT_EQ(contact_identifytype(icdev, 0, &type), 0);
    reader.clear_history(), provider.waits.clear();
    Bytes out(2049 + 16, 0xEE);
    ASSERT_EQ(contact_read(icdev, 0, 0x0100, 2049, out.data()), 0);
    EXPECT_EQ(sent(), (std::vector<Bytes>{read_command(0x0100, 1024), read_command(0x0500, 1024), read_command(0x0900, 1)}));
    EXPECT_EQ(waits(), std::vector<Wait>(3, Wait{15000, 0}));
    EXPECT_EQ(standing(), kStanding);
    Bytes expected = filled(1024, 0x01);
    expected.resize(2048, 0x05), expected.push_back(0x77), expected.resize(out.size(), 0xEE);
    EXPECT_EQ(out, expected);

    provider.waits.clear();
    ASSERT_EQ(contact_read(icdev, 0, 0, 1024, out.data()), 0);
    EXPECT_EQ(waits(), std::vector<Wait>{kStanding}) << "one piece keeps the standing wait";
}

TEST_F(Memory, AFailedPieceIsAskedForAgainByTheLastAndOnlyTheLastStatusCounts) {
    answer({0x32, 0x32}, {0x01, 0x08}, 0, 1);
    std::uint8_t type = 0;
    ASSERT_EQ(contact_identifytype(icdev, 0, &type), 0);
    answer(read_command(0x0000, 1024), {}, 0x6A82, 1);
    answer(read_command(0x0400, 2048), filled(2048, 0x42), 0, 1);
    reader.clear_history();
    Bytes out(2048 + 16, 0xEE);
    EXPECT_EQ(contact_read(icdev, 0, 0, 2048, out.data()), 0);
    EXPECT_EQ(sent().back(), read_command(0x0400, 2048));
    EXPECT_EQ(std::count(out.begin(), out.end(), 0x42), 2048);

    answer(read_command(0x0000, 1024), filled(1024, 0x41), 0, 1);
    answer(read_command(0x0400, 1024), {}, 0x6A82, 1);
    out.assign(out.size(), 0xEE);
    EXPECT_EQ(contact_read(icdev, 0, 0, 2048, out.data()), -27266);
    EXPECT_EQ(std::count(out.begin(), out.end(), 0xEE), static_cast<long>(out.size())) << "a failed call leaves out alone";

    // Writes are cut by position; a failed first piece does not stop the others.
    Bytes data(2049);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i / 1024 + 1);
    answer({0x32, 0x36, 0x00, 0x00, 0x00}, {}, 0x6581, 1);
    reader.clear_history(), provider.waits.clear();
    EXPECT_EQ(contact_write(icdev, 0, 0, 2049, data.data()), 0);
    const std::vector<Bytes> commands = sent();
    ASSERT_EQ(commands.size(), 3u);
    const std::size_t sizes[] = {1024, 1024, 1};
    for (std::size_t i = 0; i < 3; ++i) {
        const Bytes head{0x32, 0x36, 0x00, static_cast<std::uint8_t>(i * 4), 0x00, static_cast<std::uint8_t>(sizes[i] >> 8),
                         static_cast<std::uint8_t>(sizes[i])};
        EXPECT_EQ(Bytes(commands[i].begin(), commands[i].begin() + 7), head);
        EXPECT_EQ(Bytes(commands[i].begin() + 7, commands[i].end()), filled(sizes[i], static_cast<std::uint8_t>(i + 1)));
    }
    EXPECT_EQ(waits(), std::vector<Wait>(3, Wait{15000, 0}));
}

// The AT88SC1604 map: 'r' srd_1604, 'w' swr_1604, 'e' ser_1604; sent or refused (-37, nothing sent).
struct Edge {
    char op;
    std::int32_t zone, offset, len;
    bool sent;
};
const Edge kEdges[] = {
    {'r', 0, 0, 21, 1}, {'r', 0, 0, 22, 0}, {'r', 0, 21, 1, 0}, {'r', 1, 21, 1201, 1}, {'r', 1, 21, 1202, 0}, {'r', 1, 20, 1, 0},
    {'r', 1, 1221, 0, 0}, {'r', 2, 1222, 261, 1}, {'r', 2, 1482, 2, 0}, {'r', 3, 1483, 261, 1}, {'r', 3, 1744, 1, 0},
    {'r', 4, 1744, 261, 1}, {'r', 4, 2004, 2, 0}, {'r', 5, 2006, 1, 1}, {'r', 5, 2006, 2, 0}, {'r', 5, 2004, 1, 0},
    {'e', 0, 10, 3, 1}, {'e', 0, 0, 22, 0}, {'e', 1, 26, 1, 0}, {'e', 1, 27, 1195, 1}, {'e', 1, 27, 1196, 0},
    {'e', 2, 1226, 1, 0}, {'e', 2, 1227, 256, 1}, {'e', 3, 1487, 1, 0}, {'e', 3, 1488, 256, 1}, {'e', 4, 1748, 1, 0},
    {'e', 4, 1749, 256, 1}, {'e', 5, 2005, 2, 1}, {'e', 5, 2004, 1, 0},
    {'w', 0, 9, 5, 1}, {'w', 0, 10, 1, 0}, {'w', 0, 12, 1, 0}, {'w', 0, 13, 8, 1}, {'w', 0, 13, 9, 0}, {'w', 0, -1, 1, 0},
    {'w', 1, 20, 1, 1}, {'w', 1, 21, 1, 0}, {'w', 1, 26, 1, 0}, {'w', 1, 27, 1195, 1}, {'w', 1, 27, 1196, 0}, {'w', 1, 1222, 1, 0},
    {'w', 2, 1226, 1, 0}, {'w', 2, 1227, 256, 1}, {'w', 2, 1000, 257, 0}, {'w', 3, 1487, 1, 0}, {'w', 3, 1743, 1, 1},
    {'w', 4, 1748, 1, 0}, {'w', 4, 1749, 256, 1}, {'w', 4, 2004, 2, 0}, {'w', 5, 2005, 2, 1}, {'w', 5, 2004, 1, 0}, {'w', 5, 2006, 0, 0},
};

TEST_F(Memory, The1604MapAtTheEdgesOfEveryZone) {
    std::vector<std::uint8_t> buffer(1300);
    for (const Edge& e : kEdges) {
        reader.clear_history();
        const long status = e.op == 'r'   ? srd_1604(icdev, e.zone, e.offset, e.len, buffer.data())
                            : e.op == 'w' ? swr_1604(icdev, e.zone, e.offset, e.len, buffer.data())
                                          : ser_1604(icdev, e.zone, e.offset, e.len);
        EXPECT_EQ(status, e.sent ? 0 : -37) << e.op << " " << e.zone << " " << e.offset << "+" << e.len;
        EXPECT_EQ(sent().size(), e.sent ? 1u : 0u);
    }
}

TEST_F(Memory, AFailedEraseOfACodeWritesNothing) {
    answer({0x32, 0x30}, {}, 0x6581, 1);
    const std::uint8_t code[] = {1, 2};
    EXPECT_EQ(wsc_1604(icdev, 1, 2, code), -25985);
    EXPECT_EQ(sent().size(), 1u);
    EXPECT_EQ(standing(), (Wait{2000, 10}));
}

}  // namespace
