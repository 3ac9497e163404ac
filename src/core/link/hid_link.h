// src/core/link/hid_link.h: core/link. Frames carried in USB HID feature reports with report id 6.
// Calls platform/hid_device.h and the device table; called by core/exchange.cpp and core/session.cpp.
//
// A report is the id, then up to 254 frame bytes, then zeros to the device's feature report length.
// Going out, a frame is cut into slices of 254 bytes. Coming in, a report carries 254 frame bytes of a
// plain reply and 253 of a split one; the reply's length field is the only framing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace vnr::link {

inline constexpr std::uint16_t kReaderVendorId = 0x23A4;
inline constexpr std::uint16_t kFirstProductId = 0x0213;   // tried first
inline constexpr std::uint16_t kSecondProductId = 0x0219;
inline constexpr std::uint8_t kReportId = 6;
// Reports are assembled in a buffer of this size: a device whose feature report is longer is not served.
inline constexpr std::size_t kReportBufferSize = 300;
inline constexpr std::size_t kReportReadCount = kReportBufferSize - 1;  // the bytes behind the id
inline constexpr std::size_t kOutSlice = 254;
inline constexpr std::size_t kPlainInSlice = 254;
inline constexpr std::size_t kSplitInSlice = 253;
// The start byte is looked for at offsets 0 to 254 of a report, in at most ten reports.
inline constexpr std::size_t kStartByteScan = 255;
inline constexpr int kStartByteReports = 10;
inline constexpr unsigned kMaxInterfaces = 64;  // interfaces 0 to 63 are looked at
inline constexpr int kSetTries = 3;

// 1 and the path of HID interface `index` when there is one (index below 64), else 0.
int hid_enum_path(unsigned index, std::string& path);

// Finds the first interface with these ids that has feature reports (of at most kReportBufferSize
// bytes), keeps its report length in feature_report_length and the two waits in read_timeout_ms and
// read_delay_ms, and returns its handle; 0 when none fits. Sets nComMode to 1 on a handle above 1,
// else to 0.
std::int32_t hid_open_reader(std::uint32_t read_timeout_ms, std::uint32_t read_delay_ms, std::uint16_t vendor_id,
                             std::uint16_t product_id);

// One report out: id 6 and `bytes` (at most 254), zero-filled to the report length; a refused report
// is tried again, three times in all. 0, -1 (three refusals) or -18 (icdev below 1).
std::int16_t hid_write_report(std::int32_t icdev, std::span<const std::uint8_t> bytes);

// One report in: after read_delay_ms, asks for report 6 until the device gives one or read_timeout_ms
// pass, and copies the bytes behind its id (up to 299) to `bytes`. 0, -17 or -18.
std::int16_t hid_read_report(std::int32_t icdev, std::span<std::uint8_t> bytes);

// The frame of `command` (split form when `mode` is 1, else plain) in slices of 254 bytes, each by
// hid_write_report; the first failing slice ends the send with its status. -37: too long for a frame.
std::int16_t hid_send_frame(std::int32_t icdev, std::uint8_t mode, std::span<const std::uint8_t> command);

// Receives one frame: a start byte among the first 255 bytes of at most ten reports, then as many
// reports as the declared length needs. Leaves the plain form in `buffer` and its length in `total`.
// 0, -17, -18, -34, -35 or -36.
std::int16_t hid_receive_frame(std::int32_t icdev, std::size_t& total, std::span<std::uint8_t> buffer);

}  // namespace vnr::link
