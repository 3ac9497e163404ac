// tests/contactless/composites_test.cpp: the functions made of others: the guard of increment and
// decrement at the 32-bit edges, the lock bits of an Ultralight-class tag, the probes of CLCard_Open and
// what each path writes, and the steps of NTAG215_Init with the result of each one that fails.
#include "contactless/contactless_support.h"

namespace {

using namespace cltest;

Bytes be32(std::uint32_t v) { return {std::uint8_t(v >> 24), std::uint8_t(v >> 16), std::uint8_t(v >> 8), std::uint8_t(v)}; }

struct ValueChange {
    bool increment;
    std::optional<std::uint32_t> current;  // none: the read fails with 0x1001
    std::uint32_t amount;
    bool sent;
};

TEST_F(Contactless, IncrementAndDecrementSendOnlyWhatFitsIn32Bits) {
    const ValueChange table[] = {
        {true, 0xFFFFFFFE, 1, true},   {true, 0xFFFFFFFF, 1, false}, {true, 0, 0xFFFFFFFF, true},
        {true, 1, 0xFFFFFFFF, false},  {true, 0xFFFFFFFF, 0, true},  {false, 5, 5, true},
        {false, 4, 5, false},          {false, 0, 1, false},         {false, 0xFFFFFFFF, 0xFFFFFFFF, true},
        {true, std::nullopt, 1, false}, {false, std::nullopt, 1, false},
    };
    for (const ValueChange& row : table) {
        SCOPED_TRACE(std::string(row.increment ? "+" : "-") + std::to_string(row.amount) + " on " +
                     (row.current ? std::to_string(*row.current) : "a failed read"));
        reader.clear_replies();
        answer({0x32}, {});
        answer({0x32, 0x45}, row.current ? be32(*row.current) : Bytes{}, row.current ? 0 : 0x1001);
        const std::int16_t status = row.increment ? rf_increment(icdev, 9, row.amount) : rf_decrement(icdev, 9, row.amount);
        EXPECT_EQ(status, row.sent ? VNR_OK : row.current ? VNR_E_BAD_ARGUMENT : -4097);
        std::vector<Bytes> wire{{0x32, 0x45, 0x09}};
        if (row.sent) wire.push_back(cat({{0x32, std::uint8_t(row.increment ? 0x47 : 0x48), 0x09}, be32(row.amount)}));
        EXPECT_EQ(sent_and_clear(), wire);
    }
    expect_logged({"---rf_increment 非接触式存储卡加值----", "==>rf_increment(), ulCurValue参数不合法 ",
                   "---rf_decrement 非接触式存储卡减值----", "==>rf_decrement(), ulCurValue参数不合法 "});
}

TEST_F(Contactless, LockBitsGoToPage2Or40AndPagesWithoutOneAreRefused) {
    const struct {
        std::uint8_t page, target;
        Bytes data;  // empty: refused with nothing sent
    } table[] = {
        {3, 2, {0, 0, 0x08, 0}},    {7, 2, {0, 0, 0x80, 0}},    {8, 2, {0, 0, 0, 0x01}},    {15, 2, {0, 0, 0, 0x80}},
        {16, 40, {0x02, 0, 0, 0}},  {19, 40, {0x02, 0, 0, 0}},  {20, 40, {0x04, 0, 0, 0}},  {27, 40, {0x08, 0, 0, 0}},
        {28, 40, {0x20, 0, 0, 0}},  {32, 40, {0x40, 0, 0, 0}},  {39, 40, {0x80, 0, 0, 0}},  {42, 40, {0, 0x20, 0, 0}},
        {43, 40, {0, 0x40, 0, 0}},  {44, 40, {0, 0x80, 0, 0}},  {47, 40, {0, 0x80, 0, 0}},  {0, 0, {}},
        {2, 0, {}},                 {40, 0, {}},                {41, 0, {}},                {48, 0, {}},
        {255, 0, {}},
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
    const Bytes idcard{0x32, 0x52}, cpu{0x32, 0x24, 0x23, 0x45}, memory{0x32, 0x41, 0x23, 0x45};
    const struct {
        const char* name;
        int answering;  // 0 the identity card, 1 the CPU card, 2 the memory card, 3 none
        std::int16_t result;
        Bytes written;
        const char* line;
    } table[] = {
        {"identity card", 0, VNR_CL_IDCARD, {}, "==> CLCard_Open() 激活卡片成功，卡类型：身份证 "},
        {"CPU card", 1, VNR_CL_CPU_CARD, opened(0x20, uid, ats), "==> CLCard_Open() 激活卡片成功，卡类型：非接CPU "},
        {"memory card", 2, VNR_CL_MIFARE, cat({{0x08, kGuard}, uid}), "==> CLCard_Open() 激活卡片成功，卡类型：mifare卡 "},
        {"no card", 3, -4101, {}, "==> CLCard_Open() 激活卡片失败，状态码: -4101 "},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        reader.clear_replies();
        answer(idcard, {0x11, 0x22}, row.answering == 0 ? 0 : 0x0101);
        answer({0x32, 0x24}, cat({{0x20, 4}, uid, {2}, ats}), row.answering == 1 ? 0 : 0x1003);
        answer({0x32, 0x41}, cat({{0x08}, uid}), row.answering == 2 ? 0 : 0x1005);
        // Only the low 16 bits of the wait count: 0x12345 goes out as 23 45.
        expect_writes([](auto d, auto b) { return open_into(CLCard_Open, d, 0x12345, b); }, row.result, row.written);
        const std::vector<Bytes> probes{idcard, cpu, memory};
        EXPECT_EQ(sent_and_clear(), std::vector<Bytes>(probes.begin(), probes.begin() + std::min(row.answering, 2) + 1));
        expect_logged({"-----CLCard_Open-----", row.line});
    }
}

TEST_F(Contactless, InitGivesTheNumberOfTheStepThatFailed) {
    const Bytes key = {0x01, 0x02, 0x03, 0x04};
    const std::string text192(192, 'T');
    const struct {
        const char* name;
        Bytes failing;  // the command that the tag refuses
        std::string text;
        std::int16_t result;
        std::size_t commands;
    } table[] = {
        {"default password refused", {0xC1, 0x4F}, "ABCDE", VNR_NTAG215_INIT_AUTHENTICATION, 1},
        {"key change refused", {0xC1, 0x4C, 0x85}, "ABCDE", VNR_NTAG215_INIT_CHANGE_KEY, 2},
        {"text of 193 bytes, after the key change", {}, text192 + "T", VNR_NTAG215_INIT_TEXT, 2},
        {"second page refused", {0xC1, 0x4C, 0x51}, "ABCDEFGH", VNR_NTAG215_INIT_WRITE_PAGE, 4},
        {"lock refused", {0xC1, 0x4C, 0x82}, "ABCDE", VNR_NTAG215_INIT_WRITE_LOCK, 5},
        {"empty text goes on to the lock", {}, "", VNR_OK, 3},
        {"192 bytes fill pages 50 to 7F", {}, text192, VNR_OK, 51},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        reader.clear_replies();
        answer({0xC1}, {});
        if (!row.failing.empty()) answer(row.failing, {}, 0x6300);  // the latest canned reply comes first
        EXPECT_EQ(NTAG215_Init(icdev, key.data(), row.text.c_str()), row.result);
        const std::vector<Bytes> wire = sent_and_clear();
        EXPECT_EQ(wire.size(), row.commands);
        if (row.commands == 51) {
            EXPECT_EQ(wire[49], (Bytes{0xC1, 0x4C, 0x7F, 'T', 'T', 'T', 'T'}));
        }
    }
    // A whole run: default password, new password, the text in pages with the last one padded, the lock.
    answer({0xC1}, {});
    EXPECT_EQ(NTAG215_Init(icdev, key.data(), "ABCDE"), VNR_OK);
    EXPECT_EQ(sent(), (std::vector<Bytes>{{0xC1, 0x4F, 0xFF, 0xFF, 0xFF, 0xFF},
                                           cat({{0xC1, 0x4C, 0x85}, key}),
                                           {0xC1, 0x4C, 0x50, 'A', 'B', 'C', 'D'},
                                           {0xC1, 0x4C, 0x51, 'E', 0, 0, 0},
                                           {0xC1, 0x4C, 0x82, 0x70, 0, 0, 0}}));
    EXPECT_EQ(NTAG215_Init(0, key.data(), "ABCDE"), VNR_NTAG215_INIT_AUTHENTICATION);
}

}  // namespace
