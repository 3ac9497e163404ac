// src/platform/posix/hid_descriptor.cpp: platform (POSIX). The feature reports of a HID report
// descriptor, item by item, as the HID class definition lays items out.
#include "platform/posix/hid_descriptor.h"

#include <algorithm>
#include <limits>

namespace vnr::platform {

namespace {

constexpr std::uint8_t kLongItemPrefix = 0xFE;  // followed by data size, tag, data
constexpr std::size_t kLongItemHeaderSize = 3;

// Item types, bits 2-3 of a short item's prefix.
constexpr std::uint8_t kTypeMain = 0;
constexpr std::uint8_t kTypeGlobal = 1;

// Tags, bits 4-7 of the prefix, of the items that shape feature reports.
constexpr std::uint8_t kMainFeature = 0xB;
constexpr std::uint8_t kGlobalReportSize = 0x7;
constexpr std::uint8_t kGlobalReportId = 0x8;
constexpr std::uint8_t kGlobalReportCount = 0x9;
constexpr std::uint8_t kGlobalPush = 0xA;
constexpr std::uint8_t kGlobalPop = 0xB;

// Deeper than any real descriptor nests its Push items; a descriptor going further is not parsed on.
constexpr std::size_t kGlobalStackDepth = 16;

// The part of the global state that sizes a report.
struct GlobalState {
    std::uint32_t report_size = 0;   // bits per field
    std::uint32_t report_count = 0;  // fields per Main item
    std::uint8_t report_id = 0;
};

// Data bytes of a short item, from the two low bits of its prefix: 0, 1, 2 or 4.
constexpr std::size_t short_item_data_size(std::uint8_t prefix) {
    constexpr std::array<std::size_t, 4> sizes{0, 1, 2, 4};
    return sizes[prefix & 0x3];
}

// Item data are unsigned little-endian numbers of up to four bytes.
std::uint32_t little_endian(std::span<const std::uint8_t> data) {
    std::uint32_t value = 0;
    for (std::size_t i = data.size(); i > 0; --i) value = (value << 8) | data[i - 1];
    return value;
}

std::uint64_t saturating_add(std::uint64_t a, std::uint64_t b) {
    return b > std::numeric_limits<std::uint64_t>::max() - a ? std::numeric_limits<std::uint64_t>::max() : a + b;
}

}  // namespace

std::size_t FeatureReports::data_bytes(std::uint8_t report_id) const noexcept {
    const std::uint64_t report_bits = bits[report_id];
    const std::uint64_t bytes = report_bits / 8 + (report_bits % 8 != 0 ? 1 : 0);
    // Leaves room for the id byte that feature_report_length() adds, even on a 32-bit size_t.
    return static_cast<std::size_t>(std::min<std::uint64_t>(bytes, std::numeric_limits<std::size_t>::max() - 1));
}

FeatureReports parse_feature_reports(std::span<const std::uint8_t> descriptor) noexcept {
    FeatureReports reports;
    GlobalState state;
    std::array<GlobalState, kGlobalStackDepth> stack{};
    std::size_t depth = 0;

    std::size_t at = 0;
    while (at < descriptor.size()) {
        const std::uint8_t prefix = descriptor[at];
        if (prefix == kLongItemPrefix) {
            // No long item is defined that shapes a report; only its length matters.
            if (descriptor.size() - at < kLongItemHeaderSize ||
                descriptor.size() - at - kLongItemHeaderSize < descriptor[at + 1]) {
                reports.complete = false;
                break;
            }
            at += kLongItemHeaderSize + descriptor[at + 1];
            continue;
        }
        const std::size_t size = short_item_data_size(prefix);
        if (descriptor.size() - at - 1 < size) {
            reports.complete = false;  // the item's data is cut off: it is not taken
            break;
        }
        const std::uint32_t value = little_endian(descriptor.subspan(at + 1, size));
        at += 1 + size;

        const std::uint8_t type = (prefix >> 2) & 0x3;
        const std::uint8_t tag = prefix >> 4;
        if (type == kTypeMain && tag == kMainFeature) {
            // Both factors fit in 32 bits, so their product fits in 64.
            const std::uint64_t item_bits = std::uint64_t{state.report_size} * state.report_count;
            reports.bits[state.report_id] = saturating_add(reports.bits[state.report_id], item_bits);
        } else if (type == kTypeGlobal) {
            bool malformed = false;
            switch (tag) {
                case kGlobalReportSize: state.report_size = value; break;
                case kGlobalReportCount: state.report_count = value; break;
                case kGlobalReportId:
                    // Report ids run from 1 to 255; 0 stands for "no ids" and is never declared.
                    if (value == 0 || value > 0xFF) {
                        malformed = true;
                        break;
                    }
                    state.report_id = static_cast<std::uint8_t>(value);
                    reports.uses_report_ids = true;
                    break;
                case kGlobalPush:
                    if (depth == stack.size()) malformed = true;
                    else stack[depth++] = state;
                    break;
                case kGlobalPop:
                    if (depth == 0) malformed = true;
                    else state = stack[--depth];
                    break;
                default: break;  // usage page, logical and physical extents, units
            }
            if (malformed) {
                reports.complete = false;
                break;
            }
        }
    }
    return reports;
}

std::size_t feature_report_length(const FeatureReports& reports, std::uint8_t report_id) noexcept {
    std::size_t bytes = 0;
    if (!reports.uses_report_ids) {
        bytes = reports.data_bytes(0);
    } else if (reports.bits[report_id] != 0) {
        bytes = reports.data_bytes(report_id);
    } else {
        for (unsigned id = 0; id < reports.bits.size(); ++id)
            bytes = std::max(bytes, reports.data_bytes(static_cast<std::uint8_t>(id)));
    }
    return bytes == 0 ? 0 : bytes + 1;  // the report id byte, 0 when the descriptor uses none
}

std::size_t feature_report_length(std::span<const std::uint8_t> descriptor, std::uint8_t report_id) noexcept {
    return feature_report_length(parse_feature_reports(descriptor), report_id);
}

}  // namespace vnr::platform
