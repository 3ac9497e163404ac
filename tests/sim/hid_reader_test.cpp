// tests/sim/hid_reader_test.cpp: the reader as a HID interface: how replies are cut into feature
// reports, when reports become ready, commands across reports, faults, refusals, the bus of interfaces,
// and use from two threads.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "sim_test_util.h"
#include "vnrsim/hid_reader.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using simtest::Bytes;
using simtest::hex;
using vnrsim::Fault;
using vnrsim::Form;
using vnrsim::HidBus;
using vnrsim::HidOptions;
using vnrsim::HidReader;
using vnrsim::Reader;
using vnrsim::Times;

const Bytes kLongCommand = hex("32 50");  // answered by the canned reply that a test sets up

Bytes reply_frame(std::uint16_t status, const Bytes& data, Form form) {
    Bytes payload{static_cast<std::uint8_t>(status >> 8), static_cast<std::uint8_t>(status & 0xFF)};
    payload.insert(payload.end(), data.begin(), data.end());
    return vnrsim::encode_frame(payload, form);
}

// `count` bytes that differ from their neighbours and hold no start byte.
Bytes data_of(std::size_t count) {
    Bytes out(count);
    for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<std::uint8_t>(0x10 + i % 200);
    return out;
}

// The frame bytes as the host sends them: 254 a report (fewer if the report is shorter) behind id 6,
// zeros to `length`.
std::vector<Bytes> host_reports(const Bytes& frame, std::size_t length = vnrsim::kHidDefaultReportLength) {
    std::vector<Bytes> out;
    const std::size_t slice = std::min<std::size_t>(254, length - 1);
    for (std::size_t offset = 0; offset < frame.size(); offset += slice) {
        Bytes report(length, 0);
        report[0] = 6;
        const std::size_t n = std::min(slice, frame.size() - offset);
        std::copy_n(frame.begin() + static_cast<std::ptrdiff_t>(offset), n, report.begin() + 1);
        out.push_back(report);
    }
    return out;
}

// A device driven by a clock the test moves by hand.
class HidTest : public ::testing::Test {
protected:
    HidReader& device(HidOptions options = {}) {
        options.clock = [this] { return now; };
        hid.emplace(reader, std::move(options));
        return *hid;
    }

    // Sends a command frame in as many reports as it takes; false when a set was refused.
    bool send(const Bytes& frame) {
        for (const Bytes& report : host_reports(frame, hid->feature_report_length()))
            if (!hid->set_feature(report)) return false;
        return true;
    }
    bool send_command(const Bytes& payload, Form form = Form::split) {
        return send(vnrsim::encode_frame(payload, form));
    }

    // One get; the whole report when the device answered. The buffer goes in dirty, as a host's may.
    std::optional<Bytes> get() {
        Bytes report(hid->feature_report_length(), 0xEE);
        report[0] = 6;
        if (!hid->get_feature(report)) return std::nullopt;
        return report;
    }

    // Every report ready now, one after the other.
    std::vector<Bytes> get_all() {
        std::vector<Bytes> out;
        while (auto report = get()) out.push_back(*report);
        return out;
    }

    // A canned reply of `data_length` bytes to kLongCommand, in `form`; returns its frame.
    Bytes long_reply(std::size_t data_length, Form form) {
        reader.set_form(form);
        const Bytes data = data_of(data_length);
        reader.add_reply({kLongCommand, 0, data, std::nullopt, std::nullopt});
        return reply_frame(0, data, form);
    }

    Clock::time_point now = Clock::time_point{} + 1h;
    Reader reader;
    std::optional<HidReader> hid;
};

// The report a device should give for bytes [offset, offset + count) of `stream`.
Bytes expected_report(const Bytes& stream, std::size_t offset, std::size_t count,
                      std::size_t length = vnrsim::kHidDefaultReportLength) {
    Bytes report(length, 0);
    report[0] = 6;
    std::copy_n(stream.begin() + static_cast<std::ptrdiff_t>(offset), count, report.begin() + 1);
    return report;
}

// ---- Slicing ----------------------------------------------------------------------------------------

using HidSlicing = HidTest;

TEST_F(HidSlicing, RepliesAreCutIn254BytesPlainAnd253SplitTheLastSliceShortAndZeroFilled) {
    struct Case {
        Form form;
        std::size_t data_length;                // the frame length follows from it
        std::vector<std::size_t> slices;
    };
    const Case cases[] = {
        {Form::plain, 600, {254, 254, 99}},    // 607 wire bytes
        {Form::split, 300, {253, 253, 106}},   // 612 wire bytes
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.form == Form::plain ? "plain" : "split");
        device();
        const Bytes frame = long_reply(c.data_length, c.form);
        ASSERT_TRUE(send_command(kLongCommand));
        const std::vector<Bytes> reports = get_all();
        ASSERT_EQ(reports.size(), c.slices.size());
        std::size_t offset = 0;
        for (std::size_t i = 0; i < reports.size(); ++i) {
            EXPECT_EQ(reports[i], expected_report(frame, offset, c.slices[i])) << "report " << i;
            offset += c.slices[i];
        }
        EXPECT_EQ(offset, frame.size());
        EXPECT_FALSE(get()) << "the reply is used up";
        reader.clear_replies();
    }
}

TEST_F(HidSlicing, PlainFramesOf254WireBytesTakeOneReportAnd255TakeTwo) {
    device();
    for (const std::size_t wire : {254u, 255u}) {
        SCOPED_TRACE(wire);
        const Bytes frame = long_reply(wire - 7, Form::plain);  // 5 frame bytes and the status pair
        ASSERT_EQ(frame.size(), wire);
        ASSERT_TRUE(send_command(kLongCommand));
        const std::vector<Bytes> reports = get_all();
        if (wire == 254) {
            ASSERT_EQ(reports.size(), 1u);
            EXPECT_EQ(reports[0], expected_report(frame, 0, 254));
        } else {
            ASSERT_EQ(reports.size(), 2u);
            EXPECT_EQ(reports[1], expected_report(frame, 254, 1)) << "the end byte alone";
        }
        reader.clear_replies();
    }
}

TEST_F(HidSlicing, NoiseOfPBytesPutsTheStartByteAtOffsetPAndShortensTheFramesShare) {
    device();
    // A 250-byte plain frame behind 10 noise bytes: 244 frame bytes in the first report, 6 in the second.
    const Bytes frame = long_reply(243, Form::plain);
    ASSERT_EQ(frame.size(), 250u);
    reader.inject(Fault::noise, Times::once, 10);
    ASSERT_TRUE(send_command(kLongCommand));
    const std::vector<Bytes> reports = get_all();
    ASSERT_EQ(reports.size(), 2u);
    for (std::size_t i = 1; i <= 10; ++i) EXPECT_EQ(reports[0][i], vnrsim::kNoiseByte) << i;
    EXPECT_EQ(reports[0][11], vnrsim::kStartByte);
    EXPECT_TRUE(std::equal(frame.begin(), frame.begin() + 244, reports[0].begin() + 11));
    EXPECT_EQ(reports[1], expected_report(frame, 244, 6));

    // Split: 253 - p frame bytes in the first report.
    const Bytes split = long_reply(243, Form::split);
    reader.inject(Fault::noise, Times::once, 100);
    ASSERT_TRUE(send_command(kLongCommand));
    const std::vector<Bytes> more = get_all();
    ASSERT_EQ(more.size(), 3u);  // 100 + 498 bytes in slices of 253
    EXPECT_EQ(more[0][101], vnrsim::kStartByte);
    EXPECT_TRUE(std::equal(split.begin(), split.begin() + 153, more[0].begin() + 101));
    EXPECT_EQ(more[0][254], 0) << "a split report carries 253 bytes";
    EXPECT_EQ(more[1], expected_report(split, 153, 253));
}

TEST_F(HidSlicing, ALongerReportKeepsTheSliceAndAShorterOneNarrowsIt) {
    device({.feature_report_length = 301});
    const Bytes frame = long_reply(300, Form::plain);  // 307 wire bytes
    ASSERT_TRUE(send_command(kLongCommand));
    std::vector<Bytes> reports = get_all();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0], expected_report(frame, 0, 254, 301));
    EXPECT_EQ(reports[1], expected_report(frame, 254, 53, 301));

    device({.feature_report_length = 64});
    ASSERT_TRUE(send_command(kLongCommand));
    reports = get_all();
    ASSERT_EQ(reports.size(), 5u);  // 307 bytes, 63 a report
    EXPECT_EQ(reports[4], expected_report(frame, 252, 55, 64));
}

TEST(HidReaderOptions, AReportLengthWithoutRoomForDataIsRefused) {
    Reader reader;
    EXPECT_THROW(HidReader(reader, {.feature_report_length = 1}), std::invalid_argument);
    EXPECT_THROW(HidReader(reader, {.feature_report_length = 0}), std::invalid_argument);
}

// ---- Timing -------------------------------------------------------------------------------------------

using HidTiming = HidTest;

TEST_F(HidTiming, NothingIsReadyBeforeTheLatencyAndBetweenReportsAtTheReportInterval) {
    device({.latency = 5ms, .report_interval = 2ms});
    long_reply(300, Form::split);  // three reports
    const Clock::time_point sent = now;
    ASSERT_TRUE(send_command(kLongCommand));
    EXPECT_EQ(hid->last_report_ready(), sent + 5ms + 2 * 2ms);

    EXPECT_FALSE(get());
    now = sent + 5ms - 1ns;
    EXPECT_FALSE(get());
    now = sent + 5ms;
    EXPECT_TRUE(get());
    EXPECT_FALSE(get()) << "the second report is due 2 ms later";
    now = sent + 7ms - 1ns;
    EXPECT_FALSE(get());
    now = sent + 7ms;
    EXPECT_TRUE(get());
    now = sent + 1s;
    EXPECT_TRUE(get()) << "a report stays ready until it is read";
    EXPECT_FALSE(get());
    EXPECT_EQ(hid->stats().gets_answered, 3u);
    EXPECT_EQ(hid->stats().gets_refused, 5u);
    EXPECT_EQ(hid->last_report_ready(), sent + 9ms) << "kept after the reply was read";
}

TEST_F(HidTiming, TheLatencyRunsFromTheReportThatCompletesTheCommand) {
    device({.latency = 5ms});
    reader.add_reply({hex("40"), 0, {}, std::nullopt, std::nullopt});
    Bytes command = hex("40");
    command.resize(200, 0xAB);  // 408 wire bytes in the split form: two reports
    const std::vector<Bytes> reports = host_reports(vnrsim::encode_frame(command, Form::split));
    ASSERT_EQ(reports.size(), 2u);
    ASSERT_TRUE(hid->set_feature(reports[0]));
    now += 100ms;
    ASSERT_TRUE(hid->set_feature(reports[1]));
    now += 4ms;
    EXPECT_FALSE(get());
    now += 1ms;
    EXPECT_TRUE(get());
}

TEST(HidSteadyClock, WithTheRealClockReportsComeNoEarlierThanDue) {
    Reader reader;
    reader.set_form(Form::plain);
    reader.add_reply({hex("32 50"), 0, data_of(600), std::nullopt, std::nullopt});  // three reports
    HidReader hid(reader, {.latency = 20ms, .report_interval = 10ms});
    const auto before = Clock::now();
    for (const Bytes& report : host_reports(vnrsim::encode_frame(hex("32 50"), Form::split)))
        ASSERT_TRUE(hid.set_feature(report));
    const auto after = Clock::now();
    ASSERT_TRUE(hid.last_report_ready());
    EXPECT_GE(*hid.last_report_ready(), before + 40ms);
    EXPECT_LE(*hid.last_report_ready(), after + 40ms);

    Bytes report(vnrsim::kHidDefaultReportLength, 0);
    report[0] = 6;
    std::vector<Clock::time_point> got;
    if (hid.get_feature(report)) got.push_back(Clock::now());
    if (Clock::now() < before + 20ms) {
        EXPECT_TRUE(got.empty()) << "asked before the latency had passed";
    }
    while (got.size() < 3 && Clock::now() < before + 5s) {
        report[0] = 6;
        if (hid.get_feature(report)) got.push_back(Clock::now());
        std::this_thread::sleep_for(1ms);
    }
    ASSERT_EQ(got.size(), 3u);
    EXPECT_GE(got[0], before + 20ms);
    EXPECT_GE(got[1], before + 30ms);
    EXPECT_GE(got[2], before + 40ms);
}

// ---- Commands -------------------------------------------------------------------------------------------

using HidCommands = HidTest;

TEST_F(HidCommands, ACommandLongerThanOneReportReachesTheReaderWhole) {
    for (const Form form : {Form::plain, Form::split}) {
        SCOPED_TRACE(form == Form::plain ? "plain" : "split");
        device();
        reader.clear_history();
        Bytes command = hex("32 26");
        for (std::size_t i = 0; i < 400; ++i) command.push_back(static_cast<std::uint8_t>(i * 7));
        const std::vector<Bytes> reports = host_reports(vnrsim::encode_frame(command, form));
        ASSERT_GE(reports.size(), 2u);
        for (std::size_t i = 0; i + 1 < reports.size(); ++i) {
            ASSERT_TRUE(hid->set_feature(reports[i]));
            EXPECT_EQ(hid->reports_pending(), 0u) << "no reply before the command's last byte";
        }
        ASSERT_TRUE(hid->set_feature(reports.back()));
        ASSERT_EQ(reader.commands_received(), std::vector<Bytes>{command});
        EXPECT_EQ(reader.stats().bad_frames, 0u);
        EXPECT_EQ(hid->reports_pending(), 1u);
        EXPECT_EQ(hid->reports_received(), reports);
        EXPECT_EQ(hid->stats().reports_set, reports.size());
    }
}

TEST_F(HidCommands, AnUnreadReplyStaysQueuedAheadOfTheNextOneInReportsOfItsOwn) {
    device();
    const vnrsim::Deck deck = reader.deck();
    const Bytes module0 = reply_frame(0, Bytes(deck.reader_version.begin(), deck.reader_version.end()), Form::split);
    const Bytes module1 =
        reply_frame(0, Bytes(deck.contactless_version.begin(), deck.contactless_version.end()), Form::split);
    ASSERT_TRUE(send_command(hex("31 11 00")));
    ASSERT_TRUE(send_command(hex("31 11 01")));
    EXPECT_EQ(get(), expected_report(module0, 0, module0.size()));
    EXPECT_EQ(get(), expected_report(module1, 0, module1.size()));

    ASSERT_TRUE(send_command(hex("31 11 00")));
    hid->drop_pending();
    EXPECT_FALSE(get());
}

// ---- Refusals -------------------------------------------------------------------------------------------

using HidRefusals = HidTest;

TEST_F(HidRefusals, ReportsOfAnotherLengthOrIdAreRefusedAndNotHandedOn) {
    device();
    const Bytes good = host_reports(vnrsim::encode_frame(hex("31 11 01"), Form::split))[0];
    Bytes other_id = good;
    other_id[0] = 5;
    Bytes short_report(good.begin(), good.end() - 1);
    Bytes long_report = good;
    long_report.push_back(0);
    EXPECT_FALSE(hid->set_feature(other_id));
    EXPECT_FALSE(hid->set_feature(short_report));
    EXPECT_FALSE(hid->set_feature(long_report));
    EXPECT_TRUE(reader.raw_received().empty());
    EXPECT_TRUE(hid->reports_received().empty());
    EXPECT_EQ(hid->stats().sets_refused, 3u);

    ASSERT_TRUE(hid->set_feature(good));
    Bytes request(256, 0xEE);
    request[0] = 5;
    const Bytes asked = request;
    EXPECT_FALSE(hid->get_feature(request));
    EXPECT_EQ(request, asked) << "a refused get leaves the buffer as it was";
    Bytes small(255, 0);
    small[0] = 6;
    EXPECT_FALSE(hid->get_feature(small));
    EXPECT_FALSE(hid->get_feature(std::span<std::uint8_t>{}));
    EXPECT_TRUE(get()) << "the reply is still there for a proper request";
}

// ---- Faults ----------------------------------------------------------------------------------------------

using HidFaults = HidTest;

TEST_F(HidFaults, SilenceIsNeverReady) {
    device();
    reader.inject(Fault::silence);
    ASSERT_TRUE(send_command(hex("31 11 01")));
    now += 1h;
    EXPECT_FALSE(get());
    EXPECT_EQ(reader.stats().replies_silenced, 1u);
    ASSERT_TRUE(send_command(hex("31 11 01")));
    EXPECT_TRUE(get()) << "the next command is answered";
}

TEST_F(HidFaults, ACutReplyEndsAfterItsCutPoint) {
    device();
    const Bytes frame = long_reply(300, Form::split);  // 612 wire bytes
    reader.inject(Fault::cut, Times::once, 300);
    ASSERT_TRUE(send_command(kLongCommand));
    const std::vector<Bytes> reports = get_all();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[1], expected_report(frame, 253, 47));
}

TEST_F(HidFaults, AHungUpReaderTakesAndGivesNothingAndLosesWhatWasPending) {
    device();
    ASSERT_TRUE(send_command(hex("31 11 01")));
    reader.inject(Fault::hangup, Times::always);
    EXPECT_FALSE(get());
    EXPECT_FALSE(send_command(hex("31 11 01")));
    EXPECT_TRUE(reader.commands_received().size() == 1) << "nothing reached the reader";

    reader.clear(Fault::hangup);
    EXPECT_FALSE(get()) << "the reply pending at the hangup is gone";
    ASSERT_TRUE(send_command(hex("31 11 01")));
    EXPECT_TRUE(get());
}

// ---- Bus --------------------------------------------------------------------------------------------------

class HidBusTest : public ::testing::Test {
protected:
    std::vector<std::string> paths() const {
        std::vector<std::string> out;
        std::string path;
        for (unsigned i = 0; bus.interface_path(i, path); ++i) out.push_back(path);
        return out;
    }

    Reader reader;
    HidReader first{reader};
    HidReader long_reports{reader, {.feature_report_length = 301}};
    HidBus bus;
    const std::string other_device = bus.add_device(0x0F0F, 0x0001, 9);
    const std::string no_features = bus.add_device(vnrsim::kReaderVendorId, vnrsim::kReaderProductA);
    const std::string reader_a = bus.add_reader(first);
    const std::string reader_b = bus.add_reader(long_reports, vnrsim::kReaderProductB);
};

TEST_F(HidBusTest, EnumeratesInterfacesInOrderWithTheirIdsAndReportLengths) {
    EXPECT_EQ(paths(), (std::vector<std::string>{other_device, no_features, reader_a, reader_b}));
    const auto b = bus.info(reader_b);
    ASSERT_TRUE(b);
    EXPECT_EQ(b->vendor_id, vnrsim::kReaderVendorId);
    EXPECT_EQ(b->product_id, vnrsim::kReaderProductB);
    EXPECT_EQ(b->feature_report_length, 301u);
    EXPECT_EQ(bus.info(no_features)->feature_report_length, 0u);
    EXPECT_EQ(bus.info(other_device)->vendor_id, 0x0F0F);
    EXPECT_FALSE(bus.info("sim-hid-9"));
}

TEST_F(HidBusTest, AnOpenInterfaceIsRefusedToASecondOpenUntilClosed) {
    auto handle = bus.open(reader_a);
    ASSERT_TRUE(handle);
    EXPECT_TRUE(bus.is_open(reader_a));
    EXPECT_FALSE(bus.open(reader_a));
    EXPECT_TRUE(bus.open(reader_b)) << "other interfaces are free";
    EXPECT_TRUE(handle->close());
    EXPECT_FALSE(handle->close());
    const Bytes report = host_reports(vnrsim::encode_frame(hex("31 11 01"), Form::split))[0];
    EXPECT_FALSE(handle->set_feature(report)) << "a closed handle is dead";
    {
        auto again = bus.open(reader_a);
        ASSERT_TRUE(again);
    }
    EXPECT_FALSE(bus.is_open(reader_a)) << "the destructor closes";
    EXPECT_TRUE(bus.open(reader_a));
    EXPECT_FALSE(bus.open("sim-hid-9"));
}

TEST_F(HidBusTest, AHandleCarriesReportsOnlyWhenAReaderIsBehindIt) {
    auto handle = bus.open(reader_a);
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle->product_id(), vnrsim::kReaderProductA);
    EXPECT_EQ(handle->feature_report_length(), 256u);
    ASSERT_TRUE(handle->set_feature(host_reports(vnrsim::encode_frame(hex("31 11 01"), Form::split))[0]));
    Bytes report(256, 0);
    report[0] = 6;
    ASSERT_TRUE(handle->get_feature(report));
    EXPECT_EQ(report[1], vnrsim::kStartByte);

    auto other = bus.open(other_device);
    ASSERT_TRUE(other);
    EXPECT_EQ(other->feature_report_length(), 9u);
    Bytes nine(9, 0);
    nine[0] = 6;
    EXPECT_FALSE(other->set_feature(nine));
    EXPECT_FALSE(other->get_feature(nine));
}

TEST_F(HidBusTest, AnUnpluggedInterfaceFailsItsHandlesAndLeavesTheEnumeration) {
    auto handle = bus.open(reader_a);
    ASSERT_TRUE(handle);
    const Bytes report = host_reports(vnrsim::encode_frame(hex("31 11 01"), Form::split))[0];
    ASSERT_TRUE(handle->set_feature(report));
    EXPECT_TRUE(bus.unplug(reader_a));
    EXPECT_FALSE(bus.unplug(reader_a));
    EXPECT_FALSE(handle->set_feature(report));
    Bytes request(256, 0);
    request[0] = 6;
    EXPECT_FALSE(handle->get_feature(request)) << "even the reply that was ready";
    EXPECT_EQ(paths(), (std::vector<std::string>{other_device, no_features, reader_b}));
    EXPECT_FALSE(bus.open(reader_a));
    EXPECT_EQ(first.stats().reports_set, 1u);
}

TEST_F(HidBusTest, AHungUpReaderIsOffTheBusUntilTheHangupIsCleared) {
    reader.inject(Fault::hangup, Times::always);
    EXPECT_EQ(paths(), (std::vector<std::string>{other_device, no_features}));
    EXPECT_FALSE(bus.open(reader_a));
    reader.clear_faults();
    EXPECT_EQ(paths(), (std::vector<std::string>{other_device, no_features, reader_a, reader_b}));
    EXPECT_TRUE(bus.open(reader_a));
}

// ---- Threads ----------------------------------------------------------------------------------------------

TEST(HidThreads, AHostThreadExchangesWhileAnotherWatchesAndInjectsFaults) {
    Reader reader;
    HidReader hid(reader, {.report_interval = 10us});
    HidBus bus;
    const std::string path = bus.add_reader(hid);
    reader.add_reply({hex("32 50"), 0, data_of(700), std::nullopt, std::nullopt});  // three split reports
    const Bytes expected = reply_frame(0, data_of(700), Form::split);
    constexpr int kExchanges = 100;

    std::atomic<int> whole{0};
    std::atomic<int> silent{0};
    std::atomic<bool> done{false};
    std::thread host([&] {
        auto handle = bus.open(path);
        const Bytes command = host_reports(vnrsim::encode_frame(hex("32 50"), Form::split))[0];
        for (int i = 0; i < kExchanges; ++i) {
            if (!handle->set_feature(command)) continue;
            if (hid.reports_pending() == 0) {  // silenced: with no latency a reply is queued at once
                ++silent;
                continue;
            }
            Bytes got;
            Bytes report(256, 0);
            const auto deadline = Clock::now() + 2s;
            while (got.size() < expected.size() && Clock::now() < deadline) {
                report[0] = 6;
                if (handle->get_feature(report)) got.insert(got.end(), report.begin() + 1, report.begin() + 254);
                std::this_thread::yield();
            }
            if (got.size() > expected.size()) got.resize(expected.size());
            if (got == expected) ++whole;
        }
        done = true;
    });
    int injected = 0;
    while (!done) {
        if (injected < 5) {
            reader.inject(Fault::silence);
            ++injected;
        }
        (void)hid.stats();
        (void)hid.reports_received();
        (void)bus.interfaces();
        std::this_thread::sleep_for(1ms);
    }
    host.join();
    EXPECT_EQ(hid.stats().reports_set, static_cast<std::uint64_t>(kExchanges));
    EXPECT_EQ(whole + silent, kExchanges) << "every reply that was sent came whole";
    EXPECT_EQ(static_cast<std::uint64_t>(silent), reader.stats().replies_silenced);
}

}  // namespace
