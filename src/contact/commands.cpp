// src/contact/commands.cpp: contact family. The one-command functions of the contact slots as rows:
// power up and down, the APDU pipe, the memory card type and passwords, and the AT88SC1604 commands but
// its read; with sam_slt_reset_baud, whose entry line shows its arguments, and contact_settype, which
// forgets the card's size before its checks.
#include "contact/commands.h"

#include "contact/memory_map.h"
#include "contact/state.h"
#include "core/boundary.h"
#include "core/command.h"
#include "core/wait.h"
#include "vnr_32.h"

#include <array>
#include <cstring>

namespace vnr::contact {

using core::Args;
using core::Call;
using core::Command;

namespace {

// ---- CPU card and SAM slots ---------------------------------------------------------------------

constexpr std::size_t kStateRoom = 100;       // powering down: no data is used
constexpr std::size_t kAtrRoom = 255;         // an answer to reset, so that its one-byte length is exact
constexpr std::size_t kLongestApdu = 3070;    // a command of 3073 bytes with its head
constexpr std::size_t kApduAnswerRoom = 3073;
constexpr std::uint32_t kResetMarginMs = 1000;  // the library waits the card's delay and this much more
constexpr std::uint8_t kLastBaud = 2;

// sam_slt_reset: numbers {delaytime, cardno}, outputs {rlen, atr}.
std::optional<std::uint32_t> reset_wait(const Args& a) {
    return core::carried_wait(static_cast<std::uint32_t>(a.number[0]), kResetMarginMs, core::CarriedWait::when_longer,
                              false);
}
bool reset_buffers_given(const Args& a) { return a.out[0] != nullptr && a.out[1] != nullptr; }
// The reader puts one byte ahead of the answer to reset; it is not handed over.
std::int16_t take_atr(core::Bytes data, core::Bytes, const Args& a) {
    core::ByteReader reply(data);
    const core::Bytes atr = reply.skip(1) ? reply.rest() : core::Bytes{};
    if (!atr.empty()) std::memcpy(a.out[1], atr.data(), atr.size());  // at most kAtrRoom: the room is one more
    *static_cast<std::uint8_t*>(a.out[0]) = static_cast<std::uint8_t>(atr.size());
    return VNR_OK;
}

constexpr Command kReset{
    .name = "sam_slt_reset",
    .entry = "---sam_slt_reset 接触式卡片上电复位---",
    .checks = {core::handle("==>sam_slt_reset(), 句柄无效 "),
               core::at_most(1, kLastSlot, "==>sam_slt_reset(), cardno参数不合法 "),
               core::holds(reset_buffers_given, "==>sam_slt_reset(), 缓冲区参数为空 ")},
    .fields = {kContactGroup, 0x22, core::be16(0), core::byte(1)},
    .room = 1 + kAtrRoom,
    .wait = core::wait_by(reset_wait),
    .take = core::take_by(take_atr),
    .result = {.line = "==>sam_slt_reset(), return: %d "},
};

constexpr Command kPowerDown{
    .name = "sam_slt_powerdown",
    .entry = "---sam_slt_powerdown 接触式卡片下电---",
    .checks = {core::handle("==>sam_slt_powerdown(), 句柄无效 "),
               core::at_most(0, kLastSlot, "==>sam_slt_powerdown(), cardno参数不合法 ")},
    .fields = {kContactGroup, 0x23, core::byte(0)},
    .room = kStateRoom,
    .result = {.line = "==>sam_slt_powerdown(), return: %d "},
};

// card_APDU: numbers {cardno, slen}, input {sbuf}, outputs {rbuf, rlen}.
bool apdu_target(const Args& a) { return a.number[0] <= kLastSlot || a.number[0] == kContactlessCard; }

constexpr Command kApdu{
    .name = "card_APDU",
    .entry = "---card_APDU 应用层命令传输---",
    .checks = {core::handle("==>card_APDU(), 句柄无效 "),
               core::in_range(1, 1, kLongestApdu, "==>card_APDU(), slen参数不合法 "),
               core::holds(apdu_target, "==>card_APDU(), cardno参数不合法 ")},
    .fields = {kContactGroup, 0x26, core::byte(0), core::bytes(0, 1)},
    .room = kApduAnswerRoom,
    .take = core::all_data(0, core::LengthOut::u32, 1),
    .result = {.line = "==>card_APDU(), return: %d "},
};

std::int16_t reset_baud(std::int32_t icdev, std::uint8_t cardno, std::uint8_t baud, std::uint8_t* rlen,
                        std::uint8_t* atr) {
    Call call("------sam_slt_reset_baud()-------, icdev: %d, cardno: %d, reset baudrate: %d", icdev,
              static_cast<int>(cardno), static_cast<int>(baud));
    if (icdev < 1) return call.refuse(VNR_E_BAD_HANDLE, nullptr);
    if (cardno > kLastSlot || baud > kLastBaud)
        return call.finish(VNR_E_BAD_ARGUMENT, "==> sam_slt_reset_baud() sam卡复位失败! 状态码：%d ");
    if (rlen == nullptr || atr == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);
    const std::array<std::uint8_t, 4> command{kContactGroup, 0x27, cardno, baud};
    core::ReplyRoom room(kAtrRoom);
    const core::Reply reply = call.exchange(icdev, command, room);
    if (reply.ok()) {
        // Here the whole reply is the answer to reset.
        std::memcpy(atr, reply.data.data(), reply.data.size());
        *rlen = static_cast<std::uint8_t>(reply.data.size());
    }
    return call.finish_either(reply.status, "==> sam_slt_reset_baud() sam卡复位失败, 状态码：%d ",
                              "==> sam_slt_reset_baud() sam卡复位成功 ");
}

// ---- Memory cards: no lines of their own --------------------------------------------------------

// contact_settype: numbers {cardno, cardtype}.
constexpr Command kSetType{
    .name = "contact_settype",
    .checks = {core::handle(nullptr), core::at_most(0, 1, nullptr), core::one_of(1, {1, 3, 4, 5, 8, 10}, nullptr)},
    .fields = {kContactGroup, 0x31, core::byte(0), core::byte(1)},
    .room = 100,
};

std::int16_t set_type(std::int32_t icdev, std::uint8_t cardno, std::uint8_t cardtype) {
    const Call call(nullptr);
    contact_size_code(call.guard()) = kNoSizeCode;  // every call forgets the size, also one then refused
    return core::run(kSetType, {icdev, {cardno, cardtype}});
}

// The passwords: numbers {cardno, len's low byte}, input {password}.

constexpr Command kPasswordInit{
    .name = "contact_passwordinit",
    .checks = {core::handle(nullptr), core::at_most(0, kLastSlot, nullptr)},
    .fields = {kContactGroup, 0x33, core::byte(0), core::byte(1), core::bytes(0, 1)},
    .room = 300,
};

constexpr Command kPasswordCheck{
    .name = "contact_passwordcheck",
    .checks = {core::handle(nullptr), core::at_most(0, kLastSlot, nullptr)},
    .fields = {kContactGroup, 0x34, core::byte(0), core::byte(1), core::bytes(0, 1)},
    .room = 50,
};

// ---- The AT88SC1604 family: everything goes to slot 0 ---------------------------------------------

constexpr std::size_t kRoom1604 = 160;
constexpr std::uint32_t kWriteTimeoutMs = 25000;
constexpr std::uint32_t kEraseTimeoutMs = 30000;
constexpr std::uint32_t kEraseDelayMs = 10;  // also stands after the erase
constexpr std::int64_t kAnyLength = INT64_MAX;

// Numbers {zone, offset, len}.
bool write_fits(const Args& a) {
    return may_write(static_cast<std::int32_t>(a.number[0]), static_cast<std::int32_t>(a.number[1]),
                     static_cast<std::int32_t>(a.number[2]));
}
bool erase_fits(const Args& a) {
    return may_erase(static_cast<std::int32_t>(a.number[0]), static_cast<std::int32_t>(a.number[1]),
                     static_cast<std::int32_t>(a.number[2]));
}
bool code_erase_fits(const Args& a) {
    return may_read(zone_of_code(static_cast<std::int32_t>(a.number[0])), static_cast<std::int32_t>(a.number[1]),
                    static_cast<std::int32_t>(a.number[2]));
}

constexpr Command kWrite1604{
    .name = "swr_1604",
    .entry = "-----swr_1604()----- ",
    .checks = {core::handle("==>swr_1604(), 句柄无效"), core::in_range(0, 0, kLastZone, "==>swr_1604(), zone参数不合法"),
               core::holds(write_fits, "==>swr_1604(), offset参数不合法")},
    .fields = {kContactGroup, 0x36, 0x00, core::be16(1), core::be16(2), core::bytes(0, 2)},
    .room = kRoom1604,
    .wait = core::wait_ms(kWriteTimeoutMs),
    .result = {.line = "==>swr_1604(), 状态码：%d。"},
};

constexpr Command kErase1604{
    .name = "ser_1604",
    .entry = "-----ser_1604()----- ",
    .checks = {core::in_range(2, 1, kAnyLength, "==>ser_1604(), len参数不合法 "), core::handle("==>ser_1604(), 句柄无效 "),
               core::in_range(0, 0, kLastZone, "==>ser_1604(), zone参数不合法"),
               core::holds(erase_fits, "==>ser_1604(), offset参数不合法")},
    .fields = {kContactGroup, 0x30, 0x00, core::be16(1), core::be16(2)},
    .room = kRoom1604,
    .wait = core::wait_ms(kEraseTimeoutMs, kEraseDelayMs, kEraseDelayMs),
    .result = {.line = "==>ser_1604(), 状态码：%d."},
};

constexpr Command kCodeErase1604{
    .name = "neibu_ser_1604",
    .entry = "-----neibu_ser_1604()----- ",
    .checks = {core::handle("==>neibu_ser_1604(), 句柄无效"),
               core::in_range(2, 1, kAnyLength, "==>neibu_ser_1604(), len参数不合法"),
               core::in_range(0, 0, kLastCodeNumber, "==>neibu_ser_1604(), zone参数不合法"),
               core::holds(code_erase_fits, "==>neibu_ser_1604(), offset参数不合法")},
    .fields = {kContactGroup, 0x30, 0x00, core::be16(1), core::be16(2), 0x00},
    .room = kRoom1604,
    .wait = core::wait_ms(kEraseTimeoutMs, kEraseDelayMs, kEraseDelayMs),
    .result = {.line = "==>neibu_ser_1604(), 状态码：%d。"},
};

constexpr Command kCodeWrite1604{
    .name = "swrSC_1604",
    .entry = "-----swrSC_1604()----- ",
    .checks = {core::handle("==>swrSC_1604(), 句柄无效")},
    .fields = {kContactGroup, 0x33, 0x00, core::byte(0), core::be16(1), core::be16(2), core::bytes(0, 2)},
    .room = kRoom1604,
    .result = {.line = "==>swrSC_1604(), 状态码：%d。"},
};

// csc_1604 and cesc_1604: numbers {zone, len}, input {code}.
constexpr Command kPresentCode{
    .name = "csc_1604",
    .entry = "-----csc_1604()----- ",
    .checks = {core::in_range(1, kCodeBytes, kCodeBytes, "==>csc_1604(), len参数不合法 "),
               core::in_range(0, 0, 4, "==>csc_1604(), zone参数不合法 "), core::handle("==>csc_1604(), 句柄无效 ")},
    .fields = {kContactGroup, 0x34, 0x00, 0x04, 0x00, core::byte(0), core::fixed_bytes(0, kCodeBytes)},
    .room = kRoom1604,
    .result = {.line = "==>csc_1604(), 状态码：%d. "},
};

constexpr Command kPresentEraseCode{
    .name = "cesc_1604",
    .entry = "-----cesc_1604()----- ",
    .checks = {core::handle("==>cesc_1604(), 句柄无效 "),
               core::in_range(1, kCodeBytes, kCodeBytes, "==>cesc_1604(), len参数不合法 "),
               core::in_range(0, 1, 4, "==>cesc_1604(), zone参数不合法 ")},
    .fields = {kContactGroup, 0x34, 0x00, 0x04, 0x01, core::byte(0), core::fixed_bytes(0, kCodeBytes)},
    .room = kRoom1604,
    .result = {.line = "==>cesc_1604(), 状态码：%d。 "},
};

constexpr Command kFakeFuse{
    .name = "fakefus_1604",
    .entry = "-----fakefus_1604()----- ",
    .checks = {core::in_range(0, 0, 1, "==>fakefus_1604(), mode参数不合法 "), core::handle("==>fakefus_1604(), 句柄无效 ")},
    .fields = {kContactGroup, 0x96, 0x00, core::byte(0)},
    .room = kRoom1604,
    .result = {.line = "==>fakefus_1604(), 状态码：%d。 "},
};

constexpr Command kPersonalise{
    .name = "psnl_1604",
    .entry = "-----psnl_1604()----- ",
    .checks = {core::handle("==>psnl_1604(), 句柄无效 ")},
    .fields = {0x33, 0x39, 0x00},
    .room = kRoom1604,
    .result = {.line = "==>psnl_1604(), 状态码：%d。 "},
};

}  // namespace

std::int16_t neibu_ser_1604(std::int32_t icdev, std::int32_t zone, std::int32_t offset, std::int32_t len) {
    return core::run(kCodeErase1604, {icdev, {zone, offset, len}});
}

std::int16_t swrSC_1604(std::int32_t icdev, std::int32_t zone, std::int32_t offset, std::int32_t len,
                        const std::uint8_t* data) {
    return core::run(kCodeWrite1604, {icdev, {zone, offset, len}, {data}});
}

}  // namespace vnr::contact

using vnr::core::guarded;
using vnr::core::run;
namespace ct = vnr::contact;

extern "C" {

VNR_API int16_t VNR_CALL sam_slt_reset(int32_t icdev, uint16_t delaytime, uint8_t cardno, uint8_t* rlen, uint8_t* atr) {
    return guarded<int16_t>([&] { return run(ct::kReset, {icdev, {delaytime, cardno}, {}, {rlen, atr}}); });
}

VNR_API int16_t VNR_CALL sam_slt_reset_baud(int32_t icdev, uint8_t cardno, uint8_t baud, uint8_t* rlen, uint8_t* atr) {
    return guarded<int16_t>([&] { return ct::reset_baud(icdev, cardno, baud, rlen, atr); });
}

VNR_API int16_t VNR_CALL sam_slt_powerdown(int32_t icdev, uint8_t cardno) {
    return guarded<int16_t>([&] { return run(ct::kPowerDown, {icdev, {cardno}}); });
}

VNR_API int16_t VNR_CALL card_APDU(int32_t icdev, uint8_t cardno, int32_t slen, const uint8_t* sbuf, uint32_t* rlen,
                                   uint8_t* rbuf) {
    return guarded<int16_t>([&] { return run(ct::kApdu, {icdev, {cardno, slen}, {sbuf}, {rbuf, rlen}}); });
}

VNR_API int16_t VNR_CALL contact_settype(int32_t icdev, uint8_t cardno, uint8_t cardtype) {
    return guarded<int16_t>([&] { return ct::set_type(icdev, cardno, cardtype); });
}

VNR_API int16_t VNR_CALL contact_passwordinit(int32_t icdev, uint8_t cardno, int32_t len, const uint8_t* password) {
    return guarded<int16_t>([&] { return run(ct::kPasswordInit, {icdev, {cardno, len & 0xFF}, {password}}); });
}

VNR_API int16_t VNR_CALL contact_passwordcheck(int32_t icdev, uint8_t cardno, int32_t len, const uint8_t* password) {
    return guarded<int16_t>([&] { return run(ct::kPasswordCheck, {icdev, {cardno, len & 0xFF}, {password}}); });
}

VNR_API int32_t VNR_CALL swr_1604(int32_t icdev, int32_t zone, int32_t offset, int32_t len, const uint8_t* data) {
    return guarded<int32_t>([&] { return run(ct::kWrite1604, {icdev, {zone, offset, len}, {data}}); });
}

VNR_API int32_t VNR_CALL ser_1604(int32_t icdev, int32_t zone, int32_t offset, int32_t len) {
    return guarded<int32_t>([&] { return run(ct::kErase1604, {icdev, {zone, offset, len}}); });
}

VNR_API int32_t VNR_CALL csc_1604(int32_t icdev, int32_t zone, int32_t len, const uint8_t* code) {
    return guarded<int32_t>([&] { return run(ct::kPresentCode, {icdev, {zone, len}, {code}}); });
}

VNR_API int32_t VNR_CALL cesc_1604(int32_t icdev, int32_t zone, int32_t len, const uint8_t* code) {
    return guarded<int32_t>([&] { return run(ct::kPresentEraseCode, {icdev, {zone, len}, {code}}); });
}

VNR_API int32_t VNR_CALL fakefus_1604(int32_t icdev, int32_t mode) {
    return guarded<int32_t>([&] { return run(ct::kFakeFuse, {icdev, {mode}}); });
}

VNR_API int32_t VNR_CALL psnl_1604(int32_t icdev) {
    return guarded<int32_t>([&] { return run(ct::kPersonalise, {icdev}); });
}

}  // extern "C"
