// tests/sim/reader_test.cpp: the reader's answers, input handling, faults and history, bytes in and out.
#include <gtest/gtest.h>

#include <thread>

#include "sim_test_util.h"
#include "vnrsim/reader.h"

namespace {

using namespace std::chrono_literals;
using simtest::Bytes;
using simtest::hex;
using vnrsim::Fault;
using vnrsim::Form;
using vnrsim::Frame;
using vnrsim::Reader;
using vnrsim::Times;

Bytes text_bytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

// The reply frame of a status and data, in `form`.
Bytes reply(std::uint16_t status, const Bytes& data = {}, Form form = Form::split) {
    Bytes payload{static_cast<std::uint8_t>(status >> 8), static_cast<std::uint8_t>(status & 0xFF)};
    payload.insert(payload.end(), data.begin(), data.end());
    return vnrsim::encode_frame(payload, form);
}

Bytes command(const Bytes& payload, Form form = Form::split) { return vnrsim::encode_frame(payload, form); }

class ReaderTest : public ::testing::Test {
protected:
    static vnrsim::Deck deck() {
        vnrsim::Deck d;
        d.reader_version = "R1.08";
        d.contactless_version = "RF 2.05";
        return d;
    }
    Bytes ask(int module) { return reader.receive(command({0x31, 0x11, static_cast<std::uint8_t>(module)})); }
    const Bytes module0 = reply(0, text_bytes("R1.08"));
    const Bytes module1 = reply(0, text_bytes("RF 2.05"));
    Reader reader{deck()};
};

// ---- Answers ------------------------------------------------------------------------------------

using Answers = ReaderTest;

TEST_F(Answers, VersionQueriesOfBothModulesGiveTheirTexts) {
    EXPECT_EQ(ask(0), module0);
    EXPECT_EQ(ask(1), module1);
}

TEST_F(Answers, RepliesComeInTheConfiguredFormWhateverFormTheCommandCameIn) {
    EXPECT_EQ(reader.receive(command(hex("31 11 01"), Form::plain)), module1);
    reader.set_form(Form::plain);
    EXPECT_EQ(reader.receive(command(hex("31 11 01"), Form::split)), reply(0, text_bytes("RF 2.05"), Form::plain));
}

TEST_F(Answers, UnknownCommandsAndOtherModulesGetTheUnknownStatus) {
    EXPECT_EQ(reader.receive(command(hex("31 11 02"))), reply(vnrsim::kUnknownCommandStatus));
    EXPECT_EQ(reader.receive(command(hex("31 11 00 00"))), reply(vnrsim::kUnknownCommandStatus));
    EXPECT_EQ(reader.receive(command(hex("99"))), reply(vnrsim::kUnknownCommandStatus));
    EXPECT_EQ(reader.stats().unknown_commands, 3u);

    vnrsim::Deck d = deck();
    d.unknown_command_status = 0x1001;
    Reader other(d);
    EXPECT_EQ(other.receive(command(hex("32 50"))), reply(0x1001));
}

TEST_F(Answers, CannedRepliesMatchByPrefixAndComeBeforeTheBuiltInAnswers) {
    vnrsim::Deck d = deck();
    d.replies.push_back({hex("31 11 01"), 0x6A82, {}, std::nullopt, 2u});
    d.replies.push_back({hex("32"), 0, hex("AA BB"), std::nullopt, std::nullopt});
    Reader canned(d);
    EXPECT_EQ(canned.receive(command(hex("31 11 01"))), reply(0x6A82));
    EXPECT_EQ(canned.receive(command(hex("31 11 01"))), reply(0x6A82));
    EXPECT_EQ(canned.receive(command(hex("31 11 01"))), module1) << "used up after two: the built-in answer";
    EXPECT_EQ(canned.receive(command(hex("31 11 00"))), module0) << "31 11 01 is no prefix of 31 11 00";
    EXPECT_EQ(canned.receive(command(hex("32 50 00 01"))), reply(0, hex("AA BB")));
    EXPECT_EQ(canned.receive(command(hex("32 50"))), reply(0, hex("AA BB"))) << "a reply without times stays";
    ASSERT_EQ(canned.deck().replies.size(), 1u);
}

TEST_F(Answers, AReplyAddedWhileRunningGoesAheadOfTheDeck) {
    reader.add_reply({hex("31 11"), 0x9000, hex("01"), std::nullopt, 1u});
    EXPECT_EQ(ask(0), reply(0x9000, hex("01")));
    EXPECT_EQ(ask(0), module0);
}

TEST_F(Answers, RawRepliesGoOutAsTheyAre) {
    reader.add_reply({hex("31"), 0, {}, hex("02 00 01 00 00 03"), std::nullopt});
    EXPECT_EQ(ask(1), hex("02 00 01 00 00 03"));
}

TEST_F(Answers, RunTimeChangesOfVersionTextApply) {
    reader.set_version(1, "RF 3.00");
    EXPECT_EQ(ask(1), reply(0, text_bytes("RF 3.00")));
    EXPECT_THROW(reader.set_version(2, "x"), std::invalid_argument);
}

// ---- Input --------------------------------------------------------------------------------------

using Input = ReaderTest;

TEST_F(Input, AFrameInPiecesIsAnsweredOnlyAfterItsLastByte) {
    const Bytes wire = command(hex("31 11 01"));
    for (std::size_t i = 0; i + 1 < wire.size(); ++i) EXPECT_TRUE(reader.receive(Bytes{wire[i]}).empty()) << i;
    EXPECT_EQ(reader.receive(Bytes{wire.back()}), module1);
}

TEST_F(Input, NoiseBeforeTheStartByteIsPassedOver) {
    Bytes wire = hex("00 FF 55 03");
    const Bytes frame = command(hex("31 11 00"));
    wire.insert(wire.end(), frame.begin(), frame.end());
    EXPECT_EQ(reader.receive(wire), module0);
    EXPECT_EQ(reader.stats().bytes_skipped, 4u);
}

TEST_F(Input, TwoCommandsInOneChunkGetTwoRepliesInOrder) {
    Bytes wire = command(hex("31 11 00"));
    const Bytes second = command(hex("31 11 01"), Form::plain);
    wire.insert(wire.end(), second.begin(), second.end());
    Bytes expected = module0;
    expected.insert(expected.end(), module1.begin(), module1.end());
    EXPECT_EQ(reader.receive(wire), expected);
}

TEST_F(Input, BrokenFramesAreAnsweredWithTheBadFrameStatusAndTheReaderGoesOn) {
    Bytes bad_check = command(hex("31 11 01"), Form::plain);
    bad_check[6] ^= 0x40;
    EXPECT_EQ(reader.receive(bad_check), reply(vnrsim::kBadFrameStatus));
    Bytes bad_end = command(hex("31 11 01"));
    bad_end.back() = 0x00;
    EXPECT_EQ(reader.receive(bad_end), reply(vnrsim::kBadFrameStatus));
    EXPECT_EQ(reader.receive(hex("02 FF FF")), reply(vnrsim::kBadFrameStatus)) << "a length beyond the bound";
    EXPECT_EQ(ask(1), module1);
    const auto stats = reader.stats();
    EXPECT_EQ(stats.frames_received, 4u);
    EXPECT_EQ(stats.bad_frames, 3u);
    EXPECT_EQ(reader.commands_received(), std::vector<Bytes>{hex("31 11 01")}) << "broken frames are no commands";
}

TEST_F(Input, AFrameLeftIncompleteTooLongIsDropped) {
    const auto t0 = Reader::Clock::now();
    const Bytes plain = command(hex("31 11 01"), Form::plain);
    // A plain frame's rest would be taken as payload; after the gap the reader starts afresh.
    EXPECT_TRUE(reader.receive(hex("02 00 05 31"), t0).empty());
    EXPECT_EQ(reader.receive(plain, t0 + vnrsim::kFrameGap + 100ms), reply(0, text_bytes("RF 2.05")));

    EXPECT_TRUE(reader.receive(hex("02 00 05 31"), t0 + 2s).empty());
    EXPECT_EQ(reader.receive(plain, t0 + 2s + 100ms), reply(vnrsim::kBadFrameStatus))
        << "within the gap the bytes belong to the frame begun";
}

TEST_F(Input, HistoryKeepsCommandsAndRawBytesUntilCleared) {
    const Bytes noise = hex("AA");
    reader.receive(noise);
    ask(0);
    ask(1);
    EXPECT_EQ(reader.commands_received(), (std::vector<Bytes>{hex("31 11 00"), hex("31 11 01")}));
    Bytes raw = noise;
    for (const int m : {0, 1}) {
        const Bytes c = command({0x31, 0x11, static_cast<std::uint8_t>(m)});
        raw.insert(raw.end(), c.begin(), c.end());
    }
    EXPECT_EQ(reader.raw_received(), raw);
    EXPECT_EQ(reader.stats().frames_sent, 2u);
    reader.clear_history();
    EXPECT_TRUE(reader.commands_received().empty());
    EXPECT_TRUE(reader.raw_received().empty());
    EXPECT_EQ(reader.stats().frames_received, 0u);
}

// ---- Faults -------------------------------------------------------------------------------------

using Faults = ReaderTest;

TEST_F(Faults, NoisePutsBytesThatAreNoStartByteBeforeTheFrame) {
    reader.inject(Fault::noise, Times::once, 9);
    Bytes expected(9, vnrsim::kNoiseByte);
    expected.insert(expected.end(), module1.begin(), module1.end());
    EXPECT_EQ(ask(1), expected);
    EXPECT_NE(vnrsim::kNoiseByte, vnrsim::kStartByte);
    EXPECT_EQ(ask(1), module1) << "once means the next reply only";
}

TEST_F(Faults, SilenceSendsNothingButTheCommandIsStillTaken) {
    reader.inject(Fault::silence);
    EXPECT_TRUE(ask(1).empty());
    EXPECT_EQ(reader.commands_received().size(), 1u);
    EXPECT_EQ(reader.stats().replies_silenced, 1u);
    EXPECT_EQ(ask(1), module1);
}

TEST_F(Faults, AWrongCheckByteLeavesEverythingElseRight) {
    reader.inject(Fault::wrong_check_byte);
    const Bytes got = ask(1);
    ASSERT_EQ(got.size(), module1.size());
    vnrsim::FrameDecoder decoder;
    const auto frames = decoder.feed(got);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].fault, Frame::Fault::check_byte);
    Bytes payload = hex("00 00");
    const Bytes text = text_bytes("RF 2.05");
    payload.insert(payload.end(), text.begin(), text.end());
    EXPECT_EQ(frames[0].payload, payload);
    EXPECT_EQ(ask(1), module1);
}

TEST_F(Faults, AWrongEndByteReplacesOnlyTheLastByte) {
    reader.inject(Fault::wrong_end_byte);
    Bytes expected = module1;
    expected.back() = vnrsim::kWrongEndByte;
    EXPECT_EQ(ask(1), expected);
    EXPECT_EQ(ask(1), module1);
}

TEST_F(Faults, ACutSendsTheFrontOfTheFrameOnly) {
    reader.inject(Fault::cut, Times::once, 5);
    EXPECT_EQ(ask(1), Bytes(module1.begin(), module1.begin() + 5));
    reader.inject(Fault::cut);
    EXPECT_EQ(ask(1), Bytes(module1.begin(), module1.begin() + module1.size() / 2)) << "by default, half";
    reader.inject(Fault::cut, Times::once, 1000);
    EXPECT_EQ(ask(1), module1) << "a cut beyond the end changes nothing";
}

TEST_F(Faults, ACountStandsForThatManyRepliesAndAlwaysUntilCleared) {
    reader.inject(Fault::silence, Times::count(2));
    EXPECT_TRUE(ask(0).empty());
    EXPECT_TRUE(ask(0).empty());
    EXPECT_EQ(ask(0), module0);

    reader.inject(Fault::silence, Times::always);
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(ask(0).empty());
    reader.clear(Fault::silence);
    EXPECT_EQ(ask(0), module0);
    EXPECT_THROW(Times::count(0), std::invalid_argument);
}

TEST_F(Faults, FaultsStandingTogetherApplyToTheSameReply) {
    reader.inject(Fault::noise, Times::once, 2);
    reader.inject(Fault::wrong_end_byte);
    reader.inject(Fault::cut, Times::count(2), 4);
    Bytes expected(2, vnrsim::kNoiseByte);
    expected.insert(expected.end(), module0.begin(), module0.begin() + 4);
    EXPECT_EQ(ask(0), expected) << "the cut counts frame bytes, not noise";
    EXPECT_EQ(ask(0), Bytes(module0.begin(), module0.begin() + 4));
    EXPECT_EQ(ask(0), module0);
}

TEST_F(Faults, BrokenFrameAnswersAreRepliesLikeAnyOther) {
    reader.inject(Fault::silence);
    Bytes bad = command(hex("31 11 01"));
    bad.back() = 0x00;
    EXPECT_TRUE(reader.receive(bad).empty());
    EXPECT_EQ(ask(1), module1);
}

TEST_F(Faults, HangupTakesAndGivesNothingUntilCleared) {
    reader.inject(Fault::hangup, Times::always);
    EXPECT_TRUE(reader.hung_up());
    EXPECT_TRUE(ask(1).empty());
    EXPECT_TRUE(reader.raw_received().empty()) << "nothing arrives on a dead line";
    reader.clear_faults();
    EXPECT_FALSE(reader.hung_up());
    EXPECT_EQ(ask(1), module1);
}

TEST_F(Faults, ImpossibleInjectionsAreRefused) {
    EXPECT_THROW(reader.inject(Fault::noise), std::invalid_argument);
    EXPECT_THROW(reader.inject(Fault::hangup, Times::once), std::invalid_argument);
    EXPECT_TRUE(reader.faults().empty());
}

TEST_F(Faults, FaultsListsWhatIsLeftOfEachFault) {
    reader.inject(Fault::wrong_check_byte, Times::count(3));
    reader.inject(Fault::noise, Times::always, 4);
    ask(0);
    const auto faults = reader.faults();
    ASSERT_EQ(faults.size(), 2u);
    EXPECT_EQ(faults[0].fault, Fault::noise);
    EXPECT_TRUE(faults[0].times.is_always());
    EXPECT_EQ(faults[1].fault, Fault::wrong_check_byte);
    EXPECT_EQ(faults[1].times.replies(), 2u);
}

TEST_F(Faults, InjectionFromAnotherThreadWhileCommandsFlowIsSafe) {
    std::thread other([this] {
        for (int i = 0; i < 200; ++i) {
            reader.inject(Fault::noise, Times::once, 1);
            reader.clear_faults();
            reader.set_form(i % 2 ? Form::plain : Form::split);
        }
    });
    for (int i = 0; i < 200; ++i) EXPECT_FALSE(ask(1).empty());
    other.join();
    EXPECT_EQ(reader.stats().frames_sent, 200u);
}

}  // namespace
