// src/pinpad/pin_read.cpp: pinpad. The four PIN reads: a person types at the pad, so the library waits
// as long as the pad's entry time-out allows (and a second more), holding the library lock all the while.
// They differ only in the command's code, the entry byte, and whether they carry a key number and six
// bytes; each writes the same five lines with its own name.
#include "core/call.h"
#include "core/command.h"
#include "core/exchange.h"
#include "pinpad/commands.h"
#include "pinpad/state.h"
#include "vnr_32.h"

#include <algorithm>

namespace vnr::pinpad {

namespace {

constexpr std::uint8_t kPadGroup = 0xC5;
constexpr std::uint8_t kEscape = 0x1B;
constexpr std::uint8_t kFirstEntry = 0x49;  // the pad's first-entry request
constexpr std::uint8_t kEntryAgain = 0x45;  // its entry-again request
constexpr std::size_t kBlockBytes = 6;

struct PinRead {
    const char* name;
    std::uint8_t code;   // 05 plain, 06 enciphered
    std::uint8_t entry;  // kFirstEntry or kEntryAgain
};

constexpr PinRead kRead{"pwdkb_getpwd", 0x05, kFirstEntry};
constexpr PinRead kReadAgain{"pwdkb_getpwd_again", 0x05, kEntryAgain};
constexpr PinRead kReadEnciphered{"pwdkb_getpwd_encrypt", 0x06, kFirstEntry};
constexpr PinRead kReadAgainEnciphered{"pwdkb_getpwd_again_encrypt", 0x06, kEntryAgain};

// `sixbytes` null: a plain read, whose reply is the PIN itself and is kept out of the log.
std::int16_t pin_read(const PinRead& read, std::int32_t icdev, std::uint8_t userkeyno, const std::uint8_t* sixbytes,
                      std::uint8_t* rlen, std::span<std::uint8_t> rbuf) {
    core::Call call("-----%s()----- ", read.name);
    const PadState& pad = pad_state(call.guard());
    const auto refuse = [&](std::int16_t status, const char* format) {
        log::line(format, read.name);
        return call.refuse(status, nullptr);
    };
    // The time-out is checked before the length, so that -66 wins when neither was set.
    if (!pad.pin_timeout_set) return refuse(VNR_E_PIN_TIMEOUT_UNSET, "==>%s()，未设置密码输入超时时间. ");
    if (!pad.pin_len_set) return refuse(VNR_E_PIN_LENGTH_UNSET, "==>%s()，未设置密码输入长度. ");
    if (icdev < 1) return refuse(VNR_E_BAD_HANDLE, "==>%s()，句柄无效. ");
    const bool enciphered = read.code == kReadEnciphered.code;
    if (rlen == nullptr || (enciphered && sixbytes == nullptr)) return refuse(VNR_E_BAD_ARGUMENT, "==>%s()，缓冲区参数为空. ");

    core::CommandBytes command;
    for (const std::uint8_t b : {kPadGroup, read.code, std::uint8_t{0x00}, kEscape, read.entry}) command.push(b);
    if (enciphered) {
        for (const std::uint8_t b : {userkeyno, std::uint8_t{0x00}, std::uint8_t{0x00}}) command.push(b);
        command.push(core::Bytes(sixbytes, kBlockBytes));
    }
    core::ReplyRoom room(rbuf.size());
    const core::ScopedSecret secret(enciphered ? core::Secret{} : core::Secret{.reply_data = true});
    const core::Reply reply = call.exchange_waiting(icdev, command.view(), room, pad.pin_wait_ms);
    if (reply.ok()) {
        std::ranges::copy(reply.data, rbuf.begin());
        *rlen = static_cast<std::uint8_t>(reply.data.size());
        if (enciphered) pad_state(call.guard()).active_userkeyno = userkeyno;
    }
    call.leave();
    log::line("==>%s()，状态码：%d. ", read.name, reply.status);
    return reply.status;
}

}  // namespace

std::int16_t pwdkb_getpwd(std::int32_t icdev, std::uint8_t* rlen, std::span<std::uint8_t> rbuf) {
    return pin_read(kRead, icdev, 0, nullptr, rlen, rbuf);
}

std::int16_t pwdkb_getpwd_again(std::int32_t icdev, std::uint8_t* rlen, std::span<std::uint8_t> rbuf) {
    return pin_read(kReadAgain, icdev, 0, nullptr, rlen, rbuf);
}

std::int16_t pwdkb_getpwd_encrypt(std::int32_t icdev, std::uint8_t userkeyno, const std::uint8_t* sixbytes,
                                  std::uint8_t* rlen, std::span<std::uint8_t> rbuf) {
    return pin_read(kReadEnciphered, icdev, userkeyno, sixbytes, rlen, rbuf);
}

std::int16_t pwdkb_getpwd_again_encrypt(std::int32_t icdev, std::uint8_t userkeyno, const std::uint8_t* sixbytes,
                                        std::uint8_t* rlen, std::span<std::uint8_t> rbuf) {
    return pin_read(kReadAgainEnciphered, icdev, userkeyno, sixbytes, rlen, rbuf);
}

}  // namespace vnr::pinpad
