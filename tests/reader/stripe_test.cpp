// tests/reader/stripe_test.cpp: the track record of a stripe read's reply, hostile ones included; the waits.
#include "core/state.h"
#include "magstripe/reply.h"
#include "reader_support.h"

#include <array>
#include <optional>
#include <string>

namespace {

using namespace readertest;
using Tracks = std::array<std::string, 3>;

constexpr uint8_t F5 = 0xF5;

struct RecordCase {
    const char* what;
    Bytes reply;
    std::optional<Tracks> record;  // none: refused, the record untouched
};

const RecordCase kRecords[] = {
    {"sentinels, track 1 absent", Bytes{F5, 0x29, 0x6B} + text(";" + std::string(39, '2') + "?;" + std::string(105, '3') + "?"),
     Tracks{"", std::string(39, '2'), std::string(105, '3')}},
    {"no sentinel: as they came", Bytes{5, 0, 0} + text("ABCDE"), Tracks{"ABCDE", "", ""}},
    {"track 2 with ;: loses two in front", Bytes{0, 5, 0} + text(";:34?"), Tracks{"", "34", ""}},
    {"all three with sentinels", Bytes{4, 3, 3} + text("%AB?;C?;D?"), Tracks{"AB", "C", "D"}},
    {"too short for the sentinels", Bytes{1, 2, 3} + text("%;:;x?"), Tracks{"", "", "x"}},
    {"longest tracks", Bytes{0xF4, 0x30, 0} + text(std::string(244, 'a') + std::string(48, 'b')),
     Tracks{std::string(244, 'a'), std::string(48, 'b'), ""}},
    {"lengths past the data", Bytes{10, 0, 0} + text("ABC"), std::nullopt},
    {"0xF5 is no length, the last one is past the data", Bytes{F5, F5, 2} + text("A"), std::nullopt},
    {"no lengths", Bytes{5, 0}, std::nullopt},
};

TEST(StripeRecord, TracksGoToTheirPlacesWithoutSentinelsAndNoReplyWritesOutOfBounds) {
    for (const RecordCase& c : kRecords) {
        SCOPED_TRACE(c.what);
        Bytes record(vnr::magstripe::kTrackRecordSize + 16, 0xEE);  // 16 guard bytes behind the record
        const auto lengths = vnr::magstripe::fill_track_record(
            c.reply, std::span<uint8_t, vnr::magstripe::kTrackRecordSize>(record.data(), vnr::magstripe::kTrackRecordSize));
        ASSERT_EQ(lengths.has_value(), c.record.has_value());
        Bytes expected(record.size(), 0xEE);
        for (std::size_t i = 0; c.record && i < 3; ++i) {
            const std::string& track = (*c.record)[i];
            EXPECT_EQ((*lengths)[i], track.size());
            expected[i] = uint8_t(track.size());
            std::copy(track.begin(), track.end(), expected.begin() + 3 + 256 * static_cast<std::ptrdiff_t>(i));
        }
        EXPECT_EQ(record, expected) << "the bytes behind each track and behind the record stay";
    }
}

using Stripe = Session;

TEST_F(Stripe, ASwipeFillsTheRecordAndAHostileReplyIsRefused) {
    answer({0x32, 0x60}, Bytes{3, F5, 0} + text("%7?"));
    Bytes record(771, 0xEE);
    EXPECT_EQ(magnetic_read(icdev, 10, record.data()), VNR_OK);
    EXPECT_EQ(Bytes(record.begin(), record.begin() + 5), (Bytes{1, 0, 0, '7', 0xEE}));
    answer({0x32, 0x60}, {0x20, 0, 0});
    EXPECT_EQ(magnetic_read_ms(icdev, 0, record.data()), VNR_E_END_BYTE);
    EXPECT_EQ(record[0], 1);
    expect_logged({"----magnetic_read end---[st == 0]-[len = 6]-1-0-0!!!", "==> magnetic_read fail, 状态码：-35."});
}

using StripeWaits = HidSession;

TEST_F(StripeWaits, EachReadWaitsByItsRuleAndPutsBackTheStandingWait) {
    answer({0x32, 0x60}, {F5, F5, F5});
    Bytes record(771);
    const std::pair<std::function<int16_t()>, std::pair<uint8_t, uint32_t>> cases[] = {
        {[&] { return magnetic_read(icdev, 0, record.data()); }, {0, 1000}},
        {[&] { return magnetic_read(icdev, 3, record.data()); }, {3, 5000}},
        {[&] { return magnetic_read(icdev, 4, record.data()); }, {4, 5000}},
        {[&] { return magnetic_read(icdev, 5, record.data()); }, {5, 6000}},
        {[&] { return magnetic_read_ms(icdev, 0, record.data()); }, {0, 1000}},
        {[&] { return magnetic_read_ms(icdev, 1500, record.data()); }, {1, 2500}},
        {[&] { return magnetic_read_ms(icdev, -1500, record.data()); }, {0, 1000}},
    };
    for (const auto& [read, expected] : cases) {
        reader.clear_history();
        provider.waits.clear();
        EXPECT_EQ(read(), VNR_OK);
        EXPECT_EQ(sent(), (std::vector<Bytes>{Bytes{0x32, 0x60, expected.first}}));
        EXPECT_EQ(timeouts(), std::vector<uint32_t>{expected.second});
        EXPECT_EQ(vnr::core::link_state().read_timeout_ms.load(), 2000u);
    }
}

}  // namespace
