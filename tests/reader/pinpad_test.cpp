// tests/reader/pinpad_test.cpp: the PIN pad's state rules, the user key table and the active key, the
// waits of a person's entry, and keys and PINs kept out of the log.
#include "core/state.h"
#include "models/pinpad/pin_pad.h"
#include "reader_support.h"

namespace {

using namespace readertest;

using PinPad = Session;

TEST_F(PinPad, ReadsNeedBothSettingsTimeOutFirstAndTheyOutliveTheSession) {
    pad_accepts_settings();
    answer({0xC5, 0x05}, text("1234"));
    uint8_t pin[50] = {};
    EXPECT_EQ(mw_kb_getpin(icdev, 1, pin), VNR_E_PIN_TIMEOUT_UNSET);
    EXPECT_EQ(mw_kb_setpasslen(icdev, 4), VNR_OK);
    EXPECT_EQ(mw_kb_getpin(0, 2, pin), VNR_E_PIN_TIMEOUT_UNSET) << "-66 wins over -18";
    reset_pad();
    EXPECT_EQ(mw_kb_settimeout(icdev, 6), VNR_OK);
    EXPECT_EQ(mw_kb_getpin(icdev, 1, pin), VNR_E_PIN_LENGTH_UNSET);
    EXPECT_EQ(mw_kb_setpasslen(icdev, 4), VNR_OK);
    EXPECT_EQ(mw_kb_getpin(0, 1, pin), VNR_E_BAD_HANDLE);
    // Refused or failed settings leave the earlier ones in force.
    EXPECT_EQ(mw_kb_settimeout(icdev, 5) + mw_kb_setpasslen(icdev, 0), 2 * VNR_E_BAD_ARGUMENT);
    answer({0xC5, 0x01}, {}, 0x6F00);
    EXPECT_EQ(mw_kb_settimeout(icdev, 30), -0x6F00);
    EXPECT_EQ(pad().pin_wait_ms, 7000u);
    EXPECT_EQ(device_close(icdev), VNR_OK);
    ASSERT_GT(icdev = device_open(0, 115200), 1);
    EXPECT_EQ(mw_kb_getpin(icdev, 1, pin), VNR_OK);
    EXPECT_STREQ(reinterpret_cast<char*>(pin), "1234");
    expect_logged({"==>pwdkb_getpwd()，未设置密码输入超时时间. ", "==>pwdkb_getpwd_again()，未设置密码输入超时时间. ",
                   "==>pwdkb_getpwd()，未设置密码输入长度. ", "==>pwdkb_getpwd()，句柄无效. "});
}

TEST_F(PinPad, UserKeysBelowSixteenAreKeptTheActiveKeyChoosesTheirKindAndEncipheredReadsComeAsHex) {
    // pwd_decrypt deciphers under the active entry: DES under zeros at first, triple DES under key 3 once
    // that is active, nothing for a key number beyond the table.
    const uint8_t cipher[8] = {1, 2, 3, 4, 5, 6, 7, 8}, zeros[8] = {}, key3[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    const auto deciphers_as = [&](int16_t (*oracle)(const uint8_t*, const uint8_t*, uint8_t, uint8_t*), const uint8_t* key) {
        uint8_t got[8] = {}, want[8] = {};
        return pwd_decrypt(cipher, 8, got) == VNR_OK && oracle(key, cipher, 8, want) == VNR_OK && Bytes(got, got + 8) == Bytes(want, want + 8);
    };
    EXPECT_TRUE(deciphers_as(des_decrypt, zeros));
    pad_accepts_settings();
    EXPECT_EQ(mw_kb_downloaduserkey(icdev, 1, 0, 3, "000102030405060708090A0B0C0D0E0F"), VNR_OK);
    EXPECT_EQ(mw_kb_downloaduserkey(icdev, 0, 0, 4, "1011121314151617"), VNR_OK);
    EXPECT_EQ(mw_kb_downloaduserkey(icdev, 1, 0, 16, "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"), VNR_OK);
    answer({0xC5, 0x04}, {}, 0x6F00);
    EXPECT_EQ(mw_kb_downloaduserkey(icdev, 1, 0, 5, "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"), -0x6F00);
    const auto& table = pad().userkey_table;
    EXPECT_EQ(table[3].des_type * 0x100 + table[3].key[15], 0x10F);
    EXPECT_EQ(table[4].key, (std::array<uint8_t, 16>{0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17})) << "zeros behind";
    EXPECT_EQ(table[5].key, table[6].key) << "a failed load keeps nothing";
    const std::pair<int, int> choices[] = {{3, 1}, {4, 0}, {3, 1}, {255, 0}};  // key number, whether 16 bytes
    for (const auto& [number, triple] : choices) {
        EXPECT_EQ(mw_kb_activekey(0, 255, number), VNR_OK);
        EXPECT_EQ(pad().active_userkeyno * 10 + pad().userkey_triple, number * 10 + triple);
    }
    uint8_t untouched[8] = {};
    EXPECT_EQ(pwd_decrypt(cipher, 8, untouched) * 1000 + untouched[0], VNR_E_BAD_ARGUMENT * 1000) << "key number 255";
    EXPECT_EQ(mw_kb_activekey(0, 0, -1), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(mw_kb_activekey(0, 0, 3), VNR_OK);
    EXPECT_TRUE(deciphers_as(des3_decrypt, key3));
    ASSERT_EQ(mw_kb_settimeout(icdev, 6) + mw_kb_setpasslen(icdev, 6), VNR_OK);
    char pin[40];
    answer({0xC5, 0x06}, {0xAB, 0x01, 0xFF});
    EXPECT_EQ(mw_kb_getenpin(icdev, 1, "0a0B0c0D0e0F", pin), VNR_OK);
    EXPECT_STREQ(pin, "AB01FF");
    EXPECT_EQ(sent().back()[5], 3) << "the active key number";
    answer({0xC5, 0x06}, Bytes(18, 0x11));
    EXPECT_EQ(mw_kb_getenpin(icdev, 1, "0a0B0c0D0e0F", pin), VNR_E_END_BYTE) << "more than its 17 bytes";
    EXPECT_STREQ(pin, "AB01FF");
}

TEST_F(PinPad, KeysAndPinsShowOnlyAsStarsInTheLog) {
    pad_accepts_settings();
    answer({0xC5, 0x05}, text("739164"));
    ASSERT_EQ(mw_kb_settimeout(icdev, 6) + mw_kb_setpasslen(icdev, 6), VNR_OK);
    EXPECT_EQ(mw_kb_downloadmainkey(icdev, 0, 7, "3A7F19C2D45E8B60"), VNR_OK);
    EXPECT_EQ(mw_kb_downloaduserkey(icdev, 1, 7, 2, "9E4D21B7C83F56A09E4D21B7C83F56A1"), VNR_OK);
    uint8_t pin[50] = {};
    EXPECT_EQ(mw_kb_getpin(icdev, 1, pin), VNR_OK);
    const std::string log = vnr::test::log_text(prefix);
    for (const char* secret : {"3A7F19C2D45E8B60", "9E4D21B7C83F56A", "373339313634", "739164"})
        EXPECT_EQ(log.find(secret), std::string::npos) << secret;
    EXPECT_NE(log.find("Send: C503000007****************."), std::string::npos);
    EXPECT_NE(log.find("Send: C50400010702********************************."), std::string::npos);
    EXPECT_NE(log.find("receive: 0200080000**************03."), std::string::npos) << "the PIN and its check byte";
}

using PinPadWaits = HidSession;

TEST_F(PinPadWaits, AReadWaitsTheEntryTimeOutAndASecondThenTheStandingWaitComesBack) {
    pad_accepts_settings();
    answer({0xC5, 0x05}, text("12"));
    ASSERT_EQ(mw_kb_settimeout(icdev, 6) + mw_kb_setpasslen(icdev, 6), VNR_OK);
    uint8_t pin[50];
    EXPECT_EQ(mw_kb_getpin(icdev, 2, pin), VNR_OK);
    ASSERT_EQ(mw_kb_settimeout(icdev, 255), VNR_OK);
    answer({0xC5, 0x05}, {}, 0x6F00);
    EXPECT_EQ(mw_kb_getpin(icdev, 1, pin), -0x6F00);
    EXPECT_EQ(timeouts(), (std::vector<uint32_t>{2000, 2000, 7000, 2000, 256000}));
    EXPECT_EQ(vnr::core::link_state().read_timeout_ms.load(), 2000u);
}

}  // namespace

// Against the simulated pad: a work key loaded and activated, a PIN typed on the pad, its enciphered
// block read, and pwd_decrypt giving back the format 0 block that the pad made of it.
TEST_F(PinPad, TheActiveWorkKeyDeciphersThePadsPinBlock) {
    ASSERT_EQ(mw_kb_downloadmainkey(icdev, 0, 1, "0123456789ABCDEF"), VNR_OK);
    ASSERT_EQ(mw_kb_downloaduserkey(icdev, 1, 1, 2, "0123456789ABCDEFFEDCBA9876543210"), VNR_OK);
    ASSERT_EQ(mw_kb_settimeout(icdev, 6) + mw_kb_setpasslen(icdev, 4) + mw_kb_activekey(icdev, 1, 2), VNR_OK);
    reader.model<vnrsim::PinPad>()->enter({"1234", false});
    char hex[40] = {};
    ASSERT_EQ(mw_kb_getenpin(icdev, 1, "123456789012", hex), VNR_OK);
    uint8_t block[9] = {}, clear[8] = {};
    ASSERT_EQ(asc_hex(hex, block, 8), VNR_OK);
    EXPECT_EQ(pwd_decrypt(block, 8, clear), VNR_OK);
    // 04 12 34 FF FF FF FF FF XOR 00 00 12 34 56 78 90 12
    EXPECT_EQ(Bytes(clear, clear + 8), (Bytes{0x04, 0x12, 0x26, 0xCB, 0xA9, 0x87, 0x6F, 0xED}));
}
