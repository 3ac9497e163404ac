// What the simulated reader does that no test through the library drives: broken frames, short HID
// reports, first-report latency, and later replies settled, faulted or given up, on a driven clock.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include "ask.h"
#include "models/stripe/stripe_head.h"
#include "vnrsim/hid_reader.h"
#include "vnrsim/pty_server.h"

namespace {

using namespace std::chrono_literals;
using vnrsim::Form;
using vnrsim::Reader;
using vnrsim::test::Bytes;
using vnrsim::test::command;

TEST(Reader, BrokenCommandFramesGetTheBadFrameStatusAndAreNoCommands) {
    Reader reader;
    Bytes bad_end = command("31 11 00"), bad_check = vnrsim::encode_frame(Bytes{0x31, 0x11, 0x00}, Form::plain);
    bad_end.back() = 0x00;
    bad_check[6] ^= 0x01;
    const Bytes bad_frame = vnrsim::encode_frame(Bytes{vnrsim::kBadFrameStatus >> 8, 0}, Form::split);
    for (const Bytes& broken : {bad_end, bad_check, vnrsim::parse_hex("02 FF FF")})
        EXPECT_EQ(reader.receive(broken), bad_frame);
    EXPECT_TRUE(reader.commands_received().empty());
    EXPECT_EQ(reader.stats().bad_frames, 3u);
}

TEST(HidReader, ShorterReportsNarrowTheSlicesAndTheFirstReportWaitsTheLatencyFromTheCommandsLast) {
    using Clock = vnrsim::HidOptions::Clock;
    Clock::time_point now = Clock::time_point{} + 1h;
    Reader reader;
    reader.set_form(Form::plain);
    reader.add_reply({{0x32, 0x32}, 0, Bytes(200, 0x41), std::nullopt, std::nullopt});
    vnrsim::HidReader hid(reader, {64, 5ms, 2ms, [&] { return now; }});
    // A command of 92 wire bytes comes in two reports; the reply's latency counts from the second.
    Bytes report(64, 0);
    const Bytes frame = vnrsim::encode_frame(Bytes(42, 0x32), Form::split);
    for (std::size_t offset = 0; offset < frame.size(); offset += 63) {
        if (offset > 0) now += 100ms;
        std::fill(report.begin(), report.end(), 0);
        report[0] = 6;
        std::copy_n(frame.begin() + std::ptrdiff_t(offset), std::min<std::size_t>(63, frame.size() - offset),
                    report.begin() + 1);
        ASSERT_TRUE(hid.set_feature(report));
    }
    Bytes payload(202, 0x41);  // status 00 00 and the 200 data bytes
    payload[0] = payload[1] = 0;
    const Bytes reply = vnrsim::encode_frame(payload, Form::plain);
    for (std::size_t offset = 0, i = 0; offset < reply.size(); offset += 63, ++i) {  // 209 bytes: 4 reports
        now = Clock::time_point{} + 1h + 100ms + 5ms + 2ms * i - 1ns;
        EXPECT_FALSE(hid.get_feature(report)) << "report " << i << " asked early";
        now += 1ns;
        ASSERT_TRUE(hid.get_feature(report)) << "report " << i << " on time";
        const std::size_t count = std::min<std::size_t>(63, reply.size() - offset);
        EXPECT_TRUE(std::equal(reply.begin() + std::ptrdiff_t(offset), reply.begin() + std::ptrdiff_t(offset + count),
                               report.begin() + 1)) << "report " << i;
    }
    EXPECT_FALSE(hid.get_feature(report)) << "the reply is used up";
}

const vnrsim::Clock::time_point t0 = vnrsim::Clock::time_point{} + 1h;
const vnrsim::Swipe kSwipe{{"", "1", ""}, false};
const Bytes kSwipeReply = vnrsim::encode_frame(vnrsim::parse_hex("00 00 F5 03 F5 3B 31 3F"), Form::split);

TEST(Reader, ALateReplyTakesTheFaultsAndIsGivenUpOnAHangup) {
    Reader reader;
    EXPECT_TRUE(reader.receive(command("32 60 05"), t0).empty());
    reader.inject(vnrsim::Fault::silence);
    reader.model<vnrsim::StripeHead>()->swipe(kSwipe);
    EXPECT_TRUE(reader.poll(t0).empty());
    EXPECT_EQ(reader.stats().replies_silenced, 1u) << "the settled reply met the silence";

    // A hangup gives the waiting read up (a new command does too: tests/sim/models/pinpad_test.cpp).
    EXPECT_TRUE(reader.receive(command("32 60 05"), t0).empty());
    reader.inject(vnrsim::Fault::hangup, vnrsim::Times::always);
    EXPECT_EQ(vnrsim::test::reply_of(reader.receive({}, t0 + 1s)).first, 0xFFFF);
    EXPECT_TRUE(reader.poll(t0 + 6s).empty());
    EXPECT_FALSE(reader.next_due());
    EXPECT_EQ(reader.stats().replies_given_up, 1u);
}

TEST(HidReader, ALateReplysReportsAreReadyAtTheFirstGetAfterItIsSettled) {
    vnrsim::Clock::time_point now = t0;
    Reader reader;
    vnrsim::HidReader hid(reader, {vnrsim::kHidDefaultReportLength, 5ms, 0ms, [&] { return now; }});
    Bytes report(vnrsim::kHidDefaultReportLength, 0);
    const auto read = [&](Bytes frame) {
        std::fill(report.begin(), report.end(), 0);
        report[0] = vnrsim::kHidReportId;
        std::copy(frame.begin(), frame.end(), report.begin() + 1);
        return hid.set_feature(report);
    };
    const auto got = [&] { return vnrsim::test::reply_of(Bytes(report.begin() + 1, report.end())); };

    ASSERT_TRUE(read(command("32 60 03")));
    now += 2s;
    EXPECT_FALSE(hid.get_feature(report)) << "still waiting";
    reader.model<vnrsim::StripeHead>()->swipe(kSwipe);
    EXPECT_FALSE(hid.get_feature(report)) << "settled now, ready after the latency";
    now += 5ms;
    ASSERT_TRUE(hid.get_feature(report));
    EXPECT_EQ(got(), vnrsim::test::reply_of(kSwipeReply));

    ASSERT_TRUE(read(command("32 60 03")));
    now += 3s;
    EXPECT_FALSE(hid.get_feature(report));
    now += 5ms;
    ASSERT_TRUE(hid.get_feature(report));
    EXPECT_EQ(got().first, vnrsim::kSwipeTimeOutStatus);
}

TEST(PtyServer, ALateReplyGoesOutAsTheScriptOrTheControlChannelSettlesIt) {
    Reader reader(vnrsim::Deck::parse(R"({"stripe": {"swipes": [{"after_ms": 200, "tracks": ["", "1", ""]}]}})"));
    vnrsim::PtyServer server(reader);
    const int fd = ::open(server.slave_path().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    // Sends a 5-second read, swipes after `swipe_after` unless it is zero, and gives the reply and when it came.
    const auto read = [&](std::chrono::milliseconds swipe_after) {
        const Bytes frame = command("32 60 05");
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(::write(fd, frame.data(), frame.size()), static_cast<ssize_t>(frame.size()));
        Bytes wire;
        bool swiped = swipe_after.count() == 0;
        while (wire.size() < kSwipeReply.size() && std::chrono::steady_clock::now() - start < 4s) {
            if (!swiped && std::chrono::steady_clock::now() - start >= swipe_after) {
                reader.model<vnrsim::StripeHead>()->swipe(kSwipe);
                swiped = true;
            }
            pollfd in{fd, POLLIN, 0};
            std::uint8_t buffer[64];
            if (::poll(&in, 1, 5) == 1) {
                const ssize_t n = ::read(fd, buffer, sizeof buffer);
                if (n > 0) wire.insert(wire.end(), buffer, buffer + n);
            }
        }
        return std::make_pair(wire, std::chrono::steady_clock::now() - start);
    };
    for (const auto swipe_after : {0ms, 100ms}) {  // the script's swipe 200 ms in, then one on the control channel
        const auto [wire, took] = read(swipe_after);
        EXPECT_EQ(wire, kSwipeReply) << swipe_after.count();
        EXPECT_GE(took, swipe_after.count() ? 100ms : 200ms);
        EXPECT_LT(took, 2s) << "long before the read's 5 s";
    }
    ::close(fd);
}

}  // namespace
