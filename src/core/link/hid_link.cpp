// src/core/link/hid_link.cpp: core/link. The HID link: discovery, report transfers and slicing.
#include "core/link/hid_link.h"

#include "core/frame.h"
#include "core/wipe.h"
#include "core/link/device_table.h"
#include "core/log.h"
#include "core/state.h"
#include "platform/clock.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

namespace vnr::link {

namespace {

using core::link_state;

// While a report is not ready the device is asked again after a pause: kShortPauseUs for the first
// kShortPausesMs of the wait, as a reader answers a short command within a few report intervals and a
// longer pause would make every exchange late by up to that pause; kPollPauseUs after that, so that a
// long wait (a swipe, a PIN) costs next to no processor time and a report that comes so late is taken
// late by a few per cent of its wait at most. A pause rather than none at all: a thread that asks
// without pause competes with every other one for the processor and loses more to that than it gains.
constexpr std::uint64_t kShortPausesMs = 10;
constexpr std::uint64_t kShortPauseUs = 20;
constexpr std::uint64_t kPollPauseUs = 400;

using Report = std::array<std::uint8_t, kReportBufferSize>;

// The report length that every set and get uses, bounded by the report buffer.
std::size_t report_length() {
    return std::min<std::size_t>(link_state().feature_report_length.load(), kReportBufferSize);
}

// Milliseconds since `start` on the high-resolution counter, in 64-bit whole numbers.
std::uint64_t elapsed_ms(std::uint64_t start, std::uint64_t frequency) {
    return (platform::performance_counter() - start) * 1000 / frequency;
}

}  // namespace

int hid_enum_path(unsigned index, std::string& path) {
    if (index >= kMaxInterfaces) return 0;
    return platform::hid_interface_path(index, path) ? 1 : 0;
}

std::int32_t hid_open_reader(std::uint32_t read_timeout_ms, std::uint32_t read_delay_ms, std::uint16_t vendor_id,
                             std::uint16_t product_id) {
    std::int32_t handle = 0;
    std::string path;
    for (unsigned index = 0; hid_enum_path(index, path) == 1; ++index) {
        platform::HidOpenError error = platform::HidOpenError::none;  // an interface that will not open is passed over
        std::unique_ptr<platform::HidDevice> device = platform::open_hid_path(path, error);
        if (!device || device->vendor_id() != vendor_id || device->product_id() != product_id) continue;
        // Several interfaces can carry the same ids; only one with feature reports that fit is taken.
        const std::size_t length = device->feature_report_length();
        if (length == 0 || length > kReportBufferSize) continue;
        link_state().feature_report_length = static_cast<std::uint16_t>(length);
        core::set_comm_timeout(read_timeout_ms, read_delay_ms);
        handle = add_hid_device(std::move(device));
        char line[64];
        std::snprintf(line, sizeof line, "Open Device OK, HANDLE: %d.", handle);
        log::raw(line);
        break;
    }
    link_state().com_mode = handle > 1 ? core::kLinkHid : core::kLinkNone;
    return handle;
}

std::int16_t hid_write_report(std::int32_t icdev, std::span<const std::uint8_t> bytes) {
    if (icdev < 1) return VNR_E_BAD_HANDLE;
    Report report{};
    const core::WipeOnExit wipe(report);
    report[0] = kReportId;
    std::copy_n(bytes.begin(), std::min(bytes.size(), kOutSlice), report.begin() + 1);
    const std::shared_ptr<platform::HidDevice> device = hid_device(icdev);
    for (int attempt = 0; attempt < kSetTries; ++attempt)
        if (device && device->set_feature(std::span(report).first(report_length()))) return VNR_OK;
    return VNR_E_GENERAL;
}

std::int16_t hid_read_report(std::int32_t icdev, std::span<std::uint8_t> bytes) {
    if (icdev < 1) return VNR_E_BAD_HANDLE;
    const std::uint64_t frequency = platform::performance_frequency();
    const std::uint32_t delay = link_state().read_delay_ms;
    const std::uint32_t timeout = link_state().read_timeout_ms;
    if (delay > 0) platform::sleep_us(delay * 1000ull);  // the pause the reader is given before each report
    const std::uint64_t start = platform::performance_counter();
    if (timeout == 0) return VNR_E_NO_REPLY;
    const std::shared_ptr<platform::HidDevice> device = hid_device(icdev);
    const std::size_t count = std::min(bytes.size(), kReportReadCount);
    Report report;
    const core::WipeOnExit wipe(report);
    for (;;) {
        report.fill(0);
        report[0] = kReportId;
        std::fill(bytes.begin(), bytes.end(), 0);
        // A refused get, or a report with another id, is how the reader says it has nothing yet.
        if (device && device->get_feature(std::span(report).first(report_length())) && report[0] == kReportId) {
            std::copy_n(report.begin() + 1, count, bytes.begin());
            return VNR_OK;
        }
        const std::uint64_t waited = elapsed_ms(start, frequency);
        if (waited >= timeout) return VNR_E_NO_REPLY;
        platform::sleep_us(waited < kShortPausesMs ? kShortPauseUs : kPollPauseUs);
    }
}

std::int16_t hid_send_frame(std::int32_t icdev, std::uint8_t mode, std::span<const std::uint8_t> command) {
    core::WipedBytes frame(core::kFrameBufferSize);
    const auto form = mode == core::kSplitForm ? core::FrameForm::split : core::FrameForm::plain;
    const std::size_t size = core::encode_frame(command, form, frame);
    if (size == 0) return VNR_E_BAD_ARGUMENT;
    for (std::size_t at = 0; at < size; at += kOutSlice) {
        const std::size_t slice = std::min(kOutSlice, size - at);
        if (const std::int16_t status = hid_write_report(icdev, std::span(frame).subspan(at, slice)); status != VNR_OK)
            return status;
    }
    return VNR_OK;
}

std::int16_t hid_receive_frame(std::int32_t icdev, std::size_t& total, std::span<std::uint8_t> buffer) {
    total = 0;
    std::array<std::uint8_t, kReportReadCount> report{};
    const core::WipeOnExit wipe_report(report);

    // The start byte, within the first 255 bytes of one of at most ten reports.
    std::size_t p = kStartByteScan;
    for (int read = 0; read < kStartByteReports && p == kStartByteScan; ++read) {
        if (const std::int16_t status = hid_read_report(icdev, report); status != VNR_OK) return status;
        p = static_cast<std::size_t>(std::find(report.begin(), report.begin() + kStartByteScan, core::kStartByte) -
                                     report.begin());
    }
    if (p == kStartByteScan) return VNR_E_NO_START;

    // The form is told by the two bytes behind the start byte, and with it how many frame bytes a
    // report holds (254 plain, 253 split). Offsets below 253 hold frame bytes in either form; when the
    // start byte sits so far back that the two bytes may lie beyond them, they are the first bytes of
    // the next report as the split form places them.
    auto nibble = [](std::uint8_t byte) { return byte >= 0x30 && byte <= 0x3F; };
    std::array<std::uint8_t, kReportReadCount> next{};
    const core::WipeOnExit wipe_next(next);
    bool have_next = false;
    bool split = false;
    if (p + 2 < kSplitInSlice) {
        split = nibble(report[p + 1]) && nibble(report[p + 2]);
    } else {
        if (const std::int16_t status = hid_read_report(icdev, next); status != VNR_OK) return status;
        have_next = true;
        auto split_byte = [&](std::size_t at) { return at < kSplitInSlice ? report[at] : next[at - kSplitInSlice]; };
        split = nibble(split_byte(p + 1)) && nibble(split_byte(p + 2));
    }
    const std::size_t slice = split ? kSplitInSlice : kPlainInSlice;
    if (p >= slice) return VNR_E_END_BYTE;  // a start byte beyond the report's frame bytes

    core::WipedBytes wire(core::kFrameBufferSize);
    std::size_t have = slice - p;
    std::copy_n(report.begin() + p, have, wire.begin());
    auto append = [&](const std::array<std::uint8_t, kReportReadCount>& from, std::size_t wanted) {
        const std::size_t count = std::min({slice, wanted, wire.size() - have});
        std::copy_n(from.begin(), count, wire.begin() + have);
        have += count;
    };
    auto take_report = [&](std::size_t wanted) -> std::int16_t {
        if (have_next) {
            have_next = false;
            append(next, wanted);
            return VNR_OK;
        }
        if (const std::int16_t status = hid_read_report(icdev, next); status != VNR_OK) return status;
        append(next, wanted);
        return VNR_OK;
    };
    // The head is normally whole in the first report; a start byte near its end leaves the rest of
    // the head to the next one.
    while (have < core::kFrameHeadSize)
        if (const std::int16_t status = take_report(slice); status != VNR_OK) return status;
    const core::FrameHead head = core::read_frame_head(std::span(wire).first<core::kFrameHeadSize>());
    if ((head.form == core::FrameForm::split) != split) return VNR_E_END_BYTE;
    const std::size_t length = core::wire_length(head.form, head.payload_length);
    total = head.payload_length + 5;
    if (length > wire.size() || total > buffer.size()) {
        total = 0;
        return VNR_E_END_BYTE;
    }
    while (have < length)
        if (const std::int16_t status = take_report(length - have); status != VNR_OK) return status;
    return core::finish_frame(std::span(wire).first(length), head, buffer, total);
}

}  // namespace vnr::link
