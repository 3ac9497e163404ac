// tests/sim/reader_test.cpp: what the simulated reader does that no test through the library drives:
// broken command frames, and a HID interface with shorter reports, a command across two of them and a
// first-report latency.
#include <gtest/gtest.h>

#include "ask.h"
#include "vnrsim/hid_reader.h"

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

}  // namespace
