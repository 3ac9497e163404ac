// src/core/link/serial_link.cpp: core/link. The serial link: port opening, the purge before every
// write, and receiving with a time-out for each byte and a start-byte search over noise.
#include "core/link/serial_link.h"

#include "core/wipe.h"

#include "core/link/device_table.h"
#include "core/log.h"
#include "core/state.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "vnr_32.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace vnr::link {

namespace {

using core::link_state;

// Time-outs at open: 500 ms between bytes, a read returns after the read time-out that stands at the
// time of the open, a write gives up after 500 ms.
constexpr std::uint32_t kOpenIntervalMs = 500;
constexpr std::uint32_t kOpenWriteMs = 500;
// What ReSetupComm puts in their place.
constexpr platform::SerialTimeouts kLongTimeouts{100, 0, 5000, 0, 5000};

std::uint32_t line_rate(std::int32_t baud) {
    switch (baud) {
        case 19200:
        case 38400:
        case 57600:
        case 115200: return static_cast<std::uint32_t>(baud);
        default: return 9600;
    }
}

// Fills `bytes` from the port, each byte within read_timeout_ms of the previous one (or of the start).
// The port may hand over several bytes a read; what counts is when each byte came. Returns 0, -17 or
// -25, and in `got` how many bytes came.
std::int16_t read_bytes(platform::SerialPort* port, std::span<std::uint8_t> bytes, std::size_t& got) {
    got = 0;
    if (port == nullptr) return VNR_E_PORT_READ;
    const std::uint32_t timeout = link_state().read_timeout_ms;
    std::uint64_t since = platform::tick_ms();
    while (got < bytes.size()) {
        const long count = port->read(bytes.data() + got, bytes.size() - got);
        if (count < 0) return VNR_E_PORT_READ;
        const std::uint64_t now = platform::tick_ms();
        if (count > 0) {
            got += static_cast<std::size_t>(count);
            since = now;
            continue;
        }
        if (timeout != core::kNoTimeLimit && now > since + timeout) return VNR_E_NO_REPLY;
    }
    return VNR_OK;
}

void log_partial_head(std::span<const std::uint8_t> bytes) {
    if (!log::enabled()) return;
    std::vector<char> hex(2 * bytes.size() + 1);
    core::hex_text(bytes.data(), hex.data(), static_cast<int>(bytes.size()));
    char head[64];
    std::snprintf(head, sizeof head, "receive_data(), TansMode:%d,nComMode: %d, receive: ",
                  link_state().trans_mode.load(), link_state().com_mode.load());
    log::raw(std::string(head) + hex.data() + ".");
}

}  // namespace

std::int32_t com_open_reader(std::int16_t port, std::int32_t baud) {
    const unsigned index = static_cast<std::uint8_t>(port);
    std::int32_t result = VNR_E_PORT_INDEX;
    if (index <= kLastPortIndex) {
        const platform::SerialTimeouts timeouts{kOpenIntervalMs, 0, link_state().read_timeout_ms, 0, kOpenWriteMs};
        platform::SerialError error = platform::SerialError::none;
        auto opened = platform::open_serial_port(platform::serial_port_name(index), line_rate(baud), kQueueSize,
                                                 timeouts, error);
        if (opened) {
            result = add_serial_port(std::move(opened));
        } else {
            switch (error) {
                case platform::SerialError::access_denied: result = VNR_E_PORT_DENIED; break;
                case platform::SerialError::state_read: result = VNR_E_PORT_STATE; break;
                case platform::SerialError::state_set: result = VNR_E_PORT_CONFIG; break;
                case platform::SerialError::none:
                case platform::SerialError::open_failed:
                case platform::SerialError::io_failed: result = VNR_E_PORT_OPEN; break;
            }
        }
    }
    link_state().com_mode = result > 1 ? core::kLinkSerial : core::kLinkNone;
    return result;
}

std::int16_t com_send_frame(std::int32_t icdev, std::uint8_t mode, std::span<const std::uint8_t> command) {
    core::WipedBytes frame(core::kFrameBufferSize);
    const auto form = mode == core::kSplitForm ? core::FrameForm::split : core::FrameForm::plain;
    const std::size_t size = core::encode_frame(command, form, frame);
    if (size == 0) return VNR_E_BAD_ARGUMENT;
    const std::shared_ptr<platform::SerialPort> port = serial_port(icdev);
    if (!port) return VNR_E_PORT_WRITE;
    // A late answer to an earlier command is thrown away before the new command goes out.
    port->purge();
    return port->write(frame.data(), size) ? VNR_OK : VNR_E_PORT_WRITE;
}

std::int16_t com_receive_frame(std::int32_t icdev, std::size_t& total, std::span<std::uint8_t> buffer) {
    total = 0;
    const std::shared_ptr<platform::SerialPort> port = serial_port(icdev);
    core::WipedBytes wire(core::kFrameBufferSize);
    std::size_t got = 0;

    // The start byte: any other byte is noise, up to ten of them.
    for (int read = 0;; ++read) {
        if (read == kStartByteReads) return VNR_E_NO_START;
        if (const std::int16_t status = read_bytes(port.get(), std::span(wire).first(1), got); status != VNR_OK)
            return status;
        if (wire[0] == core::kStartByte) break;
    }

    const auto head = std::span(wire).subspan(1, core::kFrameHeadSize - 1);
    if (const std::int16_t status = read_bytes(port.get(), head, got); status != VNR_OK) {
        log_partial_head(head.first(got));
        return status;
    }
    const core::FrameHead frame = core::read_frame_head(std::span(wire).first<core::kFrameHeadSize>());
    const std::size_t length = core::wire_length(frame.form, frame.payload_length);
    total = frame.payload_length + 5;
    if (length > wire.size() || total > buffer.size()) {
        // Larger than a frame can be: refused before anything more is read.
        total = 0;
        return VNR_E_END_BYTE;
    }
    if (length > core::kFrameHeadSize) {
        const auto rest = std::span(wire).subspan(core::kFrameHeadSize, length - core::kFrameHeadSize);
        if (const std::int16_t status = read_bytes(port.get(), rest, got); status != VNR_OK) return status;
    }
    return core::finish_frame(std::span(wire).first(length), frame, buffer, total);
}

std::int16_t resetup_comm(std::int32_t icdev) {
    const std::shared_ptr<platform::SerialPort> port = serial_port(icdev);
    return port && port->setup(kQueueSize, kQueueSize, kLongTimeouts) ? 0 : 1;
}

}  // namespace vnr::link

extern "C" VNR_API int16_t VNR_CALL ReSetupComm(int32_t icdev) {
    try {
        return vnr::link::resetup_comm(icdev);
    } catch (...) {
        return 1;
    }
}
