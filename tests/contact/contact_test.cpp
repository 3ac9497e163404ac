// Contact cards on the HID road (each command's wait seen without sitting through it): bytes and waits,
// refusals in order, rooms against long replies, slot states, size codes, pieces, the 1604 map.
#include "contact/memory_map.h"
#include "contact/state.h"
#include "core/state.h"
#include "support/sim_session.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using vnr::test::gbk;

struct Wait { std::uint32_t timeout_ms, delay_ms; bool operator==(const Wait&) const = default; };
const Wait S{2000, 0}, E{30000, 10}, A{2000, 10};  // standing; an erase's, and what stands after it

std::uint8_t out[4096], len8;
std::uint16_t state;
std::uint32_t len32;

class Contact : public vnr::test::SimSessionBase {
protected:
    void SetUp() override {
        prefix.enable_log();
        open_on(vnr::test::Link::hid);
        answer({0x32}, {}), answer({0x33}, {});
        restart();
    }
    // Forgets the commands and waits seen and the card's size, and puts the standing wait back.
    void restart() {
        reader.clear_history(), provider.waits.clear();
        vnr::core::set_comm_timeout(2000, 0);
        vnr::contact::contact_size_code(vnr::core::LibraryGuard{}) = vnr::contact::kNoSizeCode;
    }
    void identify(const Bytes& reply) {
        answer({0x32, 0x32}, reply, 0, 1);
        ASSERT_EQ(contact_identifytype(icdev, 0, &len8), 0);
        reader.clear_history(), provider.waits.clear();
    }
    std::vector<Wait> waits() const {
        std::vector<Wait> out;
        for (const auto& w : provider.waits.seen()) out.push_back({w.timeout_ms, w.delay_ms});
        return out;
    }
    static Wait standing() { return {vnr::core::link_state().read_timeout_ms, vnr::core::link_state().read_delay_ms}; }
    std::string log() const { return vnr::test::log_text(prefix); }
    std::string last_line() const {  // without its time head
        std::string text = log();
        text = text.substr(0, text.find_last_not_of("\r\n") + 1);
        text = text.substr(text.rfind('\n') + 1);
        return text.substr(text.find("| ") + 2);
    }
};

const std::uint8_t kTwo[] = {0xAA, 0xBB}, kCode[] = {0xC1, 0xC2}, kPassword[] = {0x11, 0x22, 0x33};
const std::uint8_t kSelect[] = {0x00, 0xA4, 0x04, 0x00, 0x00};
#define CALL(expr) [](std::int32_t ic) -> long { return (void)ic, expr; }
#define INTO(expr) [](std::int32_t ic, std::uint8_t* b, std::uint32_t& n) -> long { return (void)n, expr; }
long with_len8(long status, std::uint32_t& n) { return n = len8, status; }
Bytes read_command(std::uint16_t addr, std::uint16_t len) {
    return {0x32, 0x35, 0x00, static_cast<std::uint8_t>(addr >> 8), static_cast<std::uint8_t>(addr), static_cast<std::uint8_t>(len >> 8), static_cast<std::uint8_t>(len)};
}

struct Golden { long (*call)(std::int32_t); std::vector<Bytes> sent; std::vector<Wait> waits; Wait after; };  // waits: at each command
const Golden kGolden[] = {
    {CALL(sam_slt_getstate(ic, 5, &state)), {{0x32, 0x21, 0x05}}, {S}, S},
    {CALL(sam_slt_reset(ic, 0x1234, 3, &len8, out)), {{0x32, 0x22, 0x12, 0x34, 0x03}}, {{5660, 0}}, S},
    {CALL(sam_slt_reset_baud(ic, 2, 1, &len8, out)), {{0x32, 0x27, 0x02, 0x01}}, {S}, S},
    {CALL(sam_slt_powerdown(ic, 31)), {{0x32, 0x23, 0x1F}}, {S}, S},
    {CALL(card_APDU(ic, 0xFF, 5, kSelect, &len32, out)), {{0x32, 0x26, 0xFF, 0x00, 0xA4, 0x04, 0x00, 0x00}}, {S}, S},
    {CALL(contact_settype(ic, 1, 10)), {{0x32, 0x31, 0x01, 0x0A}}, {S}, S},
    {CALL(contact_identifytype(ic, 1, &len8)), {{0x32, 0x32, 0x01}}, {S}, S},
    {CALL(contact_passwordinit(ic, 7, 0x103, kPassword)), {{0x32, 0x33, 0x07, 0x03, 0x11, 0x22, 0x33}}, {S}, S},
    {CALL(contact_passwordcheck(ic, 2, 3, kPassword)), {{0x32, 0x34, 0x02, 0x03, 0x11, 0x22, 0x33}}, {S}, S},
    {CALL(contact_read(ic, 4, 0x1234, 3, out)), {{0x32, 0x35, 0x04, 0x12, 0x34, 0x00, 0x03}}, {S}, S},
    {CALL(contact_write(ic, 4, 0x0102, 2, kTwo)), {{0x32, 0x36, 0x04, 0x01, 0x02, 0x00, 0x02, 0xAA, 0xBB}}, {{15000, 0}}, S},
    {CALL(srd_1604(ic, 2, 1300, 4, out)), {{0x32, 0x35, 0x00, 0x05, 0x14, 0x00, 0x04}}, {S}, S},
    {CALL(swr_1604(ic, 1, 27, 2, kTwo)), {{0x32, 0x36, 0x00, 0x00, 0x1B, 0x00, 0x02, 0xAA, 0xBB}}, {{25000, 0}}, S},
    {CALL(ser_1604(ic, 3, 1488, 256)), {{0x32, 0x30, 0x00, 0x05, 0xD0, 0x01, 0x00}}, {E}, A},
    {CALL(wsc_1604(ic, 5, 2, kCode)),
     {{0x32, 0x30, 0x00, 0x00, 0x18, 0x00, 0x02, 0x00}, {0x32, 0x33, 0x00, 0x05, 0x00, 0x18, 0x00, 0x02, 0xC1, 0xC2}}, {E, A}, A},
    {CALL(wsc_1604(ic, 6, 2, kCode)),
     {{0x32, 0x30, 0x00, 0x04, 0xC8, 0x00, 0x02, 0x00}, {0x32, 0x33, 0x00, 0x06, 0x04, 0xC8, 0x00, 0x02, 0xC1, 0xC2}}, {E, A}, A},
    {CALL(csc_1604(ic, 0, 2, kCode)), {{0x32, 0x34, 0x00, 0x04, 0x00, 0x00, 0xC1, 0xC2}}, {S}, S},
    {CALL(cesc_1604(ic, 4, 2, kCode)), {{0x32, 0x34, 0x00, 0x04, 0x01, 0x04, 0xC1, 0xC2}}, {S}, S},
    {CALL(fakefus_1604(ic, 1)), {{0x32, 0x96, 0x00, 0x01}}, {S}, S},
    {CALL(psnl_1604(ic)), {{0x33, 0x39, 0x00}}, {S}, S},
};

TEST_F(Contact, EveryFunctionSendsItsBytesUnderItsWait) {
    for (const Golden& g : kGolden) {
        SCOPED_TRACE(testing::PrintToString(g.sent.front()));
        restart();
        EXPECT_EQ(g.call(icdev), 0);
        EXPECT_EQ(sent(), g.sent);
        EXPECT_TRUE(waits() == g.waits && standing() == g.after);
    }
}

struct Refusal { long (*call)(std::int32_t); long status; const char* line; };  // line: the last one logged; none: none logged
const Refusal kRefusals[] = {
    {CALL(sam_slt_getstate(0, 32, &state)), -18, "==>sam_slt_getstate(), 句柄无效 "},
    {CALL(sam_slt_getstate(ic, 32, &state)), -37, "==>sam_slt_getstate(), cardno参数不合法 "},
    {CALL(sam_slt_reset_baud(0, 32, 9, &len8, out)), -18, "------sam_slt_reset_baud()-------, icdev: 0, cardno: 32, reset baudrate: 9"},
    {CALL(sam_slt_reset_baud(ic, 0, 3, &len8, out)), -37, "==> sam_slt_reset_baud() sam卡复位失败! 状态码：-37 "},
    {CALL(card_APDU(0, 32, 0, kSelect, &len32, out)), -18, "==>card_APDU(), 句柄无效 "},
    {CALL(card_APDU(ic, 32, 0, kSelect, &len32, out)), -37, "==>card_APDU(), slen参数不合法 "},
    {CALL(card_APDU(ic, 0, 3071, out, &len32, out)), -37, "==>card_APDU(), slen参数不合法 "},
    {CALL(card_APDU(ic, 32, 5, kSelect, &len32, out)), -37, "==>card_APDU(), cardno参数不合法 "},
    {CALL(contact_settype(ic, 0, 2)), -37, nullptr},
    {CALL(contact_identifytype(ic, 2, &len8)), -37, nullptr},
    {CALL(contact_write(0, 32, 0, 2, kTwo)), -18, nullptr},
    {CALL(srd_1604(ic, 6, 0, 1, out)), -37, "==>srd_1604(), zone参数不合法"},
    {CALL(srd_1604(ic, 0, 20, 2, out)), -37, "==>srd_1604(), offfset参数不合法。"},
    {CALL(srd_1604(ic, 1, 20, 1, out)), -37, "==>srd_1604(), offset参数不合法。"},
    {CALL(srd_1604(ic, 5, 2006, 2, out)), -37, "==>srd_1604(), offset参数不合法"},
    {CALL(swr_1604(ic, 2, 1300, 257, out)), -37, "==>swr_1604(), offset参数不合法"},
    {CALL(ser_1604(0, 9, 0, 0)), -37, "==>ser_1604(), len参数不合法 "},
    {CALL(ser_1604(0, 9, 0, 1)), -18, "==>ser_1604(), 句柄无效 "},
    {CALL(wsc_1604(0, 0, 2, kCode)), -18, "==>neibu_ser_1604(), 句柄无效"},
    {CALL(wsc_1604(ic, 9, 2, kCode)), -37, nullptr},
    {CALL(csc_1604(0, 5, 3, kCode)), -37, "==>csc_1604(), len参数不合法 "},
    {CALL(csc_1604(0, 5, 2, kCode)), -37, "==>csc_1604(), zone参数不合法 "},
    {CALL(csc_1604(0, 0, 2, kCode)), -18, "==>csc_1604(), 句柄无效 "},
    {CALL(cesc_1604(0, 0, 3, kCode)), -18, "==>cesc_1604(), 句柄无效 "},
    {CALL(cesc_1604(ic, 0, 3, kCode)), -37, "==>cesc_1604(), len参数不合法 "},
    {CALL(cesc_1604(ic, 0, 2, kCode)), -37, "==>cesc_1604(), zone参数不合法 "},
    {CALL(fakefus_1604(0, 2)), -37, "==>fakefus_1604(), mode参数不合法 "},
    {CALL(fakefus_1604(0, 1)), -18, "==>fakefus_1604(), 句柄无效 "},
};

TEST_F(Contact, RefusalsComeInTheirOrderWithTheirLineAndSendNothing) {
    state = 0xEEEE;
    for (const Refusal& r : kRefusals) {
        const std::string before = log();
        EXPECT_EQ(r.call(icdev), r.status);
        EXPECT_EQ(r.line != nullptr ? last_line() : log(), r.line != nullptr ? gbk(r.line) : before);
    }
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(state, 0) << "sam_slt_getstate clears the state once the handle has passed";
}

// A reply of `reply` bytes (1, 2, 3, ...): on success the bytes from `dropped` on are at the buffer's head
// and the count (UINT32_MAX when the function gives none) says how many; nothing else is written.
struct Room { Bytes command; std::size_t reply, dropped; long (*call)(std::int32_t, std::uint8_t*, std::uint32_t&); long status; };
const Room kRooms[] = {
    {{0x32, 0x22}, 256, 1, INTO(with_len8(sam_slt_reset(ic, 0, 0, &len8, b), n)), 0},
    {{0x32, 0x22}, 257, 1, INTO(sam_slt_reset(ic, 0, 0, &len8, b)), -35},
    {{0x32, 0x22}, 0, 0, INTO(with_len8(sam_slt_reset(ic, 0, 0, &len8, b), n)), 0},
    {{0x32, 0x27}, 255, 0, INTO(with_len8(sam_slt_reset_baud(ic, 0, 0, &len8, b), n)), 0},
    {{0x32, 0x27}, 256, 0, INTO(sam_slt_reset_baud(ic, 0, 0, &len8, b)), -35},
    {{0x32, 0x26}, 3073, 0, INTO(card_APDU(ic, 0, 5, kSelect, &n, b)), 0},
    {{0x32, 0x26}, 3074, 0, INTO(card_APDU(ic, 0, 5, kSelect, &n, b)), -35},
    {{0x32, 0x35}, 2, 0, INTO(srd_1604(ic, 1, 21, 4, b)), 0},
    {{0x32, 0x35}, 5, 0, INTO(srd_1604(ic, 1, 21, 4, b)), -35},
    {{0x32, 0x35}, 3, 0, INTO(contact_read(ic, 0, 0, 8, b)), 0},
    {{0x32, 0x35}, 9, 0, INTO(contact_read(ic, 0, 0, 8, b)), -35},
};

TEST_F(Contact, RepliesLongerThanTheRoomAreRefusedAndNothingIsWrittenPastWhatCame) {
    for (const Room& r : kRooms) {
        Bytes reply(r.reply), buffer(4000, 0xEE);
        for (std::size_t i = 0; i < reply.size(); ++i) reply[i] = static_cast<std::uint8_t>(i + 1);
        answer(r.command, reply, 0, 1);
        std::uint32_t count = UINT32_MAX;
        ASSERT_EQ(r.call(icdev, buffer.data(), count), r.status) << r.reply;
        const long came = r.status == 0 ? static_cast<long>(r.reply - r.dropped) : 0;
        EXPECT_TRUE(count == UINT32_MAX || r.status != 0 || count == static_cast<std::uint32_t>(came)) << count;
        EXPECT_TRUE(std::equal(reply.end() - came, reply.end(), buffer.begin()));
        EXPECT_EQ(std::count(buffer.begin() + came, buffer.end(), 0xEE), 4000 - came) << r.reply;
    }
}

TEST_F(Contact, TheSlotStateIsTheWholeStatusWordButForFailuresOfTheLinkAndTheResultLines) {
    const struct { std::uint16_t word; long result; std::uint16_t state; } cases[] = {
        {0x0000, 0, 0}, {0x0031, -49, 0}, {0x0032, 0, 50}, {0x0001, -1, 0}, {0x9000, 0, 0x9000}, {0x8000, 0, 0x8000}};
    for (const auto& c : cases) {
        answer({0x32, 0x21}, {}, c.word, 1);
        EXPECT_EQ(sam_slt_getstate(icdev, 0, &state), c.result) << c.word;
        EXPECT_EQ(state, c.state) << c.word;
    }
    answer({0x32, 0x27}, {}, 0x6A82, 1);
    EXPECT_EQ(sam_slt_reset_baud(icdev, 0, 0, &len8, out), -27266);
    EXPECT_EQ(sam_slt_reset_baud(icdev, 0, 0, &len8, out), 0);
    EXPECT_EQ(contact_passwordcheck(icdev, 0, 3, kPassword) | csc_1604(icdev, 1, 2, kCode), 0);
    expect_logged({"==>sam_slt_getstate(), cardstate: 36864 ", "==>sam_slt_getstate(), 命令错误，return: -49 ",
                   "==> sam_slt_reset_baud() sam卡复位失败, 状态码：-27266 ", "==> sam_slt_reset_baud() sam卡复位成功 ", "==>csc_1604(), 状态码：0. "});
    // The exchange's lines show the command as it went, password and code included: only the PIN pad's
    // keys and PINs are hidden.
    EXPECT_NE(log().find("Send: 32340003112233."), std::string::npos);
}

TEST_F(Contact, ResetWaitsTheCardsDelayAndAMarginOnlyWhenLongerAndAlwaysRestores) {
    const struct { Wait before; std::uint16_t delay, word; Wait seen; } cases[] = {
        {{7777, 5}, 1000, 0, {7777, 5}}, {S, 1001, 0, {2001, 0}}, {S, 0xFFFF, 0, {66535, 0}}, {{7777, 5}, 1000, 0x6A82, {7777, 5}}};
    for (const auto& c : cases) {
        restart();
        vnr::core::set_comm_timeout(c.before.timeout_ms, c.before.delay_ms);
        answer({0x32, 0x22}, {0x00, 0x3B}, c.word, 1);
        EXPECT_EQ(sam_slt_reset(icdev, c.delay, 0, &len8, out), -c.word);
        EXPECT_TRUE(waits() == std::vector<Wait>{c.seen} && standing() == S) << c.delay;
    }
}

TEST_F(Contact, TheTypeComesFromAShortReplyOrFromTheHeadOfTheAnswerToReset) {
    const struct { Bytes reply; long status; std::uint8_t type; } cases[] = {
        {{0x05, 0x03}, 0, 5}, {{0x07}, 0, 7}, {{}, 0, 0}, {{0x16, 0x04, 0x3B}, 0, 8}, {{0x16, 0x05, 0x3B}, -4097, 0xEE},
        {{0xA2, 0x13, 0x10}, 0, 4}, {{0x88, 0x15, 0x10}, 0, 4}, {{0x92, 0x23, 0x10}, 0, 3}, {{0x81, 0x13, 0x10}, 0, 3}};
    for (const auto& c : cases) {
        answer({0x32, 0x32}, c.reply, 0, 1);
        std::uint8_t type = 0xEE;
        EXPECT_EQ(contact_identifytype(icdev, 0, &type), c.status) << c.reply.size();
        EXPECT_EQ(type, c.type);
    }
}

TEST_F(Contact, ASizeCodeBoundsTransfersUntilTheNextSetType) {
    const struct { Bytes identified; std::uint16_t addr, len; long status; } cases[] = {
        {{0x01, 0x01}, 255, 1, 0}, {{0x01, 0x01}, 255, 2, -37}, {{0x01, 0x01}, 256, 0, -37}, {{0x01, 0x00}, 0, 128, 0},
        {{0x05, 0x03}, 0, 1, -37}, {{0x0A, 0x20}, 0, 129, -37}, {{0x0A}, 127, 1, 0}, {{0x01, 0x10}, 0xF800, 2048, 0},
        {{0x01, 0x10}, 0xFC00, 2048, -37}, {{0x05, 0x06}, 8191, 1, 0}, {{0x05, 0x07}, 0, 1, -37}, {{0x01, 0x08}, 0, 0, 0},
        {{0x01, 0x00}, 0, 129, -37}, {{0x81, 0x13, 0x10}, 0, 129, -37}};  // type 3 keeps the code
    for (const auto& c : cases) {
        if (c.identified.size() <= 2) restart();
        identify(c.identified);
        EXPECT_EQ(contact_read(icdev, 0, c.addr, c.len, out), c.status) << c.addr << "+" << c.len;
        EXPECT_EQ(contact_write(icdev, 0, c.addr, c.len, out), c.status) << c.addr << "+" << c.len;
        EXPECT_EQ(sent().empty(), c.status != 0 || c.len == 0);
    }
    EXPECT_EQ(contact_settype(icdev, 0, 2), -37);
    EXPECT_EQ(contact_read(icdev, 0, 0, 300, out), 0) << "even a refused contact_settype forgets the size";
}

TEST_F(Contact, LongTransfersGoInPiecesUnderTheLongWaitAndAFailurePartWayDoesNotStopThem) {
    answer(read_command(0x0100, 1024), {}, 0x6A82, 1);
    answer(read_command(0x0500, 1024), Bytes(1024, 0x05), 0, 1);
    answer(read_command(0x0900, 1025), Bytes(1025, 0x09), 0, 1);  // the last asks for all still missing
    identify({0x01, 0x08});                                          // 32768 bytes
    Bytes data(2049 + 16, 0xEE), expected(1024, 0x05);
    ASSERT_EQ(contact_read(icdev, 0, 0x0100, 2049, data.data()), 0);
    EXPECT_EQ(sent(), (std::vector<Bytes>{read_command(0x0100, 1024), read_command(0x0500, 1024), read_command(0x0900, 1025)}));
    EXPECT_TRUE(waits() == std::vector<Wait>(3, Wait{15000, 0}) && standing() == S);
    expected.resize(2049, 0x09), expected.resize(data.size(), 0xEE);
    EXPECT_EQ(data, expected);
    answer(read_command(0x0100, 1024), {}, 0x6A82, 1);
    EXPECT_EQ(contact_read(icdev, 0, 0x0100, 1024, data.data()), -27266) << "one piece: one command, the standing wait";
    EXPECT_EQ(waits().back(), S);

    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i / 1024 + 1);
    answer({0x32, 0x36, 0x00, 0x00, 0x00}, {}, 0x6581, 1);
    reader.clear_history(), provider.waits.clear();
    EXPECT_EQ(contact_write(icdev, 0, 0, 2049, data.data()), 0) << "pieces by position, the last one's status";
    const std::vector<Bytes> commands = sent();
    ASSERT_EQ(commands.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {  // 1024, 1024 and 1 bytes at 0, 0x400, 0x800
        Bytes expected_command{0x32, 0x36, 0x00, static_cast<std::uint8_t>(i * 4), 0x00, static_cast<std::uint8_t>(i < 2 ? 4 : 0), static_cast<std::uint8_t>(i < 2 ? 0 : 1)};
        expected_command.resize(i < 2 ? 1031 : 8, static_cast<std::uint8_t>(i + 1));
        EXPECT_EQ(commands[i], expected_command);
    }
    EXPECT_EQ(waits(), std::vector<Wait>(3, Wait{15000, 0}));
}

// The AT88SC1604 map: 'r' srd_1604, 'w' swr_1604, 'e' ser_1604; sent, or refused with -37 and nothing sent.
struct Edge { char op; std::int32_t zone, offset, len; bool sent; };
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

TEST_F(Contact, The1604MapAtTheEdgesOfEveryZone) {
    for (const Edge& e : kEdges) {
        reader.clear_history();
        const long status = e.op == 'r'   ? srd_1604(icdev, e.zone, e.offset, e.len, out)
                            : e.op == 'w' ? swr_1604(icdev, e.zone, e.offset, e.len, out)
                                          : ser_1604(icdev, e.zone, e.offset, e.len);
        EXPECT_EQ(status, e.sent ? 0 : -37) << e.op << " " << e.zone << " " << e.offset << "+" << e.len;
        EXPECT_EQ(sent().size(), e.sent ? 1u : 0u);
    }
    answer({0x32, 0x30}, {}, 0x6581, 1);
    reader.clear_history();
    EXPECT_EQ(wsc_1604(icdev, 1, 2, kCode), -25985) << "a failed erase of a code: no write";
    EXPECT_EQ(sent().size(), 1u);
}

}  // namespace
