// src/platform/posix/hid_descriptor.h: platform (POSIX). Reads the feature reports that a HID report
// descriptor declares. Pure functions over bytes: no system call, no allocation.
//
// hidraw hands out the raw report descriptor, while the rest of the library expects the feature report
// length that the Windows HID capabilities give (FeatureReportByteLength). This parser works that
// length out of the descriptor.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vnr::platform {

// What a report descriptor declares about its feature reports.
struct FeatureReports {
    // Feature bits declared under each report id. Without Report ID items everything falls under id 0.
    std::array<std::uint64_t, 256> bits{};
    // True when the descriptor has at least one Report ID item: every report then starts with its id.
    bool uses_report_ids = false;
    // False when parsing stopped early (a truncated item, a bad Report ID, an unbalanced Pop, too deep a
    // Push); `bits` then holds what the items before that point declared.
    bool complete = true;

    // Bytes of the feature report with this id, its data only (no id byte): its bits rounded up to
    // whole bytes. 0 when the id declares no feature bits.
    std::size_t data_bytes(std::uint8_t report_id) const noexcept;
};

// Walks the descriptor's items. Short items carry 0, 1, 2 or 4 data bytes; long items (prefix 0xFE)
// are stepped over by their own size. Report Size, Report Count and Report ID set the global state,
// Push and Pop save and restore it, and each Main Feature item adds Report Size * Report Count bits
// to its report id. Input, Output, Collection and local items declare nothing here. Never reads
// outside `descriptor`.
FeatureReports parse_feature_reports(std::span<const std::uint8_t> descriptor) noexcept;

// The feature report length that Windows would give for this descriptor when the caller is after
// report `report_id`, in bytes with the report id byte included:
//  - the id's own report plus one, when the descriptor declares a feature report with that id;
//  - the (only) feature report plus one, when the descriptor uses no report ids at all (the id byte
//    is then 0 on the wire);
//  - otherwise the longest feature report plus one, as the Windows capabilities give the maximum;
//  - 0 when there is no feature report.
std::size_t feature_report_length(const FeatureReports& reports, std::uint8_t report_id) noexcept;
std::size_t feature_report_length(std::span<const std::uint8_t> descriptor, std::uint8_t report_id) noexcept;

}  // namespace vnr::platform
