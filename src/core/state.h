// src/core/state.h: core. The process-wide link settings that the session and the exchange share.
// There is one reader per process: the link type, the time-outs and the HID report length are held
// once, not per handle. Each value is an atomic so that the few places that touch them outside the
// library lock (device_gettype, the last steps of device_open) stay well defined.
#pragma once

#include <atomic>
#include <cstdint>

namespace vnr::core {

// How frames go out: 1 the split form (nibbles as bytes), any other value the plain form.
inline constexpr std::uint8_t kSplitForm = 1;
// Which link carries the frames: 1 USB HID, 2 serial, 0 after a failed open; anything but 1 is serial.
inline constexpr std::uint8_t kLinkHid = 1;
inline constexpr std::uint8_t kLinkSerial = 2;
inline constexpr std::uint8_t kLinkNone = 0;
// The wait of an ordinary command, and the pause before each HID report read, in milliseconds.
inline constexpr std::uint32_t kStandingTimeoutMs = 2000;
inline constexpr std::uint32_t kStandingDelayMs = 0;
// A read time-out that means "no limit" on the serial link.
inline constexpr std::uint32_t kNoTimeLimit = 0xFFFFFFFF;

struct LinkState {
    std::atomic<std::uint8_t> trans_mode{1};                 // TansMode
    std::atomic<std::uint8_t> com_mode{1};                   // nComMode
    std::atomic<std::int32_t> device_kind{-1};               // 1 USB HID, 0 serial, -1 before any open
    std::atomic<std::uint32_t> read_timeout_ms{15000};       // longest wait for each byte or report
    std::atomic<std::uint32_t> read_delay_ms{10};            // pause before each HID report read
    std::atomic<std::uint16_t> feature_report_length{0};     // the HID device's feature report length
};

// The one instance, with the values it has when the library is loaded.
LinkState& link_state() noexcept;

// Sets the read time-out and the HID read delay, without any check.
void set_comm_timeout(std::uint32_t read_timeout_ms, std::uint32_t read_delay_ms) noexcept;

// Sets the form in which frames go out (kSplitForm or plain), without any check.
void set_trans_mode(std::uint8_t mode) noexcept;

}  // namespace vnr::core
