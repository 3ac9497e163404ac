// The model "pinpad": refusals of key loads and reads, a read waiting for the PIN, cancel, wrong length,
// time-out and script on a driven clock.
#include <gtest/gtest.h>

#include "../ask.h"
#include "models/pinpad/pin_pad.h"
#include "vnrsim/control.h"

namespace {

using namespace std::chrono_literals;
using vnrsim::Deck;
using vnrsim::PinPad;
using vnrsim::parse_hex;
using vnrsim::test::ask;
using vnrsim::test::Bytes;
using vnrsim::test::reply_of;

// The enciphered work key and the format 0 block under it are proven through the library against this
// model (tests/reader/pinpad_test.cpp); here the refusals the library's own checks never let through.
TEST(PinPadModel, KeyLoadsAndReadsRefuseWhatIsMissingOrMalformed) {
    vnrsim::Reader reader;
    const std::pair<const char*, std::uint16_t> commands[] = {
        {"C5 03 00 01 07 0123456789ABCDEF FEDCBA9876543210", 0},
        {"C5 04 00 00 07 02 133457799BBCDFF1", 0},
        {"C5 02 00 04", 0},
        {"C5 04 00 00 08 02 133457799BBCDFF1", vnrsim::kPinNoKeyStatus},
        {"C5 06 00 1B 49 03 00 00 BA9876543210", vnrsim::kPinNoKeyStatus},
        {"C5 03 00 02 07 0123456789ABCDEF", vnrsim::kPinValueStatus},
        {"C5 03 00 00 07 0123456789ABCD", vnrsim::kPinFieldLengthStatus},
        {"C5 02 00 11", vnrsim::kPinValueStatus}, {"C5 01 00 00", vnrsim::kPinValueStatus},
        {"C5 05 00 1B 48", vnrsim::kPinValueStatus}, {"C5 05 00 1B", vnrsim::kPinFieldLengthStatus},
    };
    for (const auto& [command, status] : commands) EXPECT_EQ(ask(reader, command).first, status) << command;
}

TEST(PinPadModel, AReadWaitsForThePersonTheScriptOrItsTimeOut) {
    vnrsim::Reader reader(Deck::parse(R"({"pinpad": {"length": 4, "entries": [{"after_ms": 1500, "pin": "1234"}]}})"));
    vnrsim::Control control(reader);
    const auto t0 = vnrsim::Clock::time_point{} + 1h;
    EXPECT_EQ(ask(reader, "C5 01 00 08", t0).first, 0);
    // A read at t0 + 10 s * i, a control line 1 s into it (if any), and the reply polled for at `after`.
    const std::tuple<const char*, std::chrono::milliseconds, std::uint16_t, Bytes> reads[] = {
        {nullptr, 1500ms, 0, parse_hex("31323334")},  // the script
        {"pinpad type 123", 1000ms, vnrsim::kPinLengthStatus, {}},
        {"pinpad cancel", 1000ms, vnrsim::kPinCancelledStatus, {}},
        {nullptr, 8000ms, vnrsim::kPinTimeOutStatus, {}},
    };
    for (std::size_t i = 0; i < std::size(reads); ++i) {
        const auto& [line, after, status, data] = reads[i];
        const auto start = t0 + 10s * i;
        ASSERT_EQ(ask(reader, "C5 05 00 1B 49", start).first, 0xFFFF) << i;
        EXPECT_TRUE(reader.poll(start + after - 1ms).empty()) << i;
        if (line) {
            EXPECT_EQ(control.execute(line).rfind("ok pinpad", 0), 0u) << line;
        }
        EXPECT_EQ(reply_of(reader.poll(start + after)), std::make_pair(status, data)) << i;
    }
    EXPECT_EQ(control.execute("pinpad type 4321"), "ok pinpad PIN 4321 held for the next read");
    EXPECT_EQ(ask(reader, "C5 05 00 1B 49", t0 + 60s).second, parse_hex("34333231"));
    ASSERT_EQ(ask(reader, "C5 05 00 1B 49", t0 + 70s).first, 0xFFFF);
    EXPECT_EQ(ask(reader, "C5 02 00 04", t0 + 71s).first, 0) << "a new command gives the wait up";
    EXPECT_EQ(reader.stats().replies_given_up, 1u);
    EXPECT_FALSE(reader.model<PinPad>()->entries().waiting());

    for (const char* json : {R"({"pinpad": {"length": 17}})", R"({"pinpad": {"entries": [{"pin": "12a"}]}})",
                             R"({"pinpad": {"entries": [{"pin": "1", "cancel": true}]}})"})
        EXPECT_THROW(Deck::parse(json), std::runtime_error) << json;
}

}  // namespace
