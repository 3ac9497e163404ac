// Contact cards: the bytes of every command and its wait, the refusals and their order, the rooms of the
// caller's buffers against replies too long, the slot state taken from the status word, the wait of
// sam_slt_reset, and the log lines that matter.
#include "contact/contact_session.h"

namespace {

using namespace contact_test;
using Contact = ContactSession;
using vnr::test::gbk;

std::uint8_t out[4096], len8;
std::uint16_t state;
std::uint32_t len32;
const std::uint8_t kTwo[] = {0xAA, 0xBB}, kCode[] = {0xC1, 0xC2}, kPassword[] = {0x11, 0x22, 0x33};
const std::uint8_t kSelect[] = {0x00, 0xA4, 0x04, 0x00, 0x00};
const Wait kErase{30000, 10};

struct Golden {
    const char* name;
    long (*call)(std::int32_t);
    std::vector<Bytes> sent;
    std::vector<Wait> waits;  // at each command
    Wait after;
};

const Golden kGolden[] = {
    {"getstate", [](std::int32_t ic) -> long { return sam_slt_getstate(ic, 5, &state); }, {{0x32, 0x21, 0x05}}, {kStanding}, kStanding},
    {"reset", [](std::int32_t ic) -> long { return sam_slt_reset(ic, 0x1234, 3, &len8, out); },
     {{0x32, 0x22, 0x12, 0x34, 0x03}}, {{5660, 0}}, kStanding},
    {"reset_baud", [](std::int32_t ic) -> long { return sam_slt_reset_baud(ic, 2, 1, &len8, out); }, {{0x32, 0x27, 0x02, 0x01}}, {kStanding}, kStanding},
    {"powerdown", [](std::int32_t ic) -> long { return sam_slt_powerdown(ic, 31); }, {{0x32, 0x23, 0x1F}}, {kStanding}, kStanding},
    {"APDU", [](std::int32_t ic) -> long { return card_APDU(ic, 0xFF, 5, kSelect, &len32, out); },
     {{0x32, 0x26, 0xFF, 0x00, 0xA4, 0x04, 0x00, 0x00}}, {kStanding}, kStanding},
    {"settype", [](std::int32_t ic) -> long { return contact_settype(ic, 1, 10); }, {{0x32, 0x31, 0x01, 0x0A}}, {kStanding}, kStanding},
    {"identifytype", [](std::int32_t ic) -> long { return contact_identifytype(ic, 1, &len8); }, {{0x32, 0x32, 0x01}}, {kStanding}, kStanding},
    {"passwordinit", [](std::int32_t ic) -> long { return contact_passwordinit(ic, 7, 0x103, kPassword); },
     {{0x32, 0x33, 0x07, 0x03, 0x11, 0x22, 0x33}}, {kStanding}, kStanding},
    {"passwordcheck", [](std::int32_t ic) -> long { return contact_passwordcheck(ic, 2, 3, kPassword); },
     {{0x32, 0x34, 0x02, 0x03, 0x11, 0x22, 0x33}}, {kStanding}, kStanding},
    {"read", [](std::int32_t ic) -> long { return contact_read(ic, 4, 0x1234, 3, out); },
     {{0x32, 0x35, 0x04, 0x12, 0x34, 0x00, 0x03}}, {kStanding}, kStanding},
    {"write", [](std::int32_t ic) -> long { return contact_write(ic, 4, 0x0102, 2, kTwo); },
     {{0x32, 0x36, 0x04, 0x01, 0x02, 0x00, 0x02, 0xAA, 0xBB}}, {{15000, 0}}, kStanding},
    {"srd", [](std::int32_t ic) -> long { return srd_1604(ic, 2, 1300, 4, out); },
     {{0x32, 0x35, 0x00, 0x05, 0x14, 0x00, 0x04}}, {kStanding}, kStanding},
    {"swr", [](std::int32_t ic) -> long { return swr_1604(ic, 1, 27, 2, kTwo); },
     {{0x32, 0x36, 0x00, 0x00, 0x1B, 0x00, 0x02, 0xAA, 0xBB}}, {{25000, 0}}, kStanding},
    {"ser", [](std::int32_t ic) -> long { return ser_1604(ic, 3, 1488, 256); }, {{0x32, 0x30, 0x00, 0x05, 0xD0, 0x01, 0x00}}, {kErase}, {2000, 10}},
    {"wsc", [](std::int32_t ic) -> long { return wsc_1604(ic, 5, 2, kCode); },
     {{0x32, 0x30, 0x00, 0x00, 0x18, 0x00, 0x02, 0x00}, {0x32, 0x33, 0x00, 0x05, 0x00, 0x18, 0x00, 0x02, 0xC1, 0xC2}},
     {kErase, {2000, 10}}, {2000, 10}},
    {"wsc 6", [](std::int32_t ic) -> long { return wsc_1604(ic, 6, 2, kCode); },
     {{0x32, 0x30, 0x00, 0x04, 0xC8, 0x00, 0x02, 0x00}, {0x32, 0x33, 0x00, 0x06, 0x04, 0xC8, 0x00, 0x02, 0xC1, 0xC2}},
     {kErase, {2000, 10}}, {2000, 10}},
    {"csc", [](std::int32_t ic) -> long { return csc_1604(ic, 0, 2, kCode); }, {{0x32, 0x34, 0x00, 0x04, 0x00, 0x00, 0xC1, 0xC2}}, {kStanding}, kStanding},
    {"cesc", [](std::int32_t ic) -> long { return cesc_1604(ic, 4, 2, kCode); }, {{0x32, 0x34, 0x00, 0x04, 0x01, 0x04, 0xC1, 0xC2}}, {kStanding}, kStanding},
    {"fakefus", [](std::int32_t ic) -> long { return fakefus_1604(ic, 1); }, {{0x32, 0x96, 0x00, 0x01}}, {kStanding}, kStanding},
    {"psnl", [](std::int32_t ic) -> long { return psnl_1604(ic); }, {{0x33, 0x39, 0x00}}, {kStanding}, kStanding},
};

TEST_F(Contact, EveryFunctionSendsItsBytesUnderItsWait) {
    for (const Golden& g : kGolden) {
        SCOPED_TRACE(g.name);
        restart();
        EXPECT_EQ(g.call(icdev), 0);
        EXPECT_EQ(sent(), g.sent);
        EXPECT_EQ(waits(), g.waits);
        EXPECT_EQ(standing(), g.after);
    }
}

struct Refusal {
    long (*call)(std::int32_t);
    long status;
    const char* line;  // the last line logged; none: the call logs nothing
};

const Refusal kRefusals[] = {
    {[](std::int32_t) -> long { return sam_slt_getstate(0, 32, &state); }, -18, "==>sam_slt_getstate(), 句柄无效 "},
    {[](std::int32_t ic) -> long { return sam_slt_getstate(ic, 32, &state); }, -37, "==>sam_slt_getstate(), cardno参数不合法 "},
    {[](std::int32_t) -> long { return sam_slt_reset(0, 0, 32, &len8, out); }, -18, "==>sam_slt_reset(), 句柄无效 "},
    {[](std::int32_t ic) -> long { return sam_slt_reset(ic, 0, 32, &len8, out); }, -37, "==>sam_slt_reset(), cardno参数不合法 "},
    {[](std::int32_t) -> long { return sam_slt_reset_baud(0, 32, 9, &len8, out); }, -18,
     "------sam_slt_reset_baud()-------, icdev: 0, cardno: 32, reset baudrate: 9"},
    {[](std::int32_t ic) -> long { return sam_slt_reset_baud(ic, 0, 3, &len8, out); }, -37, "==> sam_slt_reset_baud() sam卡复位失败! 状态码：-37 "},
    {[](std::int32_t ic) -> long { return sam_slt_reset_baud(ic, 32, 0, &len8, out); }, -37, "==> sam_slt_reset_baud() sam卡复位失败! 状态码：-37 "},
    {[](std::int32_t) -> long { return sam_slt_powerdown(0, 32); }, -18, "==>sam_slt_powerdown(), 句柄无效 "},
    {[](std::int32_t ic) -> long { return sam_slt_powerdown(ic, 32); }, -37, "==>sam_slt_powerdown(), cardno参数不合法 "},
    {[](std::int32_t) -> long { return card_APDU(0, 32, 0, kSelect, &len32, out); }, -18, "==>card_APDU(), 句柄无效 "},
    {[](std::int32_t ic) -> long { return card_APDU(ic, 32, 0, kSelect, &len32, out); }, -37, "==>card_APDU(), slen参数不合法 "},
    {[](std::int32_t ic) -> long { return card_APDU(ic, 0, 3071, out, &len32, out); }, -37, "==>card_APDU(), slen参数不合法 "},
    {[](std::int32_t ic) -> long { return card_APDU(ic, 32, 5, kSelect, &len32, out); }, -37, "==>card_APDU(), cardno参数不合法 "},
    {[](std::int32_t) -> long { return contact_settype(0, 2, 2); }, -18, nullptr},
    {[](std::int32_t ic) -> long { return contact_settype(ic, 2, 1); }, -37, nullptr},
    {[](std::int32_t ic) -> long { return contact_settype(ic, 0, 2); }, -37, nullptr},
    {[](std::int32_t ic) -> long { return contact_identifytype(ic, 2, &len8); }, -37, nullptr},
    {[](std::int32_t ic) -> long { return contact_passwordinit(ic, 32, 3, kPassword); }, -37, nullptr},
    {[](std::int32_t) -> long { return contact_passwordcheck(0, 32, 3, kPassword); }, -18, nullptr},
    {[](std::int32_t ic) -> long { return contact_read(ic, 32, 0, 3, out); }, -37, nullptr},
    {[](std::int32_t) -> long { return contact_write(0, 32, 0, 2, kTwo); }, -18, nullptr},
    {[](std::int32_t) -> long { return srd_1604(0, 9, 0, 0, out); }, -18, "==>srd_1604(), 句柄无效"},
    {[](std::int32_t ic) -> long { return srd_1604(ic, 6, 0, 1, out); }, -37, "==>srd_1604(), zone参数不合法"},
    {[](std::int32_t ic) -> long { return srd_1604(ic, 0, 20, 2, out); }, -37, "==>srd_1604(), offfset参数不合法。"},
    {[](std::int32_t ic) -> long { return srd_1604(ic, 1, 20, 1, out); }, -37, "==>srd_1604(), offset参数不合法。"},
    {[](std::int32_t ic) -> long { return srd_1604(ic, 5, 2006, 2, out); }, -37, "==>srd_1604(), offset参数不合法"},
    {[](std::int32_t) -> long { return swr_1604(0, 9, 0, 0, kTwo); }, -18, "==>swr_1604(), 句柄无效"},
    {[](std::int32_t ic) -> long { return swr_1604(ic, -1, 0, 1, kTwo); }, -37, "==>swr_1604(), zone参数不合法"},
    {[](std::int32_t ic) -> long { return swr_1604(ic, 2, 1300, 257, out); }, -37, "==>swr_1604(), offset参数不合法"},
    {[](std::int32_t) -> long { return ser_1604(0, 9, 0, 0); }, -37, "==>ser_1604(), len参数不合法 "},
    {[](std::int32_t) -> long { return ser_1604(0, 9, 0, 1); }, -18, "==>ser_1604(), 句柄无效 "},
    {[](std::int32_t ic) -> long { return ser_1604(ic, 6, 0, 1); }, -37, "==>ser_1604(), zone参数不合法"},
    {[](std::int32_t ic) -> long { return ser_1604(ic, 1, 26, 1); }, -37, "==>ser_1604(), offset参数不合法"},
    {[](std::int32_t) -> long { return wsc_1604(0, 0, 2, kCode); }, -18, "==>neibu_ser_1604(), 句柄无效"},
    {[](std::int32_t ic) -> long { return wsc_1604(ic, 9, 2, kCode); }, -37, nullptr},
    {[](std::int32_t ic) -> long { return wsc_1604(ic, 0, 3, kCode); }, -37, nullptr},
    {[](std::int32_t) -> long { return csc_1604(0, 5, 3, kCode); }, -37, "==>csc_1604(), len参数不合法 "},
    {[](std::int32_t) -> long { return csc_1604(0, 5, 2, kCode); }, -37, "==>csc_1604(), zone参数不合法 "},
    {[](std::int32_t) -> long { return csc_1604(0, 0, 2, kCode); }, -18, "==>csc_1604(), 句柄无效 "},
    {[](std::int32_t) -> long { return cesc_1604(0, 0, 3, kCode); }, -18, "==>cesc_1604(), 句柄无效 "},
    {[](std::int32_t ic) -> long { return cesc_1604(ic, 0, 3, kCode); }, -37, "==>cesc_1604(), len参数不合法 "},
    {[](std::int32_t ic) -> long { return cesc_1604(ic, 0, 2, kCode); }, -37, "==>cesc_1604(), zone参数不合法 "},
    {[](std::int32_t) -> long { return fakefus_1604(0, 2); }, -37, "==>fakefus_1604(), mode参数不合法 "},
    {[](std::int32_t) -> long { return fakefus_1604(0, 1); }, -18, "==>fakefus_1604(), 句柄无效 "},
    {[](std::int32_t) -> long { return psnl_1604(0); }, -18, "==>psnl_1604(), 句柄无效 "},
};

TEST_F(Contact, RefusalsComeInTheirOrderWithTheirLineAndSendNothing) {
    state = 0xEEEE;
    for (std::size_t i = 0; i < std::size(kRefusals); ++i) {
        SCOPED_TRACE(i);
        const std::string before = log();
        EXPECT_EQ(kRefusals[i].call(icdev), kRefusals[i].status);
        EXPECT_EQ(kRefusals[i].line != nullptr ? last_line() : log(), kRefusals[i].line != nullptr ? gbk(kRefusals[i].line) : before);
    }
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(state, 0) << "sam_slt_getstate clears the state once the handle has passed";
}

// A reply of `reply` bytes (0, 1, 2, ...) to a call writing into a buffer of `room` bytes: on success
// the bytes from `dropped` on arrive at its head and the count says how many; nothing else is written.
struct Room {
    Bytes command;
    std::size_t reply, dropped;
    long (*call)(std::int32_t, std::uint8_t*, std::uint32_t&);  // the count: UINT32_MAX when none is given
    long status;
};

const Room kRooms[] = {
    {{0x32, 0x22}, 256, 1, [](std::int32_t ic, std::uint8_t* b, std::uint32_t& n) -> long { const long s = sam_slt_reset(ic, 0, 0, &len8, b); n = len8; return s; }, 0},
    {{0x32, 0x22}, 257, 1, [](std::int32_t ic, std::uint8_t* b, std::uint32_t&) -> long { return sam_slt_reset(ic, 0, 0, &len8, b); }, -35},
    {{0x32, 0x22}, 5, 1, [](std::int32_t ic, std::uint8_t* b, std::uint32_t& n) -> long { const long s = sam_slt_reset(ic, 0, 0, &len8, b); n = len8; return s; }, 0},
    {{0x32, 0x22}, 0, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t& n) -> long { const long s = sam_slt_reset(ic, 0, 0, &len8, b); n = len8; return s; }, 0},
    {{0x32, 0x27}, 255, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t& n) -> long { const long s = sam_slt_reset_baud(ic, 0, 0, &len8, b); n = len8; return s; }, 0},
    {{0x32, 0x27}, 256, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t&) -> long { return sam_slt_reset_baud(ic, 0, 0, &len8, b); }, -35},
    {{0x32, 0x26}, 3073, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t& n) -> long { return card_APDU(ic, 0, 5, kSelect, &n, b); }, 0},
    {{0x32, 0x26}, 3074, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t& n) -> long { return card_APDU(ic, 0, 5, kSelect, &n, b); }, -35},
    {{0x32, 0x35}, 4, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t&) -> long { return srd_1604(ic, 1, 21, 4, b); }, 0},
    {{0x32, 0x35}, 2, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t&) -> long { return srd_1604(ic, 1, 21, 4, b); }, 0},
    {{0x32, 0x35}, 5, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t&) -> long { return srd_1604(ic, 1, 21, 4, b); }, -35},
    {{0x32, 0x35}, 3, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t&) -> long { return contact_read(ic, 0, 0, 8, b); }, 0},
    {{0x32, 0x35}, 9, 0, [](std::int32_t ic, std::uint8_t* b, std::uint32_t&) -> long { return contact_read(ic, 0, 0, 8, b); }, -35},
};

TEST_F(Contact, RepliesLongerThanTheRoomAreRefusedAndNothingIsWrittenPastWhatCame) {
    for (const Room& r : kRooms) {
        SCOPED_TRACE(r.reply);
        Bytes reply(r.reply);
        for (std::size_t i = 0; i < reply.size(); ++i) reply[i] = static_cast<std::uint8_t>(i + 1);
        answer(r.command, reply, 0, 1);
        Bytes buffer(4000, 0xEE);
        std::uint32_t count = UINT32_MAX;
        ASSERT_EQ(r.call(icdev, buffer.data(), count), r.status);
        const std::size_t came = r.status == 0 ? r.reply - r.dropped : 0;
        if (count != UINT32_MAX) {
            EXPECT_EQ(count, came);
        }
        EXPECT_TRUE(std::equal(reply.begin() + static_cast<long>(r.reply - came), reply.end(), buffer.begin()));
        EXPECT_EQ(std::count(buffer.begin() + static_cast<long>(came), buffer.end(), 0xEE), 4000 - static_cast<long>(came));
    }
}

TEST_F(Contact, TheSlotStateIsTheWholeStatusWordButForFailuresOfTheLink) {
    const struct { std::uint16_t word; long result; std::uint16_t state; } cases[] = {
        {0x0000, 0, 0}, {0x0031, -49, 0}, {0x0032, 0, 50}, {0x0001, -1, 0}, {0x1003, 0, 0x1003}, {0x9000, 0, 0x9000}, {0x8000, 0, 0x8000},
    };
    for (const auto& c : cases) {
        answer({0x32, 0x21}, {}, c.word, 1);
        EXPECT_EQ(sam_slt_getstate(icdev, 0, &state), c.result) << c.word;
        EXPECT_EQ(state, c.state) << c.word;
    }
    expect_logged({"==>sam_slt_getstate(), cardstate: 36864 ", "==>sam_slt_getstate(), 命令错误，return: -49 "});
}

TEST_F(Contact, ResetWaitsTheCardsDelayAndAMarginOnlyWhenLongerAndAlwaysRestores) {
    const struct { Wait before; std::uint16_t delay; std::uint16_t word; Wait seen; } cases[] = {
        {{7777, 5}, 1000, 0, {7777, 5}}, {kStanding, 1001, 0, {2001, 0}}, {kStanding, 0xFFFF, 0, {66535, 0}}, {{7777, 5}, 1000, 0x6A82, {7777, 5}},
    };
    for (const auto& c : cases) {
        restart();
        vnr::core::set_comm_timeout(c.before.timeout_ms, c.before.delay_ms);
        answer({0x32, 0x22}, {0x00, 0x3B, 0x00}, c.word, 1);
        EXPECT_EQ(sam_slt_reset(icdev, c.delay, 0, &len8, out), c.word == 0 ? 0 : -c.word);
        EXPECT_EQ(waits(), std::vector<Wait>{c.seen});
        EXPECT_EQ(standing(), kStanding);
    }
}

TEST_F(Contact, ResultLinesAndHiddenSecrets) {
    answer({0x32, 0x27}, {}, 0x6A82, 1);
    EXPECT_EQ(sam_slt_reset_baud(icdev, 0, 0, &len8, out), -27266);
    EXPECT_EQ(sam_slt_reset_baud(icdev, 0, 0, &len8, out), 0);
    EXPECT_EQ(contact_passwordcheck(icdev, 0, 3, kPassword), 0);
    EXPECT_EQ(csc_1604(icdev, 1, 2, kCode), 0);
    expect_logged({"==> sam_slt_reset_baud() sam卡复位失败, 状态码：-27266 ", "==> sam_slt_reset_baud() sam卡复位成功 ",
                   "==>csc_1604(), 状态码：0. "});
    EXPECT_NE(log().find("Send: 32340003******."), std::string::npos);
    EXPECT_NE(log().find("Send: 323400040001****."), std::string::npos);
}

}  // namespace
