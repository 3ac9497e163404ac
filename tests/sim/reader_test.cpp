// tests/sim/reader_test.cpp: what the reader answers beyond the plain exchange: canned replies by
// prefix and count, frames left incomplete, broken frames, and faults standing together.
#include <gtest/gtest.h>

#include "sim_test_util.h"
#include "vnrsim/reader.h"

namespace {

using namespace std::chrono_literals;
using simtest::Bytes;
using simtest::hex;
using simtest::reply;
using simtest::text_bytes;
using vnrsim::Fault;
using vnrsim::Form;
using vnrsim::Reader;
using vnrsim::Times;

Bytes command(const char* payload, Form form = Form::split) { return vnrsim::encode_frame(hex(payload), form); }

vnrsim::Deck deck() {
    vnrsim::Deck d;
    d.reader_version = "R1.08";
    d.contactless_version = "RF 2.05";
    d.replies.push_back({hex("31 11 01"), 0x6A82, {}, std::nullopt, 2u});
    d.replies.push_back({hex("32"), 0, hex("AA BB"), std::nullopt, std::nullopt});
    return d;
}

const Bytes kModule0 = reply(0, text_bytes("R1.08"));
const Bytes kModule1 = reply(0, text_bytes("RF 2.05"));

TEST(Reader, CannedRepliesMatchByPrefixAndLastTheirCount) {
    Reader reader(deck());
    EXPECT_EQ(reader.receive(command("31 11 01")), reply(0x6A82));
    EXPECT_EQ(reader.receive(command("31 11 01")), reply(0x6A82));
    EXPECT_EQ(reader.receive(command("31 11 01")), kModule1) << "used up after two: the built-in answer";
    EXPECT_EQ(reader.receive(command("31 11 00")), kModule0) << "31 11 01 is no prefix of 31 11 00";
    EXPECT_EQ(reader.receive(command("32 50 00 01")), reply(0, hex("AA BB")));
    EXPECT_EQ(reader.receive(command("32 50")), reply(0, hex("AA BB"))) << "a reply without a count stays";
    EXPECT_EQ(reader.receive(command("99")), reply(vnrsim::kUnknownCommandStatus));
}

TEST(Reader, BrokenAndStaleFramesGetTheBadFrameStatus) {
    Reader reader(deck());
    Bytes bad_end = command("31 11 00");
    bad_end.back() = 0x00;
    EXPECT_EQ(reader.receive(bad_end), reply(vnrsim::kBadFrameStatus));
    EXPECT_EQ(reader.receive(hex("02 FF FF")), reply(vnrsim::kBadFrameStatus)) << "a length beyond the bound";
    EXPECT_TRUE(reader.commands_received().empty()) << "broken frames are no commands";

    // Within the gap the bytes belong to the frame begun; after it the reader starts afresh.
    const auto t0 = Reader::Clock::now();
    EXPECT_TRUE(reader.receive(hex("02 00 05 31"), t0).empty());
    EXPECT_EQ(reader.receive(command("31 11 00", Form::plain), t0 + 100ms), reply(vnrsim::kBadFrameStatus));
    EXPECT_TRUE(reader.receive(hex("02 00 05 31"), t0 + 1s).empty());
    EXPECT_EQ(reader.receive(command("31 11 00", Form::plain), t0 + 1s + vnrsim::kFrameGap + 100ms), kModule0);
}

TEST(Reader, FaultsStandingTogetherApplyToTheSameReply) {
    Reader reader(deck());
    reader.inject(Fault::noise, Times::once, 2);
    reader.inject(Fault::wrong_end_byte);
    reader.inject(Fault::cut, Times::count(2), 4);
    Bytes expected(kModule0.begin(), kModule0.begin() + 4);
    expected.insert(expected.begin(), 2, vnrsim::kNoiseByte);
    EXPECT_EQ(reader.receive(command("31 11 00")), expected) << "the cut counts frame bytes, not noise";
    EXPECT_EQ(reader.receive(command("31 11 00")), Bytes(kModule0.begin(), kModule0.begin() + 4));
    reader.inject(Fault::wrong_end_byte);
    expected = kModule0;
    expected.back() = vnrsim::kWrongEndByte;
    EXPECT_EQ(reader.receive(command("31 11 00")), expected);
    EXPECT_EQ(reader.receive(command("31 11 00")), kModule0);
    EXPECT_THROW(reader.inject(Fault::hangup, Times::once), std::invalid_argument);
}

}  // namespace
