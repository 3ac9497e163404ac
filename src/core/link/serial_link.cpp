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
#include <optional>
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

// Microseconds since `start` on the high-resolution counter, without overflow for any wait.
std::uint64_t elapsed_us(std::uint64_t start) {
    const std::uint64_t ticks = platform::performance_counter() - start;
    const std::uint64_t frequency = platform::performance_frequency();
    return ticks / frequency * 1'000'000 + ticks % frequency * 1'000'000 / frequency;
}

// The longest a read of `size` bytes blocks under `timeouts` when nothing comes; none: until a byte
// comes (all read time-outs 0).
std::optional<std::uint64_t> longest_read_ms(const platform::SerialTimeouts& timeouts, std::size_t size) {
    const std::uint64_t multiplier = timeouts.read_total_multiplier_ms;
    const std::uint64_t total = timeouts.read_total_constant_ms + multiplier * size;
    if (total == 0) return std::nullopt;
    return total;
}

class Hold {
public:
    explicit Hold(platform::ReentrantLock& lock) noexcept : lock_(lock) { lock_.enter(); }
    ~Hold() { lock_.leave(); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    platform::ReentrantLock& lock_;
};

// Fills `bytes` from the port one byte a read, so that the moment each byte came is known: each must
// come within read_timeout_ms of the one before it (or of the start), on the high-resolution counter.
// A read is never let run beyond what is left of that wait. Returns 0, -17 or -25, and in `got` how
// many bytes came.
std::int16_t read_bytes(SerialLine* line, std::span<std::uint8_t> bytes, std::size_t& got) {
    got = 0;
    if (line == nullptr) return VNR_E_PORT_READ;
    const std::uint32_t timeout = link_state().read_timeout_ms;
    const bool limited = timeout != core::kNoTimeLimit;
    const std::uint64_t timeout_us = std::uint64_t{timeout} * 1000;
    std::uint64_t since = platform::performance_counter();
    while (got < bytes.size()) {
        std::optional<std::uint32_t> limit_ms;
        if (limited) {
            const std::uint64_t spent = elapsed_us(since);
            limit_ms = static_cast<std::uint32_t>((spent < timeout_us ? timeout_us - spent + 999 : 0) / 1000);
        }
        const long count = line->read(bytes.data() + got, 1, limit_ms);
        if (count < 0) return VNR_E_PORT_READ;
        if (count > 0) {
            ++got;
            since = platform::performance_counter();
        } else if (limited && elapsed_us(since) >= timeout_us) {
            return VNR_E_NO_REPLY;
        }
    }
    return VNR_OK;
}

void log_partial_head(std::span<const std::uint8_t> bytes) {
    if (!log::enabled()) return;
    std::vector<char> hex(2 * bytes.size() + 1);
    core::hex_text(bytes.data(), hex.data(), static_cast<int>(bytes.size()));
    char head[64];
    (void)std::snprintf(head, sizeof head, "receive_data(), TansMode:%d,nComMode: %d, receive: ",
                        link_state().trans_mode.load(), link_state().com_mode.load());
    log::raw(std::string(head) + hex.data() + ".");
}

}  // namespace

SerialLine::SerialLine(std::unique_ptr<platform::SerialPort> port, const platform::SerialTimeouts& standing) noexcept
    : port_(std::move(port)), standing_(standing) {}

bool SerialLine::setup(std::uint32_t queue_size, const platform::SerialTimeouts& standing) noexcept {
    const Hold hold(lock_);
    standing_ = standing;
    shortened_ms_.reset();
    return port_->setup(queue_size, queue_size, standing);
}

long SerialLine::read(std::uint8_t* bytes, std::size_t size, std::optional<std::uint32_t> limit_ms) noexcept {
    if (limit_ms) {
        const Hold hold(lock_);
        const std::uint32_t limit = std::max<std::uint32_t>(*limit_ms, 1);
        const std::optional<std::uint64_t> longest =
            shortened_ms_ ? std::optional<std::uint64_t>(*shortened_ms_) : longest_read_ms(standing_, size);
        if (!longest || limit < *longest) {
            platform::SerialTimeouts shorter = standing_;
            shorter.read_total_multiplier_ms = 0;
            shorter.read_total_constant_ms = limit;
            if (port_->setup(kQueueSize, kQueueSize, shorter)) shortened_ms_ = limit;
        }
    }
    return port_->read(bytes, size);
}

void SerialLine::end_reads() noexcept {
    const Hold hold(lock_);
    if (!shortened_ms_) return;
    port_->setup(kQueueSize, kQueueSize, standing_);
    shortened_ms_.reset();
}

std::int32_t com_open_reader(std::int16_t port, std::int32_t baud) {
    const unsigned index = static_cast<std::uint8_t>(port);
    std::int32_t result = VNR_E_PORT_INDEX;
    if (index <= kLastPortIndex) {
        const platform::SerialTimeouts timeouts{kOpenIntervalMs, 0, link_state().read_timeout_ms, 0, kOpenWriteMs};
        platform::SerialError error = platform::SerialError::none;
        auto opened = platform::open_serial_port(platform::serial_port_name(index), line_rate(baud), kQueueSize,
                                                 timeouts, error);
        if (opened) {
            result = add_serial_port(std::move(opened), timeouts);
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
    const std::shared_ptr<SerialLine> line = serial_line(icdev);
    if (!line) return VNR_E_PORT_WRITE;
    // A late answer to an earlier command is thrown away before the new command goes out.
    line->purge();
    return line->write(frame.data(), size) ? VNR_OK : VNR_E_PORT_WRITE;
}

std::int16_t com_receive_frame(std::int32_t icdev, std::size_t& total, std::span<std::uint8_t> buffer) {
    total = 0;
    const std::shared_ptr<SerialLine> line = serial_line(icdev);
    // The port's own time-outs stand again once this frame's reads are over, on every way out.
    struct EndReads {
        SerialLine* line;
        ~EndReads() {
            if (line != nullptr) line->end_reads();
        }
    } end_reads{line.get()};
    core::WipedBytes wire(core::kFrameBufferSize);
    std::size_t got = 0;

    // The start byte: any other byte is noise, up to ten of them.
    for (int read = 0;; ++read) {
        if (read == kStartByteReads) return VNR_E_NO_START;
        if (const std::int16_t status = read_bytes(line.get(), std::span(wire).first(1), got); status != VNR_OK)
            return status;
        if (wire[0] == core::kStartByte) break;
    }

    const auto head = std::span(wire).subspan(1, core::kFrameHeadSize - 1);
    if (const std::int16_t status = read_bytes(line.get(), head, got); status != VNR_OK) {
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
        if (const std::int16_t status = read_bytes(line.get(), rest, got); status != VNR_OK) return status;
    }
    return core::finish_frame(std::span(wire).first(length), frame, buffer, total);
}

std::int16_t resetup_comm(std::int32_t icdev) {
    const std::shared_ptr<SerialLine> line = serial_line(icdev);
    return line && line->setup(kQueueSize, kLongTimeouts) ? 0 : 1;
}

}  // namespace vnr::link

extern "C" VNR_API int16_t VNR_CALL ReSetupComm(int32_t icdev) {
    try {
        return vnr::link::resetup_comm(icdev);
    } catch (...) {
        return 1;
    }
}
