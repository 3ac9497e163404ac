// Every contactless function's command bytes, bounds in their order, activation and halt waits, replies
// (good and hostile) in the caller's buffers, and the functions made of others.
#include "contactless/contactless_support.h"
#include "core/state.h"

namespace {

using namespace cltest;

const Bytes kKey = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5}, kBlock = run_of(16, 0x30), kLongKey = run_of(16, 0x80);
const Bytes kPage = {0x01, 0x02, 0x03, 0x04}, kPassword = {0x12, 0x34, 0x56, 0x78};

struct Golden {
    const char* name;
    std::function<std::int16_t(std::int32_t)> call;
    std::vector<Bytes> wire;
    std::int16_t bad_handle = VNR_E_BAD_HANDLE;
};

TEST_F(Contactless, EveryFunctionSendsItsCommandBytesAndABadHandleSendsNothing) {
    Bytes out(600);
    std::uint32_t value = 0;
    auto* text = reinterpret_cast<char*>(out.data());
    // The latest canned reply comes first: the catch-alls go in ahead of the replies with data.
    for (const Bytes& group : {Bytes{0x32}, Bytes{0xC1}, Bytes{0x70}}) answer(group, {});
    answer({0x32, 0x24}, {0x20, 4, 1, 2, 3, 4, 2, 0x05, 0x78}), answer({0x32, 0x41}, cat({{0x08}, run_of(7)}));
    answer({0x32, 0x45}, {0x00, 0x00, 0x00, 0x09});
    const Golden table[] = {
        {"open_rf", CALL(open_rf(d)), {{0x32, 0x28}}},
        {"open_card", CALL(open_into(open_card, d, 0x1234, out.data())), {{0x32, 0x24, 0x12, 0x34}}},
        {"rf_halt", CALL(rf_halt(d, 0xFFFF)), {{0x32, 0x25, 0xFF, 0xFF}}},
        {"rf_card", CALL(rf_card(d, 0x0102, &out[0], &out[1])), {{0x32, 0x41, 0x01, 0x02}}},
        {"rf_authentication", CALL(rf_authentication(d, 1, 16, kKey.data())), {cat({{0x32, 0x42, 0x10, 0x01}, kKey})}},
        {"rf_read", CALL(rf_read(d, 200, out.data())), {{0x32, 0x43, 0xC8}}},
        {"rf_write", CALL(rf_write(d, 64, kBlock.data())), {cat({{0x32, 0x44, 0x40}, kBlock})}},
        {"rf_readval", CALL(rf_readval(d, 5, &value)), {{0x32, 0x45, 0x05}}},
        {"rf_initval", CALL(rf_initval(d, 5, 0x01020304)), {{0x32, 0x46, 0x05, 1, 2, 3, 4}}},
        {"rf_transfer", CALL(rf_transfer(d, 200)), {{0x32, 0x49, 0xC8}}},
        {"MF_OpenCard", CALL(MF_OpenCard(d, 0x55, out.data())), {{0x32, 0x41, 0x00, 0x00}}},
        {"MF_Authentication", CALL(MF_Authentication(d, kLongKey.data(), 16)), {cat({{0x32, 0x4D, 0x10}, kLongKey})}},
        {"MF_Read", CALL(MF_Read(d, 4, out.data())), {{0x32, 0x43, 0x04}}},
        {"MF_Write_4bytes", CALL(MF_Write_4bytes(d, 7, kPage.data())), {cat({{0x32, 0x4C, 0x07}, kPage})}},
        {"MF_WriteOTp", CALL(MF_WriteOTp(d, kPage.data())), {cat({{0x32, 0x4C, 0x03}, kPage})}},
        {"NTAG215_Write_4bytes", CALL(NTAG215_Write_4bytes(d, 7, kPage.data())), {cat({{0xC1, 0x4C, 0x07}, kPage})}},
        {"NTAG215_Authentication", CALL(NTAG215_Authentication(d, kPassword.data(), 4)), {cat({{0xC1, 0x4F}, kPassword})}},
        {"NTAG215_ChangeKey", CALL(NTAG215_ChangeKey(d, kPassword.data(), 4)), {cat({{0xC1, 0x4C, 0x85}, kPassword})}},
        {"NTAG215_WriteLock", CALL(NTAG215_WriteLock(d)), {{0xC1, 0x4C, 0x82, 0x70, 0x00, 0x00, 0x00}}},
        {"NTAG215_ReadBaseInfo", CALL(NTAG215_ReadBaseInfo(d, text)), {{0xC1, 0x50, 0x50, 0x7F}}},
        {"NFC_P2P", CALL(NFC_P2P(d, 0x02, 3, kPage.data())), {{0x70, 0x00, 0x02, 0x00, 0x03, 1, 2, 3}},
         VNR_E_HANDLE_EXCHANGE},
    };
    for (const Golden& row : table) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.call(icdev), VNR_OK);
        EXPECT_EQ(sent_and_clear(), row.wire);
        EXPECT_EQ(row.call(0), row.bad_handle);
        EXPECT_TRUE(sent_and_clear().empty());
    }
}

TEST_F(Contactless, BoundsAreCheckedInTheirOrderBeforeAnythingIsSent) {
    std::uint32_t value = 0;
    const struct {
        std::function<std::int16_t(std::int32_t)> call;
        std::int16_t status;
        const char* line;  // the refusal's line; none when null
    } table[] = {
        {CALL(rf_authentication(d, 5, 17, kKey.data())), VNR_E_BAD_ARGUMENT, "==>rf_authentication(), addr参数不合法 "},
        {CALL(rf_authentication(d, 2, 16, kKey.data())), VNR_E_BAD_ARGUMENT, "==>rf_authentication(), mode不合法 "},
        {CALL(rf_write(d, 65, kBlock.data())), VNR_E_BAD_ARGUMENT, "==>rf_write(),addr参数不合法  "},
        {CALL(rf_readval(d, 65, &value)), VNR_E_BAD_ARGUMENT, "==>rf_readval(),addr参数不合法  "},
        {CALL(rf_initval(d, 65, 1)), VNR_E_BAD_ARGUMENT, "==>rf_initval(),addr参数不合法  "},
        {CALL(rf_increment(d, 65, 1)), VNR_E_BAD_ARGUMENT, "==>rf_readval(),addr参数不合法  "},
        {CALL(NTAG215_Authentication(d, kPassword.data(), 3)), VNR_E_GENERAL,
         "==>NTAG215_Authentication(), KeyLength参数不合法 "},
        {CALL(NTAG215_Authentication(0, kPassword.data(), 3)), VNR_E_BAD_HANDLE, "==>NTAG215_Authentication(), 句柄无效 "},
        {CALL(NTAG215_ChangeKey(d, kPassword.data(), 5)), VNR_E_GENERAL, nullptr},
        {CALL(NTAG215_Init(0, kPassword.data(), "x")), VNR_NTAG215_INIT_AUTHENTICATION, "==>NTAG215_Authentication(), 句柄无效 "},
        {CALL(MF_Authentication(d, kLongKey.data(), 198)), VNR_E_BAD_ARGUMENT, "==>MF_Authentication(), keylen参数不合法 "},
        {CALL(NFC_P2P(d, 0, 1020, kBlock.data())), VNR_E_BAD_ARGUMENT, "==> NFC_P2P 传输! return:-37 "},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.line ? row.line : "no line");
        EXPECT_EQ(row.call(icdev), row.status);
        if (row.line) expect_logged({row.line});
    }
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(vnr::test::log_text(prefix).find("rf_increment"), std::string::npos) << "rf_readval's lines only";
}

TEST_F(Contactless, ActivationAndHaltWaitTheirOwnRuleAndPutTheStandingWaitBack) {
    constexpr std::uint32_t kBefore = 7777, kStanding = 2000, kNoLimit = 0xFFFFFFFF;
    Bytes out(300);
    const struct {
        std::function<std::int16_t(std::int32_t)> call;
        std::optional<std::uint32_t> seen;  // the wait as the frame went out; none: nothing sent
        std::uint32_t after;
        std::uint16_t reply_status = 0;
    } table[] = {
        {CALL(open_into(open_card, d, 0, out.data())), 1000, kStanding},
        {CALL(open_into(open_card, d, 0xFFFF, out.data())), kNoLimit, kStanding, 0x1001},
        {CALL(open_into(open_card, 0, 0xFFFF, out.data())), std::nullopt, kBefore},
        {CALL(rf_card(d, 1800, &out[0], &out[1])), kBefore, kStanding},
        {CALL(rf_card(d, 1801, &out[0], &out[1])), 2001, kStanding},
        {CALL(rf_card(d, 0xFFFF, &out[0], &out[1])), kNoLimit, kStanding},
        {CALL(rf_halt(d, 1801)), 2001, kStanding, 0x1001},
        {CALL(MF_OpenCard(d, 0, out.data())), 200, kStanding},
    };
    for (std::size_t i = 0; i < std::size(table); ++i) {
        SCOPED_TRACE(i);
        reader.clear_replies();
        answer({0x32}, cat({{0x08}, run_of(7)}), table[i].reply_status);
        answer({0x32, 0x24}, {0x20, 1, 0x01, 0}, table[i].reply_status);
        vnr::core::set_comm_timeout(kBefore, 0);
        provider.waits.clear();
        table[i].call(icdev);
        const auto seen = provider.waits.seen();
        EXPECT_EQ(seen.empty() ? std::nullopt : std::optional(seen[0].timeout_ms), table[i].seen);
        EXPECT_EQ(vnr::core::link_state().read_timeout_ms.load(), table[i].after);
        EXPECT_EQ(vnr::core::link_state().read_delay_ms.load(), 0u);
    }
}

Bytes be32(std::uint32_t v) { return {std::uint8_t(v >> 24), std::uint8_t(v >> 16), std::uint8_t(v >> 8), std::uint8_t(v)}; }

std::int16_t read_value_into(std::int32_t icdev, std::uint8_t* b) {
    std::uint32_t value = 0xEEEEEEEE;
    const std::int16_t status = rf_readval(icdev, 1, &value);
    std::ranges::copy(be32(value), b);
    return status;
}

TEST_F(Contactless, RepliesReachTheCallerOnlyWithinTheirLayoutAndTheDocumentedRoom) {
    const Bytes uid = {0x04, 0xA1, 0xB2, 0xC3}, a192(192, 'A'), cpu{0x32, 0x24}, card{0x32, 0x41};
    const Bytes read{0x32, 0x43}, value{0x32, 0x45}, fast{0xC1, 0x50};
    const auto open = [](auto d, auto b) { return open_into(open_card, d, 0, b); };
    const auto serial = [](auto d, auto b) { return rf_card(d, 0, b, b + 1); };
    const auto tag = [](auto d, auto b) { return MF_OpenCard(d, 0, b); };
    const auto block = [](auto d, auto b) { return rf_read(d, 1, b); };
    const auto base = [](auto d, auto b) { return NTAG215_ReadBaseInfo(d, reinterpret_cast<char*>(b)); };
    const struct {
        Bytes command, reply;
        std::function<std::int16_t(std::int32_t, std::uint8_t*)> call;
        std::int16_t status;
        Bytes written;  // what lands in the caller's buffer; the bytes behind it keep their guard
        std::uint16_t reply_status = 0;
    } table[] = {
        {cpu, cat({{0x20, 10}, run_of(10), {64}, run_of(64)}), open, VNR_OK, opened(0x20, run_of(10), run_of(64))},
        {cpu, cat({{0x20, 11}, run_of(11), {0}}), open, VNR_E_END_BYTE, {}},     // identifier over its room
        {cpu, cat({{0x20, 1, 1, 65}, run_of(65)}), open, VNR_E_END_BYTE, {}},    // ATS over its room
        {cpu, {0x20, 9, 1, 2, 3}, open, VNR_E_END_BYTE, {}},                      // identifier past the data
        {card, cat({{0x08}, uid}), serial, VNR_OK, cat({{0x08}, uid})},
        {card, {0x08, 1, 2, 3}, serial, VNR_E_END_BYTE, {}},
        {card, cat({{0x44}, run_of(7)}), tag, VNR_OK, run_of(7)},
        {card, cat({{0x44}, run_of(7)}), [](auto d, auto b) { return NTAG215_OpenCard(d, b); }, VNR_OK, {7, 6, 5, 4, 3, 2, 1}},
        {card, cat({{0x44}, run_of(6)}), tag, VNR_E_END_BYTE, {}},
        {read, kBlock, block, VNR_OK, kBlock},
        {read, run_of(17), block, VNR_E_END_BYTE, {0x00}},  // over 16: the first byte is 0 and nothing more
        {read, {}, block, -4097, {0x00}, 0x1001},
        {read, run_of(100), [](auto d, auto b) { return MF_Read(d, 4, b); }, VNR_OK, run_of(100)},
        {read, run_of(101), [](auto d, auto b) { return NTAG215_Read(d, 4, b); }, VNR_E_END_BYTE, {}},
        {value, {1, 2, 3, 4}, read_value_into, VNR_OK, {1, 2, 3, 4}},
        {value, {1, 2, 3}, read_value_into, VNR_E_END_BYTE, {0, 0, 0, 0}},
        {value, {}, read_value_into, -4097, {0, 0, 0, 0}, 0x1001},
        {fast, cat({{'H', 'I', 0}, run_of(50)}), base, VNR_OK, {'H', 'I', 0}},
        {fast, {}, base, VNR_OK, {0}},
        {fast, a192, base, VNR_OK, cat({a192, {0}})},
        {fast, Bytes(193, 'A'), base, VNR_E_END_BYTE, {}},  // no zero within the 193-byte room
        {fast, cat({{0}, run_of(512)}), base, VNR_E_END_BYTE, {}},  // over the fast read's 512
    };
    for (std::size_t i = 0; i < std::size(table); ++i) {
        SCOPED_TRACE(i);
        reader.clear_replies();
        answer(table[i].command, table[i].reply, table[i].reply_status);
        expect_writes(table[i].call, table[i].status, table[i].written);
    }
}

TEST_F(Contactless, IncrementAndDecrementSendOnlyWhatFitsIn32Bits) {
    const struct {
        std::uint8_t code;                     // 0x47 increment, 0x48 decrement
        std::optional<std::uint32_t> current;  // none: the read fails with 0x1001
        std::uint32_t amount;
        std::int16_t status;
    } table[] = {
        {0x47, 0xFFFFFFFE, 1, VNR_OK}, {0x47, 0xFFFFFFFF, 1, VNR_E_BAD_ARGUMENT}, {0x47, 0, 0xFFFFFFFF, VNR_OK},
        {0x47, 1, 0xFFFFFFFF, VNR_E_BAD_ARGUMENT}, {0x48, 5, 5, VNR_OK}, {0x48, 4, 5, VNR_E_BAD_ARGUMENT},
        {0x48, 0, 1, VNR_E_BAD_ARGUMENT}, {0x48, 0xFFFFFFFF, 0xFFFFFFFF, VNR_OK}, {0x47, std::nullopt, 1, -4097},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(std::to_string(row.code) + " by " + std::to_string(row.amount));
        reader.clear_replies();
        answer({0x32}, {});
        answer({0x32, 0x45}, row.current ? be32(*row.current) : Bytes{}, row.current ? 0 : 0x1001);
        EXPECT_EQ((row.code == 0x47 ? rf_increment : rf_decrement)(icdev, 9, row.amount), row.status);
        std::vector<Bytes> wire{{0x32, 0x45, 0x09}};
        if (row.status == VNR_OK) wire.push_back(cat({{0x32, row.code, 0x09}, be32(row.amount)}));
        EXPECT_EQ(sent_and_clear(), wire);
    }
    expect_logged({"---rf_increment 非接触式存储卡加值----", "==>rf_increment(), ulCurValue参数不合法 "});
}

TEST_F(Contactless, LockBitsGoToPage2Or40AndPagesWithoutOneAreRefused) {
    const struct {
        std::uint8_t page, target;
        Bytes data;  // empty: refused with nothing sent
    } table[] = {
        {3, 2, {0, 0, 0x08, 0}},   {7, 2, {0, 0, 0x80, 0}},   {8, 2, {0, 0, 0, 0x01}},   {15, 2, {0, 0, 0, 0x80}},
        {16, 40, {0x02, 0, 0, 0}}, {19, 40, {0x02, 0, 0, 0}}, {39, 40, {0x80, 0, 0, 0}}, {42, 40, {0, 0x20, 0, 0}},
        {47, 40, {0, 0x80, 0, 0}}, {0, 0, {}}, {2, 0, {}}, {40, 0, {}}, {41, 0, {}}, {48, 0, {}}, {255, 0, {}},
    };
    answer({0x32, 0x4C}, {});
    for (const auto& row : table) {
        SCOPED_TRACE(int(row.page));
        EXPECT_EQ(MF_WriteLock(icdev, row.page), row.data.empty() ? VNR_E_GENERAL : VNR_OK);
        const std::vector<Bytes> wire{cat({{0x32, 0x4C, row.target}, row.data})};
        EXPECT_EQ(sent_and_clear(), row.data.empty() ? std::vector<Bytes>{} : wire);
    }
    expect_logged({"-----MF_WriteLock()----- "});
}

TEST_F(Contactless, CardOpenProbesInOrderAndWritesOnlyWhatTheFoundKindGives) {
    const Bytes uid = {0x04, 0xA1, 0xB2, 0xC3}, ats = {0x05, 0x78};
    // Only the low 16 bits of the wait count: 0x12345 goes out as 23 45.
    const std::vector<Bytes> probes{{0x32, 0x52}, {0x32, 0x24, 0x23, 0x45}, {0x32, 0x41, 0x23, 0x45}};
    const struct {
        std::size_t answering;  // the probe that answers: 0 the identity card, 1 the CPU card, 2 the memory card, 3 none
        std::int16_t result;
        Bytes written;
        const char* line;
    } table[] = {
        {0, VNR_CL_IDCARD, {}, "==> CLCard_Open() 激活卡片成功，卡类型：身份证 "},
        {1, VNR_CL_CPU_CARD, opened(0x20, uid, ats), "==> CLCard_Open() 激活卡片成功，卡类型：非接CPU "},
        {2, VNR_CL_MIFARE, cat({{0x08, kGuard}, uid}), "==> CLCard_Open() 激活卡片成功，卡类型：mifare卡 "},
        {3, -4101, {}, "==> CLCard_Open() 激活卡片失败，状态码: -4101 "},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.answering);
        reader.clear_replies();
        answer({0x32, 0x52}, {0x11, 0x22}, row.answering == 0 ? 0 : 0x0101);
        answer({0x32, 0x24}, cat({{0x20, 4}, uid, {2}, ats}), row.answering == 1 ? 0 : 0x1003);
        answer({0x32, 0x41}, cat({{0x08}, uid}), row.answering == 2 ? 0 : 0x1005);
        expect_writes([](auto d, auto b) { return open_into(CLCard_Open, d, 0x12345, b); }, row.result, row.written);
        EXPECT_EQ(sent_and_clear(), std::vector<Bytes>(probes.begin(), probes.begin() + std::min<std::size_t>(row.answering + 1, 3)));
        expect_logged({"-----CLCard_Open-----", row.line});
    }
}

TEST_F(Contactless, InitGivesTheNumberOfTheStepThatFailed) {
    const Bytes& key = kPage;
    const std::string text192(192, 'T');
    std::vector<Bytes> last;
    const struct {
        Bytes failing;  // the command that the tag refuses
        std::string text;
        std::int16_t result;
        std::size_t commands;
    } table[] = {
        {{0xC1, 0x4F}, "ABCDE", VNR_NTAG215_INIT_AUTHENTICATION, 1},
        {{0xC1, 0x4C, 0x85}, "ABCDE", VNR_NTAG215_INIT_CHANGE_KEY, 2},
        {{}, text192 + "T", VNR_NTAG215_INIT_TEXT, 2},  // refused after the key change
        {{0xC1, 0x4C, 0x51}, "ABCDEFGH", VNR_NTAG215_INIT_WRITE_PAGE, 4},
        {{0xC1, 0x4C, 0x82}, "ABCDE", VNR_NTAG215_INIT_WRITE_LOCK, 5},
        {{}, "", VNR_OK, 3},        // no page, on to the lock
        {{}, text192, VNR_OK, 51},  // pages 50 to 7F
        {{}, "ABCDE", VNR_OK, 5},   // the whole run, below
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.result);
        reader.clear_replies();
        answer({0xC1}, {});
        if (!row.failing.empty()) answer(row.failing, {}, 0x6300);  // the latest canned reply comes first
        EXPECT_EQ(NTAG215_Init(icdev, key.data(), row.text.c_str()), row.result);
        last = sent_and_clear();
        EXPECT_EQ(last.size(), row.commands);
        EXPECT_TRUE(row.commands < 51 || last[49] == (Bytes{0xC1, 0x4C, 0x7F, 'T', 'T', 'T', 'T'}));
    }
    // A whole run: default password, new password, the text in pages with the last one padded, the lock.
    EXPECT_EQ(last, (std::vector<Bytes>{{0xC1, 0x4F, 0xFF, 0xFF, 0xFF, 0xFF}, cat({{0xC1, 0x4C, 0x85}, key}),
                                           {0xC1, 0x4C, 0x50, 'A', 'B', 'C', 'D'}, {0xC1, 0x4C, 0x51, 'E', 0, 0, 0},
                                           {0xC1, 0x4C, 0x82, 0x70, 0, 0, 0}}));
}

}  // namespace
