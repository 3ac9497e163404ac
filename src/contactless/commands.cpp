// src/contactless/commands.cpp: contactless. The one-command functions of the family as rows: the RF
// field, activation of a memory card and a tag, halt, the Mifare block and value commands, the tag page
// commands, the NTAG215 password and fast read, and the peer-to-peer transfer. Their exports are one
// line each, at the end.
#include "contactless/commands.h"

#include "contactless/reply.h"
#include "core/boundary.h"
#include "core/command.h"
#include "vnr_32.h"

#include <algorithm>
#include <cstring>

namespace vnr::contactless {

using core::Args;
using core::at_most;
using core::be16;
using core::be32;
using core::byte;
using core::bytes;
using core::Command;
using core::fixed_bytes;
using core::handle;
using core::holds;
using core::in_range;
using core::one_of;

namespace {

// ---- The RF field, activation and halt -------------------------------------------------------------

std::optional<std::uint32_t> memory_card_wait_of(const Args& args) {
    return memory_card_wait(static_cast<std::uint16_t>(args.number[0]));
}

bool card_type_and_id_given(const Args& args) { return args.out[0] != nullptr && args.out[1] != nullptr; }
bool id_given(const Args& args) { return args.out[0] != nullptr; }

// rf_card: the card type byte to out 0, the 4-byte serial number to out 1, in the reader's order.
std::int16_t take_serial(core::Bytes data, core::Bytes, const Args& args) {
    const auto reply = parse_serial(data, kSerialSize);
    if (!reply) return VNR_E_END_BYTE;
    *static_cast<std::uint8_t*>(args.out[0]) = reply->card_type;
    std::copy(reply->id.begin(), reply->id.end(), static_cast<std::uint8_t*>(args.out[1]));
    return VNR_OK;
}

// Tag activation: the 7 bytes behind the card type byte to out 0, as they came or reversed.
std::int16_t take_tag_id(core::Bytes data, const Args& args, bool reversed) {
    const auto reply = parse_serial(data, kTagIdSize);
    if (!reply) return VNR_E_END_BYTE;
    auto* uid = static_cast<std::uint8_t*>(args.out[0]);
    if (reversed) std::reverse_copy(reply->id.begin(), reply->id.end(), uid);
    else std::copy(reply->id.begin(), reply->id.end(), uid);
    return VNR_OK;
}
std::int16_t take_tag_id_in_order(core::Bytes data, core::Bytes, const Args& args) { return take_tag_id(data, args, false); }
std::int16_t take_tag_id_reversed(core::Bytes data, core::Bytes, const Args& args) { return take_tag_id(data, args, true); }

constexpr Command kOpenRf{
    .name = "open_rf",
    .entry = "---open_rf 打开射频---",
    .checks = {handle("==>open_rf(), 句柄无效 ")},
    .fields = {0x32, 0x28},
    .result = {.line = "==>open_rf(), return: %d "},
};

constexpr Command kCloseRf{
    .name = "close_rf",
    .entry = "---close_rf 关闭射频---",
    .checks = {handle("==>close_rf(), 句柄无效 ")},
    .fields = {0x32, 0x29},
    .result = {.line = "==>close_rf(), return: %d "},
};

// {icdev, {delaytime}, {}, {cardtype, uid}}
constexpr Command kRfCard{
    .name = "rf_card",
    .entry = "---rf_card 激活非接触式存储卡--",
    .checks = {handle("==>rf_card(), 句柄无效 "), holds(card_type_and_id_given, "==>rf_card(), 缓冲区参数为空 ")},
    .fields = {0x32, 0x41, be16(0)},
    .room = kActivationReplyRoom,
    .wait = core::wait_by(memory_card_wait_of),
    .take = core::take_by(take_serial),
    .result = {.line = "==>rf_card(), return: %d "},
};

// {icdev, {delaytime}}
constexpr Command kRfHalt{
    .name = "rf_halt",
    .entry = "---rf_halt 设置非接触式卡片为halt状态---",
    .checks = {handle("==>rf_halt(), 句柄无效 ")},
    .fields = {0x32, 0x25, be16(0)},
    .wait = core::wait_by(memory_card_wait_of),
    .result = {.line = "==>rf_halt(), return: %d "},
};

// ---- Mifare blocks and values ------------------------------------------------------------------------

constexpr std::int64_t kLastSector = 16;
constexpr std::int64_t kLastBlock = 64;
constexpr std::size_t kKeySize = 6;
constexpr std::size_t kBlockSize = 16;

// {icdev, {mode, addr}, {key}}: the command carries addr ahead of mode.
constexpr Command kRfAuthentication{
    .name = "rf_authentication",
    .entry = "---rf_authentication 非接触式存储卡认证扇区--",
    .checks = {handle("==>rf_authentication(), 句柄无效 "),
               at_most(1, kLastSector, "==>rf_authentication(), addr参数不合法 "),
               one_of(0, {0, 1}, "==>rf_authentication(), mode不合法 ")},
    .fields = {0x32, 0x42, byte(1), byte(0), fixed_bytes(0, kKeySize)},
    .result = {.line = "==>rf_authentication(), return: %d "},
};

// {icdev, {addr}, {data}}
constexpr Command kRfWrite{
    .name = "rf_write",
    .entry = "---rf_write 非接触式存储卡写块--",
    .checks = {handle("==>rf_write(), 句柄无效 "), at_most(0, kLastBlock, "==>rf_write(),addr参数不合法  ")},
    .fields = {0x32, 0x44, byte(0), fixed_bytes(0, kBlockSize)},
    .result = {.line = "==>rf_write(), return: %d "},
};

// {icdev, {addr, value}}
constexpr Command kRfInitval{
    .name = "rf_initval",
    .entry = "---rf_initval 非接触式存储卡写值块--",
    .checks = {handle("==>rf_initval(), 句柄无效 "), at_most(0, kLastBlock, "==>rf_initval(),addr参数不合法  ")},
    .fields = {0x32, 0x46, byte(0), be32(1)},
    .result = {.line = "==>rf_initval(), return: %d "},
};

// {icdev, {addr}}
constexpr Command kRfTransfer{
    .name = "rf_transfer",
    .entry = "---rf_transfer 非接触式存储卡传送----",
    .checks = {handle("==>rf_transfer(), 句柄无效 ")},
    .fields = {0x32, 0x49, byte(0)},
    .room = 60,
    .result = {.line = "==>rf_transfer(), return: %d "},
};

// The value after the change must fit in 32 bits: current + amount at most 0xFFFFFFFF, and for a
// decrement current at least amount. The numbers come as unsigned 32-bit values widened to 64 bits.
bool increment_fits(const Args& args) { return args.number[2] <= 0xFFFFFFFFLL - args.number[1]; }
bool decrement_fits(const Args& args) { return args.number[2] >= args.number[1]; }

// ---- Ultralight-class and NTAG215 tags, P2P ---------------------------------------------------------

constexpr std::int64_t kLongestTagKey = 197;  // what the authentication command has room for
constexpr std::size_t kPageSize = 4;
constexpr std::size_t kNtagKeySize = 4;
constexpr std::int64_t kLongestP2pData = 1019;

// {icdev, {reserved}, {}, {uid}}
constexpr Command kMfOpenCard{
    .name = "MF_OpenCard",
    .entry = "-----MF_OpenCard()----- ",
    .checks = {handle("==>MF_OpenCard(), 句柄无效 "), holds(id_given, "==>MF_OpenCard(), 缓冲区参数为空 ")},
    .fields = {0x32, 0x41, 0x00, 0x00},
    .room = kActivationReplyRoom,
    .wait = core::wait_ms(kTagActivationWaitMs),
    .take = core::take_by(take_tag_id_in_order),
    .result = {.line = "==>MF_OpenCard(), 状态码：%d "},
};

// {icdev, {}, {}, {uid}}
constexpr Command kNtagOpenCard{
    .name = "NTAG215_OpenCard",
    .entry = "-----NTAG215_OpenCard()----- ",
    .checks = {handle("==>NTAG215_OpenCard(), 句柄无效 "), holds(id_given, "==>NTAG215_OpenCard(), 缓冲区参数为空 ")},
    .fields = {0x32, 0x41, 0x00, 0x00},
    .room = kActivationReplyRoom,
    .wait = core::wait_ms(kTagActivationWaitMs),
    .take = core::take_by(take_tag_id_reversed),
    .result = {.line = "==>NTAG215_OpenCard(), 状态码：%d "},
};

// {icdev, {keylen}, {key}}
constexpr Command kMfAuthentication{
    .name = "MF_Authentication",
    .entry = "-----MF_Authentication()----- ",
    .checks = {handle("==>MF_Authentication(), 句柄无效 "),
               at_most(0, kLongestTagKey, "==>MF_Authentication(), keylen参数不合法 ")},
    .fields = {0x32, 0x4D, byte(0), bytes(0, 0)},
    .result = {.line = "==>MF_Authentication(), 状态码：%d "},
};

// {icdev, {addr}, {}, {out}}
constexpr Command kMfRead{
    .name = "MF_Read",
    .entry = "-----MF_Read()----- ",
    .checks = {handle("==>MF_Read(), 句柄无效 ")},
    .fields = {0x32, 0x43, byte(0)},
    .room = kPageReadRoom,
    .take = core::all_data(0),
    .result = {.line = "==>MF_Read(), 状态码：%d "},
};

constexpr Command kNtagRead{
    .name = "NTAG215_Read",
    .entry = "-----NTAG215_Read()----- ",
    .checks = {handle("==>NTAG215_Read(), 句柄无效 ")},
    .fields = {0x32, 0x43, byte(0)},
    .room = kPageReadRoom,
    .take = core::all_data(0),
    .result = {.line = "==>NTAG215_Read(), 状态码：%d "},
};

// {icdev, {addr}, {data}}
constexpr Command kMfWrite{
    .name = "MF_Write_4bytes",
    .entry = "-----MF_Write_4bytes()----- ",
    .checks = {handle("==>MF_Write_4bytes(), 句柄无效 ")},
    .fields = {0x32, 0x4C, byte(0), fixed_bytes(0, kPageSize)},
    .result = {.line = "==>MF_Write_4bytes(), 状态码：%d "},
};

constexpr Command kNtagAuthentication{
    .name = "NTAG215_Authentication",
    .entry = "-----NTAG215_Authentication()----- ",
    .checks = {handle("==>NTAG215_Authentication(), 句柄无效 "),
               in_range(0, kNtagKeySize, kNtagKeySize, "==>NTAG215_Authentication(), KeyLength参数不合法 ",
                        VNR_E_GENERAL)},
    .fields = {0xC1, 0x4F, fixed_bytes(0, kNtagKeySize)},
    .result = {.line = "==>NTAG215_Authentication(), 状态码：%d "},
};

// {icdev, {type, len}, {data}}: no handle check of its own; the exchange refuses a bad one (-33).
constexpr Command kNfcP2p{
    .name = "NFC_P2P",
    .entry = "==> NFC_P2P 传输",
    .checks = {at_most(1, kLongestP2pData, "==> NFC_P2P 传输! return:-37 ")},
    .fields = {0x70, 0x00, byte(0), be16(1), bytes(0, 1)},
    .room = 2000,
    .result = {.line = "==> NFC_P2P 传输! return:%d "},
};

}  // namespace

constexpr Command kNtagWrite{
    .name = "NTAG215_Write_4bytes",
    .entry = "-----NTAG215_Write_4bytes()----- ",
    .checks = {handle("==>NTAG215_Write_4bytes(), 句柄无效 ")},
    .fields = {0xC1, 0x4C, byte(0), fixed_bytes(0, kPageSize)},
    .result = {.line = "==>NTAG215_Write_4bytes(), 状态码：%d "},
};

// {icdev, {KeyLength}, {key}}: a KeyLength other than 4 gives VNR_E_GENERAL.
constexpr Command kNtagFastRead{
    .name = "NTAG215_FastRead",
    .entry = "-----NTAG215_FastRead()----- ",
    .checks = {handle("==>NTAG215_FastRead(), 句柄无效 ")},
    .fields = {0xC1, 0x50, byte(0), byte(1)},
    .room = kFastReadRoom,
    .take = core::all_data(0),
    .result = {.line = "==>NTAG215_FastRead(), 状态码：%d "},
};


// {icdev, {addr, amount, current}}: the handle and addr were checked by rf_readval.
constexpr Command kValueIncrement{
    .name = "rf_increment",
    .entry = "---rf_increment 非接触式存储卡加值----",
    .checks = {holds(increment_fits, "==>rf_increment(), ulCurValue参数不合法 ")},
    .fields = {0x32, 0x47, byte(0), be32(1)},
    .result = {.line = "==>rf_increment(), return: %d "},
};

constexpr Command kValueDecrement{
    .name = "rf_decrement",
    .entry = "---rf_decrement 非接触式存储卡减值----",
    .checks = {holds(decrement_fits, "==>rf_decrement(), ulCurValue参数不合法 ")},
    .fields = {0x32, 0x48, byte(0), be32(1)},
    .result = {.line = "==>rf_decrement(), return: %d "},
};

}  // namespace vnr::contactless

using vnr::core::guarded;
using vnr::core::run;
namespace cl = vnr::contactless;

extern "C" {

VNR_API int16_t VNR_CALL open_rf(int32_t icdev) {
    return guarded<int16_t>([&] { return run(cl::kOpenRf, {icdev}); });
}

VNR_API int16_t VNR_CALL close_rf(int32_t icdev) {
    return guarded<int16_t>([&] { return run(cl::kCloseRf, {icdev}); });
}

VNR_API int16_t VNR_CALL rf_card(int32_t icdev, uint16_t delaytime, uint8_t* cardtype, uint8_t* uid) {
    return guarded<int16_t>([&] { return run(cl::kRfCard, {icdev, {delaytime}, {}, {cardtype, uid}}); });
}

VNR_API int16_t VNR_CALL rf_halt(int32_t icdev, uint16_t delaytime) {
    return guarded<int16_t>([&] { return run(cl::kRfHalt, {icdev, {delaytime}}); });
}

VNR_API int16_t VNR_CALL rf_authentication(int32_t icdev, uint8_t mode, uint8_t addr, const uint8_t* key) {
    return guarded<int16_t>([&] { return run(cl::kRfAuthentication, {icdev, {mode, addr}, {key}}); });
}

VNR_API int16_t VNR_CALL rf_write(int32_t icdev, uint8_t addr, const uint8_t* data) {
    return guarded<int16_t>([&] { return run(cl::kRfWrite, {icdev, {addr}, {data}}); });
}

VNR_API int16_t VNR_CALL rf_initval(int32_t icdev, uint8_t addr, uint32_t value) {
    return guarded<int16_t>([&] { return run(cl::kRfInitval, {icdev, {addr, value}}); });
}

VNR_API int16_t VNR_CALL rf_transfer(int32_t icdev, uint8_t addr) {
    return guarded<int16_t>([&] { return run(cl::kRfTransfer, {icdev, {addr}}); });
}

VNR_API int16_t VNR_CALL MF_OpenCard(int32_t icdev, uint8_t reserved, uint8_t* uid) {
    return guarded<int16_t>([&] { return run(cl::kMfOpenCard, {icdev, {reserved}, {}, {uid}}); });
}

VNR_API int16_t VNR_CALL MF_Authentication(int32_t icdev, const uint8_t* key, uint8_t keylen) {
    return guarded<int16_t>([&] { return run(cl::kMfAuthentication, {icdev, {keylen}, {key}}); });
}

VNR_API int16_t VNR_CALL MF_Read(int32_t icdev, uint8_t addr, uint8_t* out) {
    return guarded<int16_t>([&] { return run(cl::kMfRead, {icdev, {addr}, {}, {out}}); });
}

VNR_API int16_t VNR_CALL MF_Write_4bytes(int32_t icdev, uint8_t addr, const uint8_t* data) {
    return guarded<int16_t>([&] { return run(cl::kMfWrite, {icdev, {addr}, {data}}); });
}

VNR_API int16_t VNR_CALL NTAG215_OpenCard(int32_t icdev, uint8_t* uid) {
    return guarded<int16_t>([&] { return run(cl::kNtagOpenCard, {icdev, {}, {}, {uid}}); });
}

VNR_API int16_t VNR_CALL NTAG215_Authentication(int32_t icdev, const uint8_t* key, uint8_t KeyLength) {
    return guarded<int16_t>([&] { return run(cl::kNtagAuthentication, {icdev, {KeyLength}, {key}}); });
}

VNR_API int16_t VNR_CALL NTAG215_Read(int32_t icdev, uint8_t addr, uint8_t* out) {
    return guarded<int16_t>([&] { return run(cl::kNtagRead, {icdev, {addr}, {}, {out}}); });
}

VNR_API int16_t VNR_CALL NTAG215_Write_4bytes(int32_t icdev, uint8_t addr, const uint8_t* data) {
    return guarded<int16_t>([&] { return run(cl::kNtagWrite, {icdev, {addr}, {data}}); });
}

VNR_API int16_t VNR_CALL NFC_P2P(int32_t icdev, uint8_t type, uint16_t len, const uint8_t* data) {
    return guarded<int16_t>([&] { return run(cl::kNfcP2p, {icdev, {type, len}, {data}}); });
}

}  // extern "C"
