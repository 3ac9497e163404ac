// tests/sim/hid_reader_test.cpp: the reader as a HID interface: how replies are cut into feature
// reports, when each report becomes ready, and the bus's exclusive open.
#include <gtest/gtest.h>

#include "sim_test_util.h"
#include "vnrsim/hid_reader.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using simtest::Bytes;
using simtest::hex;
using vnrsim::Form;
using vnrsim::HidReader;

// `count` bytes that differ from their neighbours and hold no start byte.
Bytes data_of(std::size_t count) {
    Bytes out(count);
    for (std::size_t i = 0; i < count; ++i) out[i] = std::uint8_t(0x10 + i % 200);
    return out;
}

// Report 6 of `length` bytes holding `count` bytes of `stream` from `offset`, zeros after.
Bytes report_of(const Bytes& stream, std::size_t offset, std::size_t count, std::size_t length = 256) {
    Bytes report(length, 0);
    report[0] = 6;
    std::copy_n(stream.begin() + std::ptrdiff_t(offset), count, report.begin() + 1);
    return report;
}

// Sends `command` in reports of 254 bytes (fewer if the report is shorter), `between` apart on `now`.
void send(HidReader& hid, const Bytes& command, Clock::time_point* now = nullptr, Clock::duration between = {}) {
    const Bytes frame = vnrsim::encode_frame(command, Form::split);
    const std::size_t length = hid.feature_report_length(), slice = std::min<std::size_t>(254, length - 1);
    for (std::size_t offset = 0; offset < frame.size(); offset += slice) {
        if (now && offset > 0) *now += between;
        ASSERT_TRUE(hid.set_feature(report_of(frame, offset, std::min(slice, frame.size() - offset), length)));
    }
}

// One get with a dirty buffer, as a host's may be; the report when the device answered.
std::optional<Bytes> get(HidReader& hid) {
    Bytes report(hid.feature_report_length(), 0xEE);
    report[0] = 6;
    if (!hid.get_feature(report)) return std::nullopt;
    return report;
}

TEST(HidReader, RepliesAreSlicedIntoReportsOf254PlainAnd253Split) {
    struct Case {
        Form form;
        std::size_t data, noise, report_length;
        std::vector<std::size_t> slices;  // stream bytes in each report: noise, then the frame
    };
    const Case cases[] = {
        {Form::plain, 600, 0, 256, {254, 254, 99}},
        {Form::split, 300, 0, 256, {253, 253, 106}},
        {Form::plain, 247, 0, 256, {254}},                   // 254 wire bytes: one report
        {Form::plain, 248, 0, 256, {254, 1}},                // the end byte alone
        {Form::plain, 243, 10, 256, {254, 6}},               // noise shortens the frame's share
        {Form::split, 243, 100, 256, {253, 253, 92}},
        {Form::plain, 300, 0, 301, {254, 53}},               // a longer report keeps the slice
        {Form::plain, 300, 0, 64, {63, 63, 63, 63, 55}},     // a shorter one narrows it
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.data << " data bytes, noise " << c.noise << ", report " << c.report_length);
        vnrsim::Reader reader;
        reader.set_form(c.form);
        reader.add_reply({hex("32 50"), 0, data_of(c.data), std::nullopt, std::nullopt});
        if (c.noise) reader.inject(vnrsim::Fault::noise, vnrsim::Times::once, c.noise);
        HidReader hid(reader, {.feature_report_length = c.report_length});
        send(hid, hex("32 50"));
        Bytes stream(c.noise, vnrsim::kNoiseByte);
        const Bytes frame = simtest::reply(0, data_of(c.data), c.form);
        stream.insert(stream.end(), frame.begin(), frame.end());
        std::size_t offset = 0;
        for (const std::size_t slice : c.slices) {
            EXPECT_EQ(get(hid), report_of(stream, offset, slice, c.report_length)) << "at " << offset;
            offset += slice;
        }
        EXPECT_EQ(offset, stream.size());
        EXPECT_FALSE(get(hid)) << "the reply is used up";
    }
    vnrsim::Reader reader;
    EXPECT_THROW(HidReader(reader, {.feature_report_length = 1}), std::invalid_argument);
}

TEST(HidReader, EachReportIsReadyAtTheLatencyFromTheCommandsLastReportThenAtTheInterval) {
    struct Case {
        Clock::duration latency, interval;
        std::size_t reports;
    };
    const Case cases[] = {{5ms, 2ms, 3}, {0ms, 0ms, 2}, {20ms, 0ms, 1}, {0ms, 7ms, 4}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.reports << " reports");
        Clock::time_point now = Clock::time_point{} + 1h;
        vnrsim::Reader reader;
        // A split frame of 253 * reports - 88 bytes: `reports` reports.
        reader.add_reply({hex("40"), 0, data_of((253 * c.reports - 100) / 2), std::nullopt, std::nullopt});
        HidReader hid(reader, {.latency = c.latency, .report_interval = c.interval, .clock = [&] { return now; }});
        Bytes command = hex("40");
        command.resize(200, 0xAB);  // 408 wire bytes: two reports, 100 ms apart
        send(hid, command, &now, 100ms);
        const Clock::time_point sent = now;
        EXPECT_EQ(hid.last_report_ready(), sent + c.latency + Clock::duration(c.interval * (c.reports - 1)));
        for (std::size_t i = 0; i < c.reports; ++i) {
            const Clock::time_point due = sent + c.latency + c.interval * i;
            now = due - 1ns;
            EXPECT_FALSE(get(hid)) << "report " << i << " asked early";
            now = due;
            EXPECT_TRUE(get(hid)) << "report " << i << " on time";
        }
        now += 1h;
        EXPECT_FALSE(get(hid));
    }
}

TEST(HidBus, AnOpenInterfaceIsRefusedToASecondOpenUntilClosed) {
    vnrsim::Reader reader;
    HidReader first(reader), second(reader);
    vnrsim::HidBus bus;
    const std::string a = bus.add_reader(first), b = bus.add_reader(second, vnrsim::kReaderProductB);
    auto handle = bus.open(a);
    ASSERT_TRUE(handle);
    EXPECT_FALSE(bus.open(a));
    EXPECT_TRUE(bus.open(b)) << "other interfaces are free";
    EXPECT_TRUE(handle->close());
    EXPECT_FALSE(handle->close());
    EXPECT_FALSE(handle->set_feature(Bytes(256, 6))) << "a closed handle is dead";
    EXPECT_TRUE(bus.open(a)) << "and its interface free again";
    EXPECT_FALSE(bus.is_open(a)) << "the destructor closes";
}

}  // namespace
