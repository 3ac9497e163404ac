// src/reader/commands.cpp: reader. The reader's own one-command functions as rows: reset, baud rate,
// sound and lights, the serial number, the one-byte status queries, the auxiliary ports, the
// fingerprint query, the block store and the EMID number. Each export is one line into the runner.
#include "reader/commands.h"

#include "core/boundary.h"
#include "core/command.h"
#include "vnr_32.h"

#include <cstring>

namespace vnr::reader {

namespace {

using core::Args;
using core::Bytes;
using core::CommandBytes;
using core::Command;
using core::LengthOut;
using core::at_most;
using core::byte;
using core::bytes;
using core::custom;
using core::fixed_bytes;
using core::handle;
using core::holds;
using core::in_range;

constexpr std::size_t kUsualRoom = 300;         // the reply room of most of the reader's commands
constexpr std::size_t kSerialNumberRoom = 300;  // device_readsnr hands over `length` bytes of it
constexpr std::uint8_t kLastModule = 1;         // 0 the reader, 1 its contactless module
constexpr std::uint8_t kLastLedState = 2;       // dev_ledcontrol: each light 0, 1 or 2
constexpr std::size_t kLedCount = 4;
constexpr std::int64_t kLongestSerialNumber = 20;
// The auxiliary ports' and the block store's commands are built in 600 bytes: three head bytes leave
// 597 for the data, the store's head of six leaves 594.
constexpr std::int64_t kLongestPortData = 597;
constexpr std::int64_t kLongestStoreData = 594;
constexpr std::size_t kStoreReadRoom = 1000;
constexpr std::int64_t kStoreBlock = 512;       // what tf_read hands over, whatever the reader sent
constexpr std::size_t kFingerRoom = 800;
constexpr std::uint32_t kFingerWaitMs = 9000;
constexpr std::size_t kFingerFirstAt = 30, kFingerFirstSize = 200;
constexpr std::size_t kFingerSecondAt = 230, kFingerSecondSize = 100;
constexpr std::size_t kEmidRoom = 100;
constexpr std::uint32_t kEmidWaitMs = 5000;

// ---- Identity and indicators ------------------------------------------------------------------

// number 0: module, 1: baud
void write_baud_code(const Args& args, CommandBytes& out) { out.push(baud_code(static_cast<std::int32_t>(args.number[1]))); }

constexpr Command kSetBaud{
    .name = "device_setbaud",
    .checks = {handle("==>device_setbaud(), 句柄无效 "), at_most(0, kLastModule, "==>device_setbaud(), module参数不合法！ ")},
    .fields = {0x30, 0x01, byte(0), custom(write_baud_code)},
    .result = {.line = "==>device_setbaud(), return: %d. "},
};

constexpr Command kReset{
    .name = "device_reset",
    .entry = "---device_reset 读写器软复位---",
    .checks = {handle("==>device_reset(), 句柄无效 "), at_most(0, kLastModule, "==>device_reset(), module参数不合法 ")},
    .fields = {0x31, 0x12, byte(0)},
    .result = {.line = "==>device_reset(), return:%d "},
};

// number 0: first (16 bits), 1: second
constexpr Command kBeep{
    .name = "device_beep",
    .entry = "---device_beep 读写器蜂鸣器控制---",
    .checks = {handle("==>device_beep(), 句柄无效 ")},
    .fields = {0x31, 0x13, core::be16(0), byte(1)},
    .result = {.failed = "==> 读写器蜂鸣器控制错误! 错误码:%d ", .done = "==> 读写器蜂鸣器控制成功! "},
};

constexpr Command kLedControl{
    .name = "device_ledctrl",
    .entry = "---device_ledctrl 读写器指示灯控制---",
    .checks = {handle("==>device_ledctrl(), 句柄无效 ")},
    .fields = {0x31, 0x14, byte(0)},
    .result = {.line = "==>device_ledctrl(), return: %d "},
};

constexpr Command kColorLed{
    .name = "color_ledcontrol",
    .entry = "-----color_ledcontrol()----- ",
    .checks = {handle("==>color_ledcontrol(), 句柄无效 ")},
    .fields = {0x31, 0x15, byte(0), byte(1), byte(2)},
    .result = {.line = "==>color_ledcontrol(), 状态码：%d。 "},
};

// in 0: the four light states; a missing one is a bad ledparam too.
bool lights_valid(const Args& args) {
    const auto* lights = static_cast<const std::uint8_t*>(args.in[0]);
    if (lights == nullptr) return false;
    for (std::size_t i = 0; i < kLedCount; ++i)
        if (lights[i] > kLastLedState) return false;
    return true;
}

constexpr Command kDevLed{
    .name = "dev_ledcontrol",
    .entry = "-----dev_ledcontrol()----- ",
    .checks = {handle("==>dev_ledcontrol()，句柄无效 "), holds(lights_valid, "==>dev_ledcontrol(), ledparam参数不合法 ")},
    .fields = {0x32, 0x66, fixed_bytes(0, kLedCount)},
    .result = {.line = "==>dev_ledcontrol(), 状态码：%d "},
};

// number 0: length; out 0: the serial number
constexpr Command kReadSerial{
    .name = "device_readsnr",
    .entry = "---device_readsnr 读产品序列号---",
    .checks = {handle("==>device_readsnr(), 句柄无效 ")},
    .fields = {0xC0, 0x09, byte(0)},
    .room = kSerialNumberRoom,
    .take = core::head(0, 0),
    .result = {.line = "==>device_readsnr(), return: %d "},
};

// number 0: length; in 0: the serial number
constexpr Command kWriteSerial{
    .name = "device_writesnr",
    .entry = "---device_writesnr 写产品序列号---",
    .checks = {handle("==>device_writesnr(), 句柄无效 ")},
    .fields = {0xC0, 0x08, byte(0), bytes(0, 0)},
    .result = {.line = "==>device_writesnr(), return: %d "},
};

// The second form of the same command: a two-byte count of 20 and 20 bytes, the number zero-filled.
constexpr Command kWriteSerialPadded{
    .name = "dev_writesnr",
    .entry = "-----dev_writesnr()----- ",
    .checks = {in_range(0, 1, kLongestSerialNumber, "==>dev_writesnr(), 序列号长度不合法。"),
               handle("==>dev_writesnr(), 句柄无效。")},
    .fields = {0xC0, 0x08, 0x00, 0x14, core::padded(0, 0, kLongestSerialNumber)},
    .result = {.line = "==>dev_writesnr(), 状态码：%d。 "},
};

// ---- Status queries: the first byte of the reply to out 0 ----------------------------------------

// The first three leave the handle to the exchange (VNR_E_HANDLE_EXCHANGE).
constexpr Command status_query(const char* name, std::uint8_t group, std::uint8_t code, const char* entry,
                               const char* bad_handle, const char* result) {
    Command row{.name = name, .entry = entry, .fields = {group, code}, .room = kUsualRoom, .take = core::first_byte(0),
                .result = {.line = result}};
    if (bad_handle != nullptr) row.checks = {handle(bad_handle)};
    return row;
}

constexpr Command kDeviceStatus = status_query("get_device_status", 0x30, 0x07, "-----get_device_status()----- ", nullptr,
                                               "==>get_device_status(), 状态码：%d。 ");
constexpr Command kDeviceStatusEx = status_query("get_device_statusEx", 0x30, 0x08, "-----get_device_statusEx()----- ",
                                                 nullptr, "==>get_device_statusEx(), 状态码：%d。 ");
constexpr Command kCardState = status_query("dev_cardstate", 0x30, 0x09, "-----dev_cardstate()----- ", nullptr,
                                            "==>dev_cardstate(), 状态码：%d。 ");
constexpr Command kContactStatus = status_query("ICC_GetStatus", 0x40, 0x00, "-----ICC_GetStatus()----- ",
                                                "==>ICC_GetStatus(), 句柄无效 ", "==>ICC_GetStatus(), 状态码：%d。 ");
constexpr Command kTypeAStatus = status_query("PICCA_GetStatus", 0x40, 0x01, "-----PICCA_GetStatus()----- ",
                                              "==>PICCA_GetStatus(), 句柄无效 ", "==>PICCA_GetStatus(), 状态码：%d。 ");
constexpr Command kTypeBStatus = status_query("PICCB_GetStatus", 0x40, 0x02, "-----PICCB_GetStatus()----- ",
                                              "==>PICCB_GetStatus(), 句柄无效 ", "==>PICCB_GetStatus(), 状态码：%d ");

// The reply's data stay in the room: only the status reaches the caller.
constexpr Command kQuantity{
    .name = "get_quant_ele",
    .entry = "-----get_quant_ele()----- ",
    .checks = {handle("==>get_quant_ele(), 句柄无效 ")},
    .fields = {0xC0, 0x0C},
    .room = kUsualRoom,
    .result = {.line = "==>get_quant_ele(), 状态码：%d。 "},
};

// ---- Side channels ------------------------------------------------------------------------------

// number 0: length; in 0: the bytes for the port
constexpr Command port_write(const char* name, std::uint8_t code, const char* entry, const char* bad_handle,
                             const char* bad_length, const char* result) {
    return {.name = name,
            .entry = entry,
            .checks = {handle(bad_handle), at_most(0, kLongestPortData, bad_length)},
            .fields = {0x60, code, 0x00, bytes(0, 0)},
            .room = kUsualRoom,
            .result = {.line = result}};
}

constexpr Command kPort1 = port_write("send_com1", 0xC3, "-----send_com1()----- ", "==>send_com1(), 句柄无效 ",
                                      "==>send_com1(), length参数不合法 ", "==>send_com1(), 状态码：%d. ");
constexpr Command kPort2 = port_write("send_com2", 0xC4, "-----send_com2()----- ", "==>send_com2(), 句柄无效 ",
                                      "==>send_com2(), length参数不合法 ", "==>send_com2(), 状态码：%d. ");

// number 0: channel, 1: baud
bool rate_known(const Args& args) { return port_rate_code(static_cast<std::int32_t>(args.number[1])) >= 0; }

// One byte for each of the channels 0, 1 and 2: the chosen one holds the rate's code, the others 0.
void write_port_rates(const Args& args, CommandBytes& out) {
    const auto code = static_cast<std::uint8_t>(port_rate_code(static_cast<std::int32_t>(args.number[1])));
    for (std::int64_t channel = 0; channel < 3; ++channel) out.push(channel == args.number[0] ? code : 0);
}

constexpr Command kPortRate{
    .name = "send_com_bound",
    .entry = "-----send_com_bound()----- ",
    .checks = {handle("==>send_com_bound(), 句柄无效 "), holds(rate_known, nullptr, VNR_E_GENERAL),
               in_range(0, 0, 2, nullptr, VNR_E_CHANNEL)},
    .fields = {0x60, 0xC5, 0x00, custom(write_port_rates)},
    .room = kUsualRoom,
    .result = {.line = "==>send_com_bound(), 状态码：%d. "},
};

void write_finger_text(const Args&, CommandBytes& out) {
    for (const char c : std::string_view(kFingerText)) out.push(static_cast<std::uint8_t>(c));
}

// out 0: 200 bytes, out 1: 100 bytes
bool finger_buffers_given(const Args& args) { return args.out[0] != nullptr && args.out[1] != nullptr; }

// Two fixed stretches of the room, whatever the reader sent (zeros where nothing came).
std::int16_t take_finger(Bytes, Bytes room, const Args& args) {
    std::memcpy(args.out[0], room.data() + kFingerFirstAt, kFingerFirstSize);
    std::memcpy(args.out[1], room.data() + kFingerSecondAt, kFingerSecondSize);
    return VNR_OK;
}

constexpr Command kFinger{
    .name = "get_finger",
    .entry = "-----get_finger()----- ",
    .checks = {handle("==>get_finger(), 句柄无效 "), holds(finger_buffers_given, "==>get_finger(), 缓冲区参数为空 ")},
    .fields = {0x60, 0xC2, 0x87, custom(write_finger_text)},
    .room = kFingerRoom,
    .wait = core::wait_ms(kFingerWaitMs),
    .take = core::take_by(take_finger),
    .result = {.line = "==>get_finger(), 状态码：%d。 "},
};

// number 0: address
void write_store_address(const Args& args, CommandBytes& out) {
    for (const std::uint8_t b : store_address(static_cast<std::int32_t>(args.number[0]))) out.push(b);
}

// number 0: address, 1: the block's size; out 0: the block
constexpr Command kStoreRead{
    .name = "tf_read",
    .entry = "-----tf_read()----- ",
    .checks = {handle("==>tf_read(), 句柄无效 ")},
    .fields = {0x50, 0x01, custom(write_store_address)},
    .room = kStoreReadRoom,
    .take = core::head(0, 1),
    .result = {.line = "==>tf_read(), 状态码：%d。 "},
};

// number 0: address, 1: length; in 0: the bytes
constexpr Command kStoreWrite{
    .name = "tf_write",
    .entry = "-----tf_write()----- ",
    .checks = {handle("==>tf_write(), 句柄无效 "), at_most(1, kLongestStoreData, "==>tf_write(), length参数不合法 ")},
    .fields = {0x50, 0x02, custom(write_store_address), bytes(0, 1)},
    .room = kUsualRoom,
    .result = {.line = "==>tf_write(), 状态码：%d。 "},
};

// out 0: the id (100 bytes), out 1: its length; the handle is left to the exchange.
constexpr Command kEmid{
    .name = "Dev_GetEMID",
    .entry = "==> Dev_GetEMID 获取EMID号",
    .fields = {0x32, 0x53},
    .room = kEmidRoom,
    .wait = core::wait_ms(kEmidWaitMs),
    .take = core::all_data(0, LengthOut::u8, 1),
    .result = {.failed = "==> Dev_GetEMID() 获取EMID号失败! 状态码:%d ", .done = "==> Dev_GetEMID() 获取EMID号成功"},
};

}  // namespace

}  // namespace vnr::reader

using vnr::core::guarded;
using vnr::core::run;
namespace rd = vnr::reader;

extern "C" {

VNR_API int16_t VNR_CALL device_setbaud(int32_t icdev, uint8_t module, int32_t baud) {
    return guarded<int16_t>([&] { return run(rd::kSetBaud, {icdev, {module, baud}}); });
}

VNR_API int16_t VNR_CALL device_reset(int32_t icdev, uint8_t module) {
    return guarded<int16_t>([&] { return run(rd::kReset, {icdev, {module}}); });
}

VNR_API int16_t VNR_CALL device_beep(int32_t icdev, uint16_t first, uint8_t second) {
    return guarded<int16_t>([&] { return run(rd::kBeep, {icdev, {first, second}}); });
}

VNR_API int16_t VNR_CALL device_ledctrl(int32_t icdev, uint8_t value) {
    return guarded<int16_t>([&] { return run(rd::kLedControl, {icdev, {value}}); });
}

VNR_API int16_t VNR_CALL color_ledcontrol(int32_t icdev, uint8_t first, uint8_t second, uint8_t third) {
    return guarded<int16_t>([&] { return run(rd::kColorLed, {icdev, {first, second, third}}); });
}

VNR_API int16_t VNR_CALL dev_ledcontrol(int32_t icdev, const uint8_t* ledparam) {
    return guarded<int16_t>([&] { return run(rd::kDevLed, {icdev, {}, {ledparam}}); });
}

VNR_API int16_t VNR_CALL device_readsnr(int32_t icdev, uint8_t length, uint8_t* snr) {
    return guarded<int16_t>([&] { return run(rd::kReadSerial, {icdev, {length}, {}, {snr}}); });
}

VNR_API int16_t VNR_CALL device_writesnr(int32_t icdev, uint8_t length, const uint8_t* snr) {
    return guarded<int16_t>([&] { return run(rd::kWriteSerial, {icdev, {length}, {snr}}); });
}

VNR_API int16_t VNR_CALL dev_writesnr(int32_t icdev, uint8_t length, const uint8_t* snr) {
    return guarded<int16_t>([&] { return run(rd::kWriteSerialPadded, {icdev, {length}, {snr}}); });
}

VNR_API int16_t VNR_CALL get_device_status(int32_t icdev, uint8_t* state) {
    return guarded<int16_t>([&] { return run(rd::kDeviceStatus, {icdev, {}, {}, {state}}); });
}

VNR_API int16_t VNR_CALL get_device_statusEx(int32_t icdev, uint8_t* state) {
    return guarded<int16_t>([&] { return run(rd::kDeviceStatusEx, {icdev, {}, {}, {state}}); });
}

VNR_API int16_t VNR_CALL dev_cardstate(int32_t icdev, uint8_t* state) {
    return guarded<int16_t>([&] { return run(rd::kCardState, {icdev, {}, {}, {state}}); });
}

VNR_API int16_t VNR_CALL ICC_GetStatus(int32_t icdev, uint8_t* state) {
    return guarded<int16_t>([&] { return run(rd::kContactStatus, {icdev, {}, {}, {state}}); });
}

VNR_API int16_t VNR_CALL PICCA_GetStatus(int32_t icdev, uint8_t* state) {
    return guarded<int16_t>([&] { return run(rd::kTypeAStatus, {icdev, {}, {}, {state}}); });
}

VNR_API int16_t VNR_CALL PICCB_GetStatus(int32_t icdev, uint8_t* state) {
    return guarded<int16_t>([&] { return run(rd::kTypeBStatus, {icdev, {}, {}, {state}}); });
}

VNR_API int16_t VNR_CALL get_quant_ele(int32_t icdev, uint8_t* /*value: not written*/) {
    return guarded<int16_t>([&] { return run(rd::kQuantity, {icdev}); });
}

VNR_API int16_t VNR_CALL send_com1(int32_t icdev, uint32_t length, const uint8_t* data) {
    return guarded<int16_t>([&] { return run(rd::kPort1, {icdev, {length}, {data}}); });
}

VNR_API int16_t VNR_CALL send_com2(int32_t icdev, uint32_t length, const uint8_t* data) {
    return guarded<int16_t>([&] { return run(rd::kPort2, {icdev, {length}, {data}}); });
}

VNR_API int16_t VNR_CALL send_com_bound(int32_t icdev, uint8_t channel, int32_t baud) {
    return guarded<int16_t>([&] { return run(rd::kPortRate, {icdev, {channel, baud}}); });
}

VNR_API int16_t VNR_CALL get_finger(int32_t icdev, uint8_t* first, uint8_t* second) {
    return guarded<int16_t>([&] { return run(rd::kFinger, {icdev, {}, {}, {first, second}}); });
}

VNR_API int16_t VNR_CALL tf_read(int32_t icdev, int32_t address, uint8_t* data) {
    return guarded<int16_t>([&] { return run(rd::kStoreRead, {icdev, {address, rd::kStoreBlock}, {}, {data}}); });
}

VNR_API int16_t VNR_CALL tf_write(int32_t icdev, int32_t address, uint32_t length, const uint8_t* data) {
    return guarded<int16_t>([&] { return run(rd::kStoreWrite, {icdev, {address, length}, {data}}); });
}

VNR_API int16_t VNR_CALL Dev_GetEMID(int32_t icdev, uint8_t* length, uint8_t* id) {
    return guarded<int16_t>([&] { return run(rd::kEmid, {icdev, {}, {}, {id, length}}); });
}

}  // extern "C"
