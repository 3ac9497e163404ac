// fuzz/fuzzed_link.h: fuzz. A serial port and a HID interface whose incoming bytes are the fuzzer's,
// put behind a handle of the device table, so that the real links (core/link) and the exchange run
// against them. Nothing waits: a port with nothing left fails its read, and a HID interface with
// nothing left gives reports of zeros.
#pragma once

#include "core/link/device_table.h"
#include "core/state.h"
#include "platform/hid_device.h"
#include "platform/serial_port.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace vnr::fuzz {

using Bytes = std::span<const std::uint8_t>;

// What the device hands over, front to back. Reset for each input.
struct Incoming {
    Bytes rest;
    std::size_t chunk = 1;  // most bytes one serial read gives
    std::vector<std::uint8_t> sent;  // everything the library wrote, in order
    // When set, the port answers every write with the frame this gives (a reader that answers each
    // command), served before `rest`.
    std::function<std::vector<std::uint8_t>()> answer;
    std::vector<std::uint8_t> queued;
    std::size_t queued_at = 0;

    Bytes take(std::size_t most) {
        const Bytes head = rest.first(std::min(most, rest.size()));
        rest = rest.subspan(head.size());
        return head;
    }
};

inline Incoming& incoming() {
    static Incoming instance;
    return instance;
}

class FuzzedPort : public platform::SerialPort {
public:
    bool setup(std::uint32_t, std::uint32_t, const platform::SerialTimeouts&) noexcept override { return true; }
    bool purge() noexcept override { return true; }
    bool write(const std::uint8_t* bytes, std::size_t size) noexcept override {
        Incoming& in = incoming();
        in.sent.insert(in.sent.end(), bytes, bytes + size);
        if (in.answer) {
            in.queued = in.answer();
            in.queued_at = 0;
        }
        return true;
    }
    // The link asks for one byte, then the head, then the rest of the frame: each read gives at most
    // `chunk` bytes, and a read with nothing left fails (the cable pulled), so no read waits.
    long read(std::uint8_t* bytes, std::size_t size) noexcept override {
        Incoming& in = incoming();
        if (in.queued_at < in.queued.size()) {
            const std::size_t count = std::min(size, in.queued.size() - in.queued_at);
            std::copy_n(in.queued.begin() + static_cast<std::ptrdiff_t>(in.queued_at), count, bytes);
            in.queued_at += count;
            return static_cast<long>(count);
        }
        if (incoming().rest.empty()) return -1;
        const Bytes given = incoming().take(std::min(size, incoming().chunk));
        std::copy(given.begin(), given.end(), bytes);
        return static_cast<long>(given.size());
    }
    bool close() noexcept override { return true; }
};

class FuzzedHid : public platform::HidDevice {
public:
    std::uint16_t vendor_id() const noexcept override { return 0x23A4; }
    std::uint16_t product_id() const noexcept override { return 0x0213; }
    std::size_t feature_report_length() const noexcept override { return core::link_state().feature_report_length; }
    bool set_feature(std::span<const std::uint8_t> report) noexcept override {
        if (!report.empty()) incoming().sent.insert(incoming().sent.end(), report.begin() + 1, report.end());
        return true;
    }
    // Every get is answered at once: the next report-length-minus-one bytes behind id 6, zeros when the
    // fuzzer's bytes run out.
    bool get_feature(std::span<std::uint8_t> report) noexcept override {
        if (report.empty()) return false;
        std::fill(report.begin() + 1, report.end(), 0);
        const Bytes given = incoming().take(report.size() - 1);
        std::copy(given.begin(), given.end(), report.begin() + 1);
        return true;
    }
    bool close() noexcept override { return true; }
};

// One handle for each kind, opened once for the whole run.
inline std::int32_t fuzzed_port_handle() {
    static const std::int32_t handle = link::add_serial_port(std::make_unique<FuzzedPort>(), platform::SerialTimeouts{});
    return handle;
}
inline std::int32_t fuzzed_hid_handle() {
    static const std::int32_t handle = link::add_hid_device(std::make_unique<FuzzedHid>());
    return handle;
}

}  // namespace vnr::fuzz
