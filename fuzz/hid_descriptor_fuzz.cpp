// fuzz/hid_descriptor_fuzz.cpp: the HID report descriptor parser (platform/posix/hid_descriptor.h) over
// any bytes, as hidraw would hand them over: short and long items, Push and Pop, report ids, and the
// feature report length worked out of them for the reader's report id and for every other.
#include "check.h"
#include "platform/posix/hid_descriptor.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::platform;
    const std::span<const std::uint8_t> descriptor(data, size);
    const FeatureReports reports = parse_feature_reports(descriptor);
    for (unsigned id = 0; id < 256; ++id) {
        const std::size_t length = feature_report_length(reports, static_cast<std::uint8_t>(id));
        // A length counts the id byte, so it is never 1; with no feature bits it is 0.
        FUZZ_CHECK(length != 1);
        if (!reports.uses_report_ids) FUZZ_CHECK(length == feature_report_length(reports, 0));
    }
    FUZZ_CHECK(feature_report_length(descriptor, 6) == feature_report_length(reports, 6));
    return 0;
}
