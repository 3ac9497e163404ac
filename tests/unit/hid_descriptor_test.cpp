// The report descriptor parser of the hidraw backend: the feature report length that Windows would
// give, worked out of descriptors shaped like real ones, and what it makes of cut and broken ones.
#include "platform/posix/hid_descriptor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace vnr::platform;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kReaderId = 6;

// A vendor-defined reader: report 6 carries 255 feature bytes (one 1-byte field then 254), and 64-byte
// input and output reports under ids 1 and 6 that must not count.
const Bytes kReader{
    0x06, 0x00, 0xFF,  // Usage Page (vendor 0xFF00)
    0x09, 0x01,        // Usage (1)
    0xA1, 0x01,        // Collection (Application)
    0x15, 0x00,        //   Logical Minimum (0)
    0x26, 0xFF, 0x00,  //   Logical Maximum (255)
    0x75, 0x08,        //   Report Size (8)
    0x85, 0x01,        //   Report ID (1)
    0x95, 0x40,        //   Report Count (64)
    0x09, 0x02,        //   Usage (2)
    0x81, 0x02,        //   Input (Data, Var, Abs)
    0x85, 0x06,        //   Report ID (6)
    0x09, 0x03,        //   Usage (3)
    0x91, 0x02,        //   Output (Data, Var, Abs): 64 bytes in report 6, not a feature
    0x95, 0x01,        //   Report Count (1)
    0x09, 0x04,        //   Usage (4)
    0xB1, 0x02,        //   Feature (Data, Var, Abs): 1 byte
    0x96, 0xFE, 0x00,  //   Report Count (254), two data bytes
    0x09, 0x05,        //   Usage (5)
    0xB1, 0x02,        //   Feature (Data, Var, Abs): 254 bytes
    0xC0,              // End Collection
};
constexpr std::size_t kReaderFirstFeatureEnd = 34;   // bytes up to and including the first Feature item
constexpr std::size_t kReaderSecondFeatureEnd = 41;  // ... and the second

// The boot keyboard of the HID class definition: input and output reports, no feature report.
const Bytes kKeyboard{
    0x05, 0x01, 0x09, 0x06, 0xA1, 0x01, 0x05, 0x07, 0x19, 0xE0, 0x29, 0xE7, 0x15, 0x00, 0x25, 0x01,
    0x75, 0x01, 0x95, 0x08, 0x81, 0x02, 0x95, 0x01, 0x75, 0x08, 0x81, 0x01, 0x95, 0x05, 0x75, 0x01,
    0x05, 0x08, 0x19, 0x01, 0x29, 0x05, 0x91, 0x02, 0x95, 0x01, 0x75, 0x03, 0x91, 0x01, 0x95, 0x06,
    0x75, 0x08, 0x15, 0x00, 0x25, 0x65, 0x05, 0x07, 0x19, 0x00, 0x29, 0x65, 0x81, 0x00, 0xC0,
};

TEST(HidDescriptor, FeatureReportLengthIsWhatWindowsGives) {
    // Reports 2 (32 bytes), 6 (48 and 16 more, declared in two places) and 9 (128 bytes).
    const Bytes several{0x75, 0x08, 0x85, 0x02, 0x95, 0x20, 0xB1, 0x02, 0x85, 0x06, 0x95, 0x30, 0xB1, 0x02,
                        0x85, 0x09, 0x95, 0x80, 0xB1, 0x02, 0x85, 0x06, 0x95, 0x10, 0xB1, 0x02};
    Bytes without_six = several;
    without_six[9] = without_six[21] = 0x07;  // report 6 renamed 7 in both places
    const struct { const char* what; Bytes descriptor; std::uint8_t id; std::size_t length; } cases[] = {
        {"the reader: report 6's feature bytes and the id byte", kReader, kReaderId, 256},
        {"no report ids: the one feature report, whatever the id, behind a 0 id byte",
         {0x75, 0x08, 0x95, 0x40, 0x09, 0x01, 0x81, 0x02, 0x95, 0x20, 0x09, 0x02, 0xB1, 0x02}, kReaderId, 33},
        {"report 6 declared in two places", several, kReaderId, 65},
        {"report 2", several, 2, 33},
        {"an id that is not declared: the longest", several, 5, 129},
        {"no report 6 left: the longest", without_six, kReaderId, 129},
        {"bits rounded up per report: 3 + 5, 4 + 4, 1", {0x85, 0x06, 0x75, 0x01, 0x95, 0x03, 0xB1, 0x02, 0x75, 0x05,
         0x95, 0x01, 0xB1, 0x03, 0x75, 0x04, 0x95, 0x02, 0xB1, 0x02, 0x75, 0x01, 0x95, 0x01, 0xB1, 0x02}, kReaderId, 4},
        {"the keyboard: input and output only", kKeyboard, kReaderId, 0},
        {"empty", {}, kReaderId, 0},
        {"a Feature item of no fields", {0x85, 0x06, 0x75, 0x08, 0x95, 0x00, 0xB1, 0x02}, kReaderId, 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(feature_report_length(c.descriptor, c.id), c.length) << c.what;
        EXPECT_TRUE(parse_feature_reports(c.descriptor).complete) << c.what;
    }
}

TEST(HidDescriptor, LongItemsAreSteppedOverAndPushPopRestoreTheGlobals) {
    const Bytes descriptor{
        // A long item whose data would declare report 9 with 255 bytes if it were read as items.
        0xFE, 0x08, 0xF0, 0x85, 0x09, 0x75, 0x08, 0x95, 0xFF, 0xB1, 0x02,
        0xFE, 0x00, 0xF1,                                // a long item without data
        0x85, 0x06, 0x75, 0x08, 0x95, 0x10,              // report 6, 16 fields of 8 bits
        0xA4,                                            // Push
        0x85, 0x02, 0x75, 0x10, 0x97, 0x20, 0x00, 0x00, 0x00, 0xB1, 0x02,  // report 2: 32 x 16 bits, 4-byte count
        0xB4,                                            // Pop: back to report 6, 8 bits, 16 fields
        0xB1, 0x02,                                      // report 6: 16 bytes
    };
    const FeatureReports reports = parse_feature_reports(descriptor);
    EXPECT_TRUE(reports.complete);
    EXPECT_EQ(reports.data_bytes(9), 0u);
    EXPECT_EQ(reports.data_bytes(2), 64u);
    EXPECT_EQ(reports.data_bytes(kReaderId), 16u);
    EXPECT_EQ(feature_report_length(reports, kReaderId), 17u);
}

TEST(HidDescriptor, CutDescriptorsKeepOnlyTheWholeItemsBeforeTheCut) {
    // Every prefix of the reader's descriptor, each in a buffer of exactly its size so that a read
    // past the end shows under the address sanitizer. The second Feature item, and with it report 6,
    // exists only once its data byte is in.
    for (std::size_t size = 0; size <= kReader.size(); ++size) {
        const Bytes cut(kReader.begin(), kReader.begin() + static_cast<std::ptrdiff_t>(size));
        const FeatureReports reports = parse_feature_reports(cut);
        const std::size_t expected =
            size >= kReaderSecondFeatureEnd ? 255 : (size >= kReaderFirstFeatureEnd ? 1 : 0);
        EXPECT_EQ(reports.data_bytes(kReaderId), expected) << "cut at " << size;
    }
    // Cut inside an item: "Report Count (254)" without its high byte is not taken.
    const Bytes mid(kReader.begin(), kReader.begin() + 36);
    const FeatureReports reports = parse_feature_reports(mid);
    EXPECT_FALSE(reports.complete);
    EXPECT_EQ(feature_report_length(reports, kReaderId), 2u);
}

TEST(HidDescriptor, BrokenItemsStopTheParseAndKeepWhatCameBefore) {
    const Bytes head{0x85, 0x06, 0x75, 0x08, 0x95, 0x04, 0xB1, 0x02};  // report 6: 4 bytes
    const Bytes more{0x95, 0x10, 0xB1, 0x02};                          // 16 bytes more, never counted
    // Long items that the descriptor's end cuts short: in the header, or in the data, which would hold
    // the Feature item behind it (64 bytes more) if the item were whole; then malformed globals before
    // `more`; then pushes without end, which run out of room instead of growing without bound.
    std::vector<Bytes> descriptors{
        {0xFE}, {0xFE, 0x10}, {0xFE, 0x10, 0x01, 0x95, 0x40, 0xB1, 0x02}, {0xFE, 0xFF, 0x01, 0x95, 0x40, 0xB1, 0x02}};
    for (const Bytes& broken : std::vector<Bytes>{{0xB4},               // Pop without Push
                                                  {0x85, 0x00},         // Report ID 0
                                                  {0x84},               // Report ID without data: 0
                                                  {0x86, 0x06, 0x01},   // Report ID 262
                                                  Bytes(1000, 0xA4)}) {  // Push after Push
        Bytes tail = broken;
        tail.insert(tail.end(), more.begin(), more.end());
        descriptors.push_back(tail);
    }
    for (const Bytes& tail : descriptors) {
        Bytes descriptor = head;
        descriptor.insert(descriptor.end(), tail.begin(), tail.end());
        const FeatureReports reports = parse_feature_reports(descriptor);
        EXPECT_FALSE(reports.complete) << int(tail[0]) << " " << tail.size();
        EXPECT_EQ(feature_report_length(reports, kReaderId), 5u) << int(tail[0]) << " " << tail.size();
    }
}

TEST(HidDescriptor, HugeSizesSaturateInsteadOfWrapping) {
    // 0xFFFFFFFF fields of 0xFFFFFFFF bits, twice: far beyond any buffer, and must not wrap to a small
    // length that a caller would then trust.
    const Bytes huge{0x85, 0x06, 0x77, 0xFF, 0xFF, 0xFF, 0xFF, 0x97, 0xFF, 0xFF, 0xFF, 0xFF,
                     0xB1, 0x02, 0xB1, 0x02, 0xB1, 0x02};
    const std::size_t length = feature_report_length(huge, kReaderId);
    EXPECT_GT(length, std::size_t{1} << 30);
}

}  // namespace
