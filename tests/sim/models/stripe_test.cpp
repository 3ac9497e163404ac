// The model "stripe": track framing, reads with and without a swipe or with a bad one, the modes, and the
// refusals. A read waiting for a swipe, scripted or on the control channel, or running out, is the late
// reply of tests/sim/reader_test.cpp.
#include <gtest/gtest.h>

#include "../ask.h"
#include "models/stripe/stripe_head.h"
#include "vnrsim/control.h"

namespace {

using vnrsim::Deck;
using vnrsim::StripeHead;
using vnrsim::test::ask;
using vnrsim::test::Bytes;
using vnrsim::parse_hex;

TEST(StripeModel, AReadAnswersTheTracksInTheirSentinelsOrWhyNot) {
    vnrsim::Reader reader;
    vnrsim::Control control(reader);
    // A control line, then the answer to a read that does not wait.
    const std::pair<const char*, std::pair<std::uint16_t, Bytes>> cases[] = {
        {"stripe swipe AB C|12=3|", {0, parse_hex("06 06 F5 25 41 42 20 43 3F 3B 31 32 3D 33 3F")}},
        {"stripe swipe ||0:<>", {0, parse_hex("F5 F5 06 3B 30 3A 3C 3E 3F")}},
        {"stripe bad", {vnrsim::kBadSwipeStatus, {}}},
        {"stripe", {vnrsim::kNoSwipeStatus, {}}},  // nothing held: the swipe was taken
    };
    for (const auto& [line, wanted] : cases) {
        EXPECT_EQ(control.execute(line).rfind("ok stripe", 0), 0u) << line;
        EXPECT_EQ(ask(reader, "32 60 00"), wanted) << line;
    }
}

TEST(StripeModel, ModesAndRefusals) {
    vnrsim::Reader reader;
    const std::pair<const char*, std::uint16_t> commands[] = {
        {"32 61", 0}, {"32 63 C1", 0}, {"32 63 02", vnrsim::kStripeValueStatus},
        {"32 62 00", vnrsim::kStripeLengthStatus}, {"32 60", vnrsim::kStripeLengthStatus},
    };
    for (const auto& [command, status] : commands) EXPECT_EQ(ask(reader, command).first, status) << command;
    EXPECT_EQ(reader.model<StripeHead>()->mode(), 0xC1);

    vnrsim::Control control(reader);
    for (const char* line : {"stripe swipe A%B||", "stripe swipe |1;2|", "stripe swipe |12345678901234567890123456789012345678|",
                             "stripe swipe ||", "stripe swipe 1|2", "stripe swipe 1|2|3|4", "stripe wipe"})
        EXPECT_EQ(control.execute(line).rfind("error: ", 0), 0u) << line;
    const std::pair<const char*, const char*> decks[] = {
        {R"({"stripe": {"swipes": [{"tracks": ["a", "", ""]}]}})", "stripe.swipes[0].tracks[0]:"},
        {R"({"stripe": {"swipes": [{"tracks": ["", ""]}]}})", "stripe.swipes[0].tracks:"},
        {R"({"stripe": {"swipes": [{"bad": true, "tracks": ["A", "", ""]}]}})", "stripe.swipes[0]:"},
        {R"({"stripe": {"swipes": [{"bad": true, "after_ms": 255001}]}})", "stripe.swipes[0].after_ms:"},
    };
    for (const auto& [json, wanted] : decks) {
        const std::string message = vnrsim::test::refusal([&] { Deck::parse(json); });
        EXPECT_NE(message.find(wanted), std::string::npos) << json << " gave: " << message;
    }
}

}  // namespace
