// src/pinpad/commands.cpp: pinpad. The pad's key loads and settings as rows; the settings note their
// success in the pad's state.
#include "pinpad/commands.h"

#include "core/command.h"
#include "pinpad/state.h"
#include "vnr_32.h"

namespace vnr::pinpad {

namespace {

using core::Args;
using core::at_most;
using core::byte;
using core::bytes;
using core::handle;
using core::in_range;

constexpr std::uint8_t kPadGroup = 0xC5;
constexpr std::int64_t kShortestTimeoutS = 6;
constexpr std::int64_t kLongestPin = 16;
constexpr std::uint32_t kMarginMs = 1000;  // the library waits a second longer than the pad

// The state is written from within the row's run, which holds the lock; entering the reentrant lock
// again gives the state its proof.
std::int16_t note_length_set(core::Bytes, core::Bytes, const Args&) {
    const core::LibraryGuard held;
    pad_state(held).pin_len_set = true;
    return VNR_OK;
}

// number 0: seconds
std::int16_t note_timeout_set(core::Bytes, core::Bytes, const Args& args) {
    const core::LibraryGuard held;
    PadState& pad = pad_state(held);
    pad.pin_timeout_set = true;
    pad.pin_wait_ms = static_cast<std::uint32_t>(args.number[0]) * 1000u + kMarginMs;
    return VNR_OK;
}

// number 0: nDesType, 1: mainkeyno, 2: the key's length; in 0: the key. The key starts at byte 5.
constexpr core::Command kLoadMainKey{
    .name = "pwdkb_load_mainkey",
    .entry = "-----pwdkb_load_mainkey()----- ",
    .checks = {at_most(0, kLastDesType, "==>pwdkb_load_mainkey()，nDesType参数不合法 "),
               handle("==>pwdkb_load_mainkey()，句柄无效 ")},
    .fields = {kPadGroup, 0x03, 0x00, byte(0), byte(1), bytes(0, 2)},
    .result = {.line = "==>pwdkb_load_mainkey()，状态码：%d。 "},
    .secret = {.command_from = 5, .command_count = kLongKeySize},
};

// number 0: nDesType, 1: mainkeyno, 2: userkeyno, 3: the key's length; in 0: the key, from byte 6.
constexpr core::Command kLoadWorkKey{
    .name = "pwdkb_load_workkey",
    .entry = "-----pwdkb_load_workkey()----- ",
    .checks = {at_most(0, kLastDesType, "==>pwdkb_load_workkey()，nDesType参数不合法 "),
               handle("==>pwdkb_load_workkey()，句柄无效 ")},
    .fields = {kPadGroup, 0x04, 0x00, byte(0), byte(1), byte(2), bytes(0, 3)},
    .result = {.line = "==>pwdkb_load_workkey()，状态码：%d。 "},
    .secret = {.command_from = 6, .command_count = kLongKeySize},
};

constexpr core::Command kSetLength{
    .name = "pwdkb_setpwdlen",
    .entry = "-----pwdkb_setpwdlen()----- ",
    .checks = {in_range(0, 1, kLongestPin, "==>pwdkb_setpwdlen()，密码长度不合法。 "), handle("==>pwdkb_setpwdlen()，句柄无效。 ")},
    .fields = {kPadGroup, 0x02, 0x00, byte(0)},
    .take = core::take_by(note_length_set),
    .result = {.line = "==>pwdkb_setpwdlen()，状态码：%d. "},
};

constexpr core::Command kSetTimeout{
    .name = "pwdkb_settimeout",
    .entry = "-----pwdkb_settimeout()----- ",
    .checks = {in_range(0, kShortestTimeoutS, INT64_MAX, "==>pwdkb_settimeout()，超时时间小于6秒. "),
               handle("==>pwdkb_settimeout()，句柄无效. ")},
    .fields = {kPadGroup, 0x01, 0x00, byte(0)},
    .take = core::take_by(note_timeout_set),
    .result = {.line = "==>pwdkb_settimeout()，状态码：%d. "},
};

constexpr std::int64_t key_size(std::uint8_t des_type) noexcept {
    return static_cast<std::int64_t>(des_type == 0 ? kShortKeySize : kLongKeySize);
}

}  // namespace

std::int16_t pwdkb_load_mainkey(std::int32_t icdev, std::uint8_t nDesType, std::uint8_t mainkeyno, const std::uint8_t* key) {
    return core::run(kLoadMainKey, {icdev, {nDesType, mainkeyno, key_size(nDesType)}, {key}});
}

std::int16_t pwdkb_load_workkey(std::int32_t icdev, std::uint8_t nDesType, std::uint8_t mainkeyno, std::uint8_t userkeyno,
                                const std::uint8_t* key) {
    return core::run(kLoadWorkKey, {icdev, {nDesType, mainkeyno, userkeyno, key_size(nDesType)}, {key}});
}

std::int16_t pwdkb_setpwdlen(std::int32_t icdev, std::uint8_t length) { return core::run(kSetLength, {icdev, {length}}); }

std::int16_t pwdkb_settimeout(std::int32_t icdev, std::uint8_t seconds) { return core::run(kSetTimeout, {icdev, {seconds}}); }

}  // namespace vnr::pinpad
