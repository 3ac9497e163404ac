// src/core/exchange.cpp: core. send_cmd_vn3x and its log lines.
#include "core/exchange.h"

#include "core/frame.h"
#include "core/wipe.h"
#include "core/link/hid_link.h"
#include "core/link/serial_link.h"
#include "core/log.h"
#include "core/state.h"
#include "vnr_32.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace vnr::core {

namespace {

// The log shows at most this many bytes of a frame (5000 hexadecimal characters).
constexpr std::size_t kLoggedFrameBytes = 2500;

// The secret of the exchanges that this thread runs. Each thread keeps its own: a call marks its exchange
// and takes the mark back when it returns, which may be after it has left the library lock and another
// thread's marked exchange has begun.
thread_local Secret current_secret;

// Plain frame: start byte, two length bytes, S1, S2, then the data, the check byte and the end byte.
constexpr std::size_t kFrameDataAt = 5;

// "send_cmd_vn3x(), TansMode:%d,nComMode: %d, <what>: <hex>." by the raw writer; the bytes from
// `hidden_from`, `hidden_count` of them, show as "**".
void log_frame(const char* what, const std::uint8_t* bytes, std::size_t size, std::size_t hidden_from = 0,
               std::size_t hidden_count = 0) {
    if (!log::enabled()) return;  // spares the hexadecimal text when nobody reads it
    size = std::min(size, kLoggedFrameBytes);
    std::vector<char> hex(2 * size + 1);
    hex_text(bytes, hex.data(), static_cast<int>(size));
    for (std::size_t i = hidden_from; i < size && i < hidden_from + hidden_count; ++i) hex[2 * i] = hex[2 * i + 1] = '*';
    char head[80];
    (void)std::snprintf(head, sizeof head, "send_cmd_vn3x(), TansMode:%d,nComMode: %d, %s: ",
                        link_state().trans_mode.load(), link_state().com_mode.load(), what);
    log::raw(std::string(head) + hex.data() + ".");
}

void log_raw_format(const char* format, int value) {
    if (!log::enabled()) return;
    char text[80];
    (void)std::snprintf(text, sizeof text, format, value);
    log::raw(text);
}

}  // namespace

ScopedSecret::ScopedSecret(const Secret& secret) noexcept : saved_(current_secret) { current_secret = secret; }
ScopedSecret::~ScopedSecret() { current_secret = saved_; }

std::int16_t send_cmd_vn3x(std::int32_t icdev, std::int32_t send_len, const std::uint8_t* send_buf,
                           std::uint32_t* recv_len, std::span<std::uint8_t> recv_buf) {
    if (icdev <= 0) return VNR_E_HANDLE_EXCHANGE;
    *recv_len = 0;
    if (!recv_buf.empty()) recv_buf[0] = 0;
    if (send_len < 0) return VNR_E_BAD_ARGUMENT;
    const std::span<const std::uint8_t> command(send_buf, static_cast<std::size_t>(send_len));
    log_frame("Send", command.data(), command.size(), current_secret.command_from, current_secret.command_count);

    const std::uint8_t mode = link_state().trans_mode;
    const bool hid = link_state().com_mode == kLinkHid;
    const std::int16_t sent = hid ? link::hid_send_frame(icdev, mode, command) : link::com_send_frame(icdev, mode, command);
    if (sent != VNR_OK) return sent;

    WipedBytes frame(kFrameBufferSize);
    std::size_t total = 0;
    const std::int16_t status =
        hid ? link::hid_receive_frame(icdev, total, frame) : link::com_receive_frame(icdev, total, frame);
    // The data and the check byte of a secret reply: from the data to the byte before the end byte.
    const std::size_t hidden = current_secret.reply_data && total > kFrameDataAt + 1 ? total - kFrameDataAt - 1 : 0;
    log_frame("receive", frame.data(), total, kFrameDataAt, hidden);
    if (status != VNR_OK) {
        log_raw_format("send_cmd_vn3x(), return: %d.", status);
        return status;
    }

    // Plain frame: 02, LEN high, LEN low, S1, S2, data, check byte, 03.
    const std::uint8_t s1 = frame[3];
    const std::uint8_t s2 = frame[4];
    if (s1 != 0 || s2 != 0) {
        if (log::enabled()) {
            char text[48];
            (void)std::snprintf(text, sizeof text, "send_cmd_vn3x(), status: %02x%02x.", s1, s2);
            log::raw(text);
        }
        return reader_status(s1, s2);
    }
    const std::size_t data_length = total - 7;
    if (data_length > recv_buf.size()) {
        // The reader sent more than the command's longest reply: refused, nothing written past the buffer.
        log_raw_format("send_cmd_vn3x(), return: %d.", VNR_E_END_BYTE);
        return VNR_E_END_BYTE;
    }
    std::copy_n(frame.begin() + 5, data_length, recv_buf.begin());
    *recv_len = static_cast<std::uint32_t>(data_length);
    log::raw("send_cmd_vn3x() ok.");
    return VNR_OK;
}

}  // namespace vnr::core
