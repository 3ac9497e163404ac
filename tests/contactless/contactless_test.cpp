// tests/contactless/contactless_test.cpp: the command bytes of every contactless function (written from
// the command tables of the card families), the bounds in the order they are checked, the waits of
// activation and halt, and what replies, good and hostile, leave in the caller's buffers.
#include "contactless/contactless_support.h"
#include "core/state.h"

namespace {

using namespace cltest;

const Bytes kKey = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5};
const Bytes kBlock = run_of(16, 0x30);
const Bytes kPage = {0x01, 0x02, 0x03, 0x04};
const Bytes kPassword = {0x12, 0x34, 0x56, 0x78};
const Bytes kLongKey = run_of(16, 0x80);

struct Golden {
    const char* name;
    std::function<std::int16_t(std::int32_t)> call;
    std::vector<Bytes> wire;
    std::int16_t bad_handle = VNR_E_BAD_HANDLE;
};

TEST_F(Contactless, EveryFunctionSendsItsCommandBytesAndABadHandleSendsNothing) {
    Bytes out(600);
    std::uint32_t value = 0;
    // The latest canned reply comes first: the catch-alls go in ahead of the replies with data.
    for (const Bytes& group : {Bytes{0x32}, Bytes{0xC1}, Bytes{0x70}}) answer(group, {});
    answer({0x32, 0x24}, {0x20, 4, 1, 2, 3, 4, 2, 0x05, 0x78});
    answer({0x32, 0x41}, cat({{0x08}, run_of(7)}));
    answer({0x32, 0x45}, {0x00, 0x00, 0x00, 0x09});
    answer({0x32, 0x43}, kBlock);
    const Golden table[] = {
        {"open_rf", [&](auto d) { return open_rf(d); }, {{0x32, 0x28}}},
        {"close_rf", [&](auto d) { return close_rf(d); }, {{0x32, 0x29}}},
        {"open_card", [&](auto d) { return open_into(open_card, d, 0x1234, out.data()); }, {{0x32, 0x24, 0x12, 0x34}}},
        {"rf_halt", [&](auto d) { return rf_halt(d, 0xFFFF); }, {{0x32, 0x25, 0xFF, 0xFF}}},
        {"rf_card", [&](auto d) { return rf_card(d, 0x0102, &out[0], &out[1]); }, {{0x32, 0x41, 0x01, 0x02}}},
        {"rf_authentication", [&](auto d) { return rf_authentication(d, 1, 16, kKey.data()); },
         {cat({{0x32, 0x42, 0x10, 0x01}, kKey})}},
        {"rf_read", [&](auto d) { return rf_read(d, 200, out.data()); }, {{0x32, 0x43, 0xC8}}},
        {"rf_write", [&](auto d) { return rf_write(d, 64, kBlock.data()); }, {cat({{0x32, 0x44, 0x40}, kBlock})}},
        {"rf_readval", [&](auto d) { return rf_readval(d, 5, &value); }, {{0x32, 0x45, 0x05}}},
        {"rf_initval", [&](auto d) { return rf_initval(d, 5, 0x01020304); }, {{0x32, 0x46, 0x05, 1, 2, 3, 4}}},
        {"rf_increment", [&](auto d) { return rf_increment(d, 5, 0x10); },
         {{0x32, 0x45, 0x05}, {0x32, 0x47, 0x05, 0, 0, 0, 0x10}}},
        {"rf_decrement", [&](auto d) { return rf_decrement(d, 64, 9); },
         {{0x32, 0x45, 0x40}, {0x32, 0x48, 0x40, 0, 0, 0, 0x09}}},
        {"rf_transfer", [&](auto d) { return rf_transfer(d, 200); }, {{0x32, 0x49, 0xC8}}},
        {"MF_OpenCard", [&](auto d) { return MF_OpenCard(d, 0x55, out.data()); }, {{0x32, 0x41, 0x00, 0x00}}},
        {"NTAG215_OpenCard", [&](auto d) { return NTAG215_OpenCard(d, out.data()); }, {{0x32, 0x41, 0x00, 0x00}}},
        {"MF_Authentication", [&](auto d) { return MF_Authentication(d, kLongKey.data(), 16); },
         {cat({{0x32, 0x4D, 0x10}, kLongKey})}},
        {"MF_Read", [&](auto d) { return MF_Read(d, 4, out.data()); }, {{0x32, 0x43, 0x04}}},
        {"NTAG215_Read", [&](auto d) { return NTAG215_Read(d, 0x81, out.data()); }, {{0x32, 0x43, 0x81}}},
        {"MF_Write_4bytes", [&](auto d) { return MF_Write_4bytes(d, 7, kPage.data()); }, {cat({{0x32, 0x4C, 0x07}, kPage})}},
        {"MF_WriteOTp", [&](auto d) { return MF_WriteOTp(d, kPage.data()); }, {cat({{0x32, 0x4C, 0x03}, kPage})}},
        {"NTAG215_Write_4bytes", [&](auto d) { return NTAG215_Write_4bytes(d, 7, kPage.data()); },
         {cat({{0xC1, 0x4C, 0x07}, kPage})}},
        {"NTAG215_Authentication", [&](auto d) { return NTAG215_Authentication(d, kPassword.data(), 4); },
         {cat({{0xC1, 0x4F}, kPassword})}},
        {"NTAG215_ChangeKey", [&](auto d) { return NTAG215_ChangeKey(d, kPassword.data(), 4); },
         {cat({{0xC1, 0x4C, 0x85}, kPassword})}},
        {"NTAG215_WriteLock", [&](auto d) { return NTAG215_WriteLock(d); }, {{0xC1, 0x4C, 0x82, 0x70, 0x00, 0x00, 0x00}}},
        {"NTAG215_ReadBaseInfo", [&](auto d) { return NTAG215_ReadBaseInfo(d, reinterpret_cast<char*>(out.data())); },
         {{0xC1, 0x50, 0x50, 0x7F}}},
        {"NFC_P2P", [&](auto d) { return NFC_P2P(d, 0x02, 3, reinterpret_cast<const uint8_t*>("abc")); },
         {{0x70, 0x00, 0x02, 0x00, 0x03, 'a', 'b', 'c'}}, VNR_E_HANDLE_EXCHANGE},
    };
    for (const Golden& row : table) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.call(icdev), VNR_OK);
        EXPECT_EQ(sent_and_clear(), row.wire);
        EXPECT_EQ(row.call(0), row.bad_handle);
        EXPECT_TRUE(sent_and_clear().empty());
    }
    // The keys and passwords never reach the log.
    const std::string log = vnr::test::log_text(prefix);
    EXPECT_EQ(log.find("A0A1A2A3A4A5"), std::string::npos);
    EXPECT_EQ(log.find("12345678"), std::string::npos);
    EXPECT_EQ(log.find("808182838485"), std::string::npos);
}

struct Bound {
    const char* name;
    std::function<std::int16_t(std::int32_t)> call;
    std::int16_t status;
    const char* line;  // the refusal's line; none when null
};

TEST_F(Contactless, BoundsAreCheckedInTheirOrderBeforeAnythingIsSent) {
    std::uint32_t value = 0;
    Bytes out(100);
    const Bound table[] = {
        {"sector above 16, ahead of the mode", [&](auto d) { return rf_authentication(d, 5, 17, kKey.data()); },
         VNR_E_BAD_ARGUMENT, "==>rf_authentication(), addr参数不合法 "},
        {"mode other than 0 and 1", [&](auto d) { return rf_authentication(d, 2, 16, kKey.data()); }, VNR_E_BAD_ARGUMENT,
         "==>rf_authentication(), mode不合法 "},
        {"handle ahead of the sector", [&](auto) { return rf_authentication(0, 2, 17, kKey.data()); }, VNR_E_BAD_HANDLE,
         "==>rf_authentication(), 句柄无效 "},
        {"write above block 64", [&](auto d) { return rf_write(d, 65, kBlock.data()); }, VNR_E_BAD_ARGUMENT,
         "==>rf_write(),addr参数不合法  "},
        {"readval above block 64", [&](auto d) { return rf_readval(d, 65, &value); }, VNR_E_BAD_ARGUMENT,
         "==>rf_readval(),addr参数不合法  "},
        {"initval above block 64", [&](auto d) { return rf_initval(d, 65, 1); }, VNR_E_BAD_ARGUMENT,
         "==>rf_initval(),addr参数不合法  "},
        {"increment checks by rf_readval", [&](auto d) { return rf_increment(d, 65, 1); }, VNR_E_BAD_ARGUMENT,
         "==>rf_readval(),addr参数不合法  "},
        {"decrement's handle by rf_readval", [&](auto) { return rf_decrement(0, 1, 1); }, VNR_E_BAD_HANDLE,
         "==>rf_readval(), 句柄无效 "},
        {"NTAG215 key length 3", [&](auto d) { return NTAG215_Authentication(d, kPassword.data(), 3); }, VNR_E_GENERAL,
         "==>NTAG215_Authentication(), KeyLength参数不合法 "},
        {"NTAG215 handle ahead of key length", [&](auto) { return NTAG215_Authentication(0, kPassword.data(), 3); },
         VNR_E_BAD_HANDLE, "==>NTAG215_Authentication(), 句柄无效 "},
        {"change key of 5 bytes", [&](auto d) { return NTAG215_ChangeKey(d, kPassword.data(), 5); }, VNR_E_GENERAL, nullptr},
        {"tag key beyond the command's 197", [&](auto d) { return MF_Authentication(d, kLongKey.data(), 198); },
         VNR_E_BAD_ARGUMENT, "==>MF_Authentication(), keylen参数不合法 "},
        {"P2P data above 1019", [&](auto d) { return NFC_P2P(d, 0, 1020, out.data()); }, VNR_E_BAD_ARGUMENT,
         "==> NFC_P2P 传输! return:-37 "},
        {"block read without a buffer", [&](auto d) { return rf_read(d, 1, nullptr); }, VNR_E_BAD_ARGUMENT,
         "==>rf_read(), 缓冲区参数为空 "},
        {"init without a text", [&](auto d) { return NTAG215_Init(d, kPassword.data(), nullptr); },
         VNR_NTAG215_INIT_TEXT, nullptr},
    };
    for (const Bound& row : table) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.call(icdev), row.status);
        if (row.line) expect_logged({row.line});
    }
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(vnr::test::log_text(prefix).find("rf_increment"), std::string::npos) << "rf_readval's lines only";
}

struct WaitCase {
    const char* name;
    std::function<std::int16_t(std::int32_t)> call;
    std::optional<std::uint32_t> seen;  // the wait when the frame went out; none: nothing sent
    std::uint32_t after;
    std::uint16_t reply_status = 0;
};

TEST_F(Contactless, ActivationAndHaltWaitTheirOwnRuleAndPutTheStandingWaitBack) {
    constexpr std::uint32_t kBefore = 7777, kStanding = 2000, kNoLimit = 0xFFFFFFFF;
    Bytes out(300);
    const WaitCase table[] = {
        {"open_card 0 waits 1000", [&](auto d) { return open_into(open_card, d, 0, out.data()); }, 1000, kStanding},
        {"open_card 3000", [&](auto d) { return open_into(open_card, d, 3000, out.data()); }, 4000, kStanding},
        {"open_card 0xFFFE", [&](auto d) { return open_into(open_card, d, 0xFFFE, out.data()); }, 66534, kStanding},
        {"open_card 0xFFFF, failing", [&](auto d) { return open_into(open_card, d, 0xFFFF, out.data()); }, kNoLimit,
         kStanding, 0x1001},
        {"open_card, bad handle", [&](auto) { return open_into(open_card, 0, 0xFFFF, out.data()); }, std::nullopt, kBefore},
        {"rf_card 1800 leaves it", [&](auto d) { return rf_card(d, 1800, &out[0], &out[1]); }, kBefore, kStanding},
        {"rf_card 1801", [&](auto d) { return rf_card(d, 1801, &out[0], &out[1]); }, 2001, kStanding},
        {"rf_card 0xFFFF", [&](auto d) { return rf_card(d, 0xFFFF, &out[0], &out[1]); }, kNoLimit, kStanding},
        {"rf_halt 0 leaves it", [&](auto d) { return rf_halt(d, 0); }, kBefore, kStanding},
        {"rf_halt 1801, failing", [&](auto d) { return rf_halt(d, 1801); }, 2001, kStanding, 0x1001},
        {"rf_halt 0xFFFF", [&](auto d) { return rf_halt(d, 0xFFFF); }, kNoLimit, kStanding},
        {"MF_OpenCard flat 200", [&](auto d) { return MF_OpenCard(d, 0, out.data()); }, 200, kStanding},
        {"NTAG215_OpenCard flat 200", [&](auto d) { return NTAG215_OpenCard(d, out.data()); }, 200, kStanding},
        {"open_rf sets none", [&](auto d) { return open_rf(d); }, kBefore, kBefore},
    };
    for (const WaitCase& row : table) {
        SCOPED_TRACE(row.name);
        reader.clear_replies();
        answer({0x32}, cat({{0x08}, run_of(7)}), row.reply_status);
        answer({0x32, 0x24}, {0x20, 1, 0x01, 0}, row.reply_status);
        vnr::core::set_comm_timeout(kBefore, 0);
        provider.waits.clear();
        row.call(icdev);
        const auto seen = provider.waits.seen();
        ASSERT_EQ(seen.size(), row.seen ? 1u : 0u);
        if (row.seen) {
            EXPECT_EQ(seen[0].timeout_ms, *row.seen);
            EXPECT_EQ(seen[0].delay_ms, 0u);
        }
        EXPECT_EQ(vnr::core::link_state().read_timeout_ms.load(), row.after);
        EXPECT_EQ(vnr::core::link_state().read_delay_ms.load(), 0u);
    }
}

struct ReplyCase {
    const char* name;
    Bytes command;
    Bytes reply;
    BufferCall call;
    std::int16_t status;
    Bytes written;  // what lands in the caller's buffer; the bytes behind it keep their guard
    std::uint16_t reply_status = 0;
};

std::int16_t read_value_into(std::int32_t icdev, std::uint8_t* b) {
    std::uint32_t value = 0xEEEEEEEE;
    const std::int16_t status = rf_readval(icdev, 1, &value);
    const Bytes high_first{std::uint8_t(value >> 24), std::uint8_t(value >> 16), std::uint8_t(value >> 8), std::uint8_t(value)};
    std::memcpy(b, high_first.data(), 4);
    return status;
}

TEST_F(Contactless, RepliesReachTheCallerOnlyWithinTheirLayoutAndTheDocumentedRoom) {
    const Bytes uid = {0x04, 0xA1, 0xB2, 0xC3}, ats = {0x05, 0x78};
    const auto cpu = [](auto d, auto b) { return open_into(open_card, d, 0, b); };
    const auto memory = [](auto d, auto b) { return rf_card(d, 0, b, b + 1); };
    const auto block = [](auto d, auto b) { return rf_read(d, 1, b); };
    const auto page = [](auto d, auto b) { return MF_Read(d, 4, b); };
    const auto base = [](auto d, auto b) { return NTAG215_ReadBaseInfo(d, reinterpret_cast<char*>(b)); };
    const Bytes a192(192, 'A');
    const ReplyCase table[] = {
        {"CPU card", {0x32, 0x24}, cat({{0x20, 4}, uid, {2}, ats}), cpu, VNR_OK, opened(0x20, uid, ats)},
        {"CPU card filling both rooms", {0x32, 0x24}, cat({{0x20, 10}, run_of(10), {64}, run_of(64)}), cpu, VNR_OK,
         opened(0x20, run_of(10), run_of(64))},
        {"identifier over its room", {0x32, 0x24}, cat({{0x20, 11}, run_of(11), {0}}), cpu, VNR_E_END_BYTE, {}},
        {"ATS over its room", {0x32, 0x24}, cat({{0x20, 1, 1, 65}, run_of(65)}), cpu, VNR_E_END_BYTE, {}},
        {"identifier past the data", {0x32, 0x24}, {0x20, 9, 1, 2, 3}, cpu, VNR_E_END_BYTE, {}},
        {"ATS past the data", {0x32, 0x24}, {0x20, 1, 1, 5, 1, 2}, cpu, VNR_E_END_BYTE, {}},
        {"no ATS length", {0x32, 0x24}, {0x20, 1, 1}, cpu, VNR_E_END_BYTE, {}},
        {"memory card", {0x32, 0x41}, cat({{0x08}, uid}), memory, VNR_OK, cat({{0x08}, uid})},
        {"tag reply to rf_card: 4 of 7", {0x32, 0x41}, cat({{0x44}, run_of(7)}), memory, VNR_OK, cat({{0x44}, run_of(4)})},
        {"short serial", {0x32, 0x41}, {0x08, 1, 2, 3}, memory, VNR_E_END_BYTE, {}},
        {"MF tag id in order", {0x32, 0x41}, cat({{0x44}, run_of(7)}), [](auto d, auto b) { return MF_OpenCard(d, 0, b); },
         VNR_OK, run_of(7)},
        {"NTAG215 id reversed", {0x32, 0x41}, cat({{0x44}, run_of(7)}), [](auto d, auto b) { return NTAG215_OpenCard(d, b); },
         VNR_OK, {7, 6, 5, 4, 3, 2, 1}},
        {"short tag id", {0x32, 0x41}, cat({{0x44}, run_of(6)}), [](auto d, auto b) { return MF_OpenCard(d, 0, b); },
         VNR_E_END_BYTE, {}},
        {"block", {0x32, 0x43}, kBlock, block, VNR_OK, kBlock},
        {"block over 16: first byte 0", {0x32, 0x43}, run_of(17), block, VNR_E_END_BYTE, {0x00}},
        {"block refused by the card: first byte 0", {0x32, 0x43}, {}, block, -4097, {0x00}, 0x1001},
        {"pages, all 100", {0x32, 0x43}, run_of(100), page, VNR_OK, run_of(100)},
        {"pages over 100", {0x32, 0x43}, run_of(101), page, VNR_E_END_BYTE, {}},
        {"value high first", {0x32, 0x45}, {1, 2, 3, 4}, read_value_into, VNR_OK, {1, 2, 3, 4}},
        {"short value stays 0", {0x32, 0x45}, {1, 2, 3}, read_value_into, VNR_E_END_BYTE, {0, 0, 0, 0}},
        {"failed value stays 0", {0x32, 0x45}, {}, read_value_into, -4097, {0, 0, 0, 0}, 0x1001},
        {"base info to its first zero", {0xC1, 0x50}, cat({{'H', 'I', 0}, run_of(50)}), base, VNR_OK, {'H', 'I', 0}},
        {"empty base info", {0xC1, 0x50}, {}, base, VNR_OK, {0}},
        {"base info of 192 bytes", {0xC1, 0x50}, a192, base, VNR_OK, cat({a192, {0}})},
        {"base info without a zero in 193", {0xC1, 0x50}, Bytes(193, 'A'), base, VNR_E_END_BYTE, {}},
        {"fast read over 512", {0xC1, 0x50}, cat({{0}, run_of(512)}), base, VNR_E_END_BYTE, {}},
    };
    for (const ReplyCase& row : table) {
        SCOPED_TRACE(row.name);
        reader.clear_replies();
        answer(row.command, row.reply, row.reply_status);
        expect_writes(row.call, row.status, row.written);
    }
}

}  // namespace
