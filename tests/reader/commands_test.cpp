// tests/reader/commands_test.cpp: each one-command function's bytes on the wire and result line (one table),
// what of a reply reaches the caller, and the refusals in their order, which send nothing.
#include "reader_support.h"

#include <array>

namespace {

using namespace readertest;

std::array<uint8_t, 1024> out{};
double bend = 0;
uint8_t length = 0;char text_out[64] = {};
const uint8_t kLights[4] = {0, 1, 2, 1};
const uint8_t kBadLights[4] = {0, 0, 3, 0};
const uint8_t kAb[2] = {0xAA, 0xBB};

struct Golden { std::function<int16_t(int32_t)> call; Bytes wire; const char* result_line; Bytes reply = {}; };

// In order: the pad's settings come before its reads.
const Golden kGolden[] = {
    {[](int32_t h) { return device_reset(h, 1); }, {0x31, 0x12, 0x01}, "==>device_reset(), return:0 "},
    {[](int32_t h) { return device_setbaud(h, 0, 4800); }, {0x30, 0x01, 0x00, 0x00}, "==>device_setbaud(), return: 0. "},
    {[](int32_t h) { return device_beep(h, 0x0102, 3); }, {0x31, 0x13, 0x01, 0x02, 0x03}, "==> 读写器蜂鸣器控制成功! "},
    {[](int32_t h) { return device_ledctrl(h, 5); }, {0x31, 0x14, 0x05}, "==>device_ledctrl(), return: 0 "},
    {[](int32_t h) { return color_ledcontrol(h, 1, 2, 3); }, {0x31, 0x15, 1, 2, 3}, "==>color_ledcontrol(), 状态码：0。 "},
    {[](int32_t h) { return dev_ledcontrol(h, kLights); }, {0x32, 0x66, 0, 1, 2, 1}, "==>dev_ledcontrol(), 状态码：0 "},
    {[](int32_t h) { return device_readsnr(h, 0, out.data()); }, {0xC0, 0x09, 0x00}, "==>device_readsnr(), return: 0 "},
    {[](int32_t h) { return device_writesnr(h, 2, kAb); }, {0xC0, 0x08, 0x02, 0xAA, 0xBB}, "==>device_writesnr(), return: 0 "},
    {[](int32_t h) { return dev_writesnr(h, 2, kAb); }, Bytes{0xC0, 0x08, 0x00, 0x14, 0xAA, 0xBB} + Bytes(18, 0),
     "==>dev_writesnr(), 状态码：0。 "},
    {[](int32_t h) { return get_device_status(h, out.data()); }, {0x30, 0x07}, "==>get_device_status(), 状态码：0。 "},
    {[](int32_t h) { return get_device_statusEx(h, out.data()); }, {0x30, 0x08}, "==>get_device_statusEx(), 状态码：0。 "},
    {[](int32_t h) { return dev_cardstate(h, out.data()); }, {0x30, 0x09}, "==>dev_cardstate(), 状态码：0。 "},
    {[](int32_t h) { return ICC_GetStatus(h, out.data()); }, {0x40, 0x00}, "==>ICC_GetStatus(), 状态码：0。 "},
    {[](int32_t h) { return PICCB_GetStatus(h, out.data()); }, {0x40, 0x02}, "==>PICCB_GetStatus(), 状态码：0 "},
    {[](int32_t h) { return get_quant_ele(h, nullptr); }, {0xC0, 0x0C}, "==>get_quant_ele(), 状态码：0。 "},
    {[](int32_t h) { return send_com1(h, 2, kAb); }, {0x60, 0xC3, 0x00, 0xAA, 0xBB}, "==>send_com1(), 状态码：0. "},
    {[](int32_t h) { return send_com2(h, 2, kAb); }, {0x60, 0xC4, 0x00, 0xAA, 0xBB}, "==>send_com2(), 状态码：0. "},
    {[](int32_t h) { return send_com_bound(h, 1, 38400); }, {0x60, 0xC5, 0x00, 0x00, 0x01, 0x00}, "==>send_com_bound(), 状态码：0. "},
    {[](int32_t h) { return get_finger(h, out.data(), out.data() + 200); }, Bytes{0x60, 0xC2, 0x87} + text("1;31415926535897"),
     "==>get_finger(), 状态码：0。 "},
    {[](int32_t h) { return tf_bend(h, &bend); }, {0x50, 0x00}, "==>tf_bend(), 状态码：0。 ", {0, 0x12, 0x34, 0x56}},
    {[](int32_t h) { return tf_read(h, 5, out.data()); }, {0x50, 0x01, 0, 0, 0, 5}, "==>tf_read(), 状态码：0。 "},
    {[](int32_t h) { return tf_read(h, 70225, out.data()); }, {0x50, 0x01, 0, 1, 9, 0}, "==>tf_read(), 状态码：0。 "},
    {[](int32_t h) { return tf_read(h, 2147483647, out.data()); }, {0x50, 0x01, 0x73, 0x74, 0x1F, 0xE8}, "==>tf_read(), 状态码：0。 "},
    {[](int32_t h) { return tf_write(h, 265, 2, kAb); }, {0x50, 0x02, 0, 0, 1, 0, 0xAA, 0xBB}, "==>tf_write(), 状态码：0。 "},
    {[](int32_t h) { return Dev_GetEMID(h, &length, out.data()); }, {0x32, 0x53}, "==> Dev_GetEMID() 获取EMID号成功"},
    {[](int32_t h) { return set_magnetic_mode(h, 0); }, {0x32, 0x61}, "set_magnetic_mode-----mode = 0,return = 0"},
    {[](int32_t h) { return set_magnetic_mode(h, 0xC1); }, {0x32, 0x63, 0xC1}, "set_magnetic_mode-----mode = 193,return = 0"},
    {[](int32_t h) { return magnetic_read(h, 3, out.data()); }, {0x32, 0x60, 0x03},
     "----magnetic_read end---[st == 0]-[len = 3]-0-0-0!!!", {0xF5, 0xF5, 0xF5}},
    {[](int32_t h) { return mw_kb_settimeout(h, 6); }, {0xC5, 0x01, 0x00, 0x06}, "==>pwdkb_settimeout()，状态码：0. "},
    {[](int32_t h) { return mw_kb_setpasslen(h, 0x101); }, {0xC5, 0x02, 0x00, 0x01}, "==>pwdkb_setpwdlen()，状态码：0. "},
    {[](int32_t h) { return mw_kb_downloadmainkey(h, 0, 7, "0011223344556677"); },
     {0xC5, 0x03, 0x00, 0x00, 0x07, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}, "==>mw_kb_downloadmainkey()，状态码：0. "},
    {[](int32_t h) { return mw_kb_downloaduserkey(h, 1, 7, 9, "00112233445566778899aabbccddeeff"); },
     Bytes{0xC5, 0x04, 0x00, 0x01, 0x07, 0x09, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77} +
         Bytes{0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF},
     "==>mw_kb_downloaduserkey()，状态码：0. "},
    {[](int32_t h) { return mw_kb_getpin(h, 1, out.data()); }, {0xC5, 0x05, 0x00, 0x1B, 0x49}, "==>pwdkb_getpwd()，状态码：0. "},
    {[](int32_t h) { return mw_kb_getpin(h, 2, out.data()); }, {0xC5, 0x05, 0x00, 0x1B, 0x45}, "==>pwdkb_getpwd_again()，状态码：0. "},
    {[](int32_t h) { return mw_kb_getenpin(h, 1, "112233445566", text_out); },
     {0xC5, 0x06, 0x00, 0x1B, 0x49, 0x00, 0x00, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66}, "==>pwdkb_getpwd_encrypt()，状态码：0. "},
    {[](int32_t h) { return mw_kb_activekey(h, 1, 0xFE) + mw_kb_getenpin(h, 2, "AABBCCDDEEFF", text_out); },
     {0xC5, 0x06, 0x00, 0x1B, 0x45, 0xFE, 0x00, 0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF},
     "==>pwdkb_getpwd_again_encrypt()，状态码：0. "},
};

using Commands = Session;

TEST_F(Commands, EachOneCommandFunctionSendsItsBytesAndWritesItsResultLine) {
    for (const Golden& g : kGolden) {
        SCOPED_TRACE(g.result_line);
        reader.clear_history();
        answer({g.wire[0], g.wire[1]}, g.reply);
        EXPECT_EQ(g.call(icdev), VNR_OK);
        EXPECT_EQ(sent(), std::vector<Bytes>{g.wire});
        expect_logged({g.result_line});
    }
}

// The fingerprint query's two stretches and the store's block come from fixed places of the room, zeros
// where the reply is shorter; tf_bend reads R0 with the factor 65535 and refuses a reply of 3 bytes.
TEST_F(Commands, WhatOfTheReplyReachesTheCaller) {
    answer({0x60, 0xC2}, Bytes(30, 1) + Bytes(200, 2) + Bytes(99, 3));
    out.fill(0xEE);
    EXPECT_EQ(get_finger(icdev, out.data(), out.data() + 500), VNR_OK);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 201), Bytes(200, 2) + Bytes{0xEE});
    EXPECT_EQ(Bytes(out.begin() + 500, out.begin() + 601), (Bytes(99, 3) + Bytes{0, 0xEE})) << "zeros where none came";
    out.fill(0xEE);
    answer({0x50, 0x01}, {7, 8});
    EXPECT_EQ(tf_read(icdev, 0, out.data()), VNR_OK);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 513), (Bytes{7, 8} + Bytes(510, 0) + Bytes{0xEE}));
    const std::pair<Bytes, double> bends[] = {
        {{0x00, 0x12, 0x34, 0x56}, 1193046.0}, {{0x01, 0x00, 0x00, 0x00}, 4294901760.0}, {{0xFF, 0xFF, 0xFF, 0xFF, 9}, 65535.0}};
    for (const auto& [reply, value] : bends) {
        answer({0x50, 0x00}, reply);
        EXPECT_EQ(tf_bend(icdev, &bend), VNR_OK);
        EXPECT_EQ(bend, value);
    }
    answer({0x50, 0x00}, {1, 2, 3});
    EXPECT_EQ(tf_bend(icdev, &bend), VNR_E_END_BYTE);
    EXPECT_EQ(bend, 65535.0);
}

struct Refusal {
    std::function<int16_t(int32_t)> call;
    int16_t status;
    const char* line;  // none when null
};

// Handle first or argument first, as each function has it; -33 where the exchange is the only check.
const Refusal kRefusals[] = {
    {[](int32_t) { return device_reset(0, 2); }, VNR_E_BAD_HANDLE, "==>device_reset(), 句柄无效 "},
    {[](int32_t h) { return device_reset(h, 2); }, VNR_E_BAD_ARGUMENT, "==>device_reset(), module参数不合法 "},
    {[](int32_t) { return device_setbaud(-1, 2, 9600); }, VNR_E_BAD_HANDLE, "==>device_setbaud(), 句柄无效 "},
    {[](int32_t h) { return device_setbaud(h, 2, 9600); }, VNR_E_BAD_ARGUMENT, "==>device_setbaud(), module参数不合法！ "},
    {[](int32_t) { return dev_ledcontrol(0, kBadLights); }, VNR_E_BAD_HANDLE, "==>dev_ledcontrol()，句柄无效 "},
    {[](int32_t h) { return dev_ledcontrol(h, kBadLights); }, VNR_E_BAD_ARGUMENT, "==>dev_ledcontrol(), ledparam参数不合法 "},
    {[](int32_t) { return dev_writesnr(0, 21, kAb); }, VNR_E_BAD_ARGUMENT, "==>dev_writesnr(), 序列号长度不合法。"},
    {[](int32_t) { return dev_writesnr(0, 2, kAb); }, VNR_E_BAD_HANDLE, "==>dev_writesnr(), 句柄无效。"},
    {[](int32_t) { return get_device_status(0, out.data()); }, VNR_E_HANDLE_EXCHANGE, nullptr},
    {[](int32_t) { return send_com_bound(0, 3, 19200); }, VNR_E_BAD_HANDLE, "==>send_com_bound(), 句柄无效 "},
    {[](int32_t h) { return send_com_bound(h, 3, 19200); }, VNR_E_GENERAL, nullptr},
    {[](int32_t h) { return send_com_bound(h, 3, 9600); }, VNR_E_CHANNEL, nullptr},
    {[](int32_t h) { return send_com1(h, 598, out.data()); }, VNR_E_BAD_ARGUMENT, "==>send_com1(), length参数不合法 "},
    {[](int32_t h) { return tf_write(h, 0, 595, out.data()); }, VNR_E_BAD_ARGUMENT, "==>tf_write(), length参数不合法 "},
    {[](int32_t) { return Dev_GetEMID(0, &length, out.data()); }, VNR_E_HANDLE_EXCHANGE, "==> Dev_GetEMID 获取EMID号"},
    {[](int32_t) { return magnetic_read(0, 1, out.data()); }, VNR_E_BAD_HANDLE, "------magnetic_read -------!!!"},
    {[](int32_t) { return set_magnetic_mode(0, 0x41); }, VNR_E_HANDLE_EXCHANGE, nullptr},
    {[](int32_t) { return set_magnetic_mode(0, 2); }, VNR_E_BAD_ARGUMENT, nullptr},
    {[](int32_t) { return dev_readeeprom(0, 1, 200, out.data()); }, VNR_E_BAD_ARGUMENT, "==>dev_readeeprom(), nAddr参数不合法。"},
    {[](int32_t) { return dev_readeeprom(0, 0, 200, out.data()); }, VNR_E_BAD_HANDLE, "==>dev_readeeprom(), 句柄无效。"},
    {[](int32_t) { return dev_writeeeprom(0, 201, 1, out.data()); }, VNR_E_BAD_ARGUMENT, "==>dev_writeeeprom(), nAddr参数不合法。"},
    {[](int32_t) { return dev_writeeeprom(0, 200, 2, out.data()); }, VNR_E_BAD_HANDLE, "==>dev_writeeeprom(), 句柄无效。"},
    {[](int32_t) { return mw_kb_downloadmainkey(0, 2, 256, "00"); }, VNR_E_BAD_ARGUMENT, "==>mw_kb_downloadmainkey()，destype参数无效. "},
    {[](int32_t) { return mw_kb_downloadmainkey(0, 0, 1, "0011223344556677"); }, VNR_E_BAD_HANDLE, "==>pwdkb_load_mainkey()，句柄无效 "},
    {[](int32_t h) { return mw_kb_downloadmainkey(h, 0, 1, "00112233445566"); }, VNR_E_BAD_ARGUMENT, "==>mw_kb_downloadmainkey()，key参数无效. "},
    {[](int32_t) { return mw_kb_downloaduserkey(0, 0, 0, 256, "00"); }, VNR_E_BAD_ARGUMENT,
     "==>mw_kb_downloaduserkey()，mainkeyno userkeyno参数无效. "},
    {[](int32_t) { return mw_kb_settimeout(0, 5); }, VNR_E_BAD_ARGUMENT, "==>mw_kb_settimeout()，超时时间错误. "},
    {[](int32_t) { return mw_kb_settimeout(0, 6); }, VNR_E_BAD_HANDLE, "==>pwdkb_settimeout()，句柄无效. "},
    {[](int32_t) { return mw_kb_setpasslen(0, 0x100); }, VNR_E_BAD_ARGUMENT, "==>pwdkb_setpwdlen()，密码长度不合法。 "},
    {[](int32_t h) { return mw_kb_getpin(h, 3, out.data()); }, VNR_E_BAD_ARGUMENT, nullptr},
    {[](int32_t h) { return mw_kb_getenpin(h, 0, "112233445566", text_out); }, VNR_E_BAD_ARGUMENT, nullptr},
    {[](int32_t h) { return mw_kb_getenpin(h, 1, "1122334455", text_out); }, VNR_E_BAD_ARGUMENT, "==>mw_kb_getenpin()，blockdata参数无效. "},
    {[](int32_t h) { return mw_kb_activekey(h, 256, 0); }, VNR_E_BAD_ARGUMENT, nullptr},
};

TEST_F(Commands, RefusalsComeInTheirOrderAndSendNothing) {
    for (const Refusal& r : kRefusals) {
        SCOPED_TRACE(r.line == nullptr ? "(no line)" : r.line);
        EXPECT_EQ(r.call(icdev), r.status);
        if (r.line != nullptr) expect_logged({r.line});
    }
    EXPECT_TRUE(sent().empty());
}

}  // namespace
