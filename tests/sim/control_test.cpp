// The control command parser, line after line against one reader: answers, counts, listings, refusals.
// The models' control words are tested with each model, their routing in registry_test.cpp.
#include <gtest/gtest.h>

#include "vnrsim/control.h"
#include "vnrsim/frame.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes plain_reply(std::uint16_t status, const std::string& data) {
    Bytes payload{std::uint8_t(status >> 8), std::uint8_t(status & 0xFF)};
    payload.insert(payload.end(), data.begin(), data.end());
    return vnrsim::encode_frame(payload, vnrsim::Form::plain);
}

TEST(Control, EachLineIsAnsweredAndChangesTheReaderAsItSays) {
    vnrsim::Reader reader(vnrsim::Deck::parse(R"({"contactless_version": "RF 2.05"})"));
    int quits = 0;
    vnrsim::Control control(reader, [&] { ++quits; });
    // Each line and the start of its answer; "error: " lines must leave the reader as it was.
    const std::pair<const char*, const char*> lines[] = {
        {"FAULT Noise 2 3", "ok fault noise 2 for 3 replies"},
        {"fault cut 3", "ok fault cut 3 once"},  // a lone number after cut is the length
        {"fault silence", "ok fault silence once"},
        {"fault check always", "ok fault check always"},
        {"fault hangup", "ok fault hangup"},
        {"clear cut", "ok cut cleared"},
        {"faults", "ok noise 2 for 3 replies, silence once, check always, hangup"},
        {"clear", "ok faults cleared"},
        {"faults", "ok none"},
        {"form plain", "ok form plain"},
        {"baud 9600", "ok baud 9600"},
        {"version 1   RF 3.00 beta  ", "ok version 1 RF 3.00 beta"},
        {"reply 3111 6A82 times 1", "ok reply 3111 status 6A82 with 0 data bytes"},
        {"reply 32 0 A0B1", "ok reply 32 status 0000 with 2 data bytes"},
        {"quit", "ok bye"},
        {"", "error: "}, {"launch", "error: unknown command"}, {"fault noise", "error: "},
        {"fault noise 3 0", "error: "}, {"fault hangup once", "error: "}, {"clear everything", "error: "},
        {"form compact", "error: "}, {"baud fast", "error: "}, {"version 2 x", "error: "},
        {"reply 31G1 0", "error: "}, {"reply 3111 0 00 times 0", "error: "},
    };
    for (const auto& [line, answer] : lines) {
        const std::string got = control.execute(line);
        EXPECT_EQ(got.rfind(answer, 0), 0u) << '"' << line << "\" -> " << got;
    }
    EXPECT_EQ(quits, 1);
    EXPECT_TRUE(reader.faults().empty());
    EXPECT_FALSE(reader.hung_up());
    EXPECT_EQ(reader.baud(), 9600u);
    const auto ask = [&](const char* command) {
        return reader.receive(vnrsim::encode_frame(vnrsim::parse_hex(command), vnrsim::Form::split));
    };
    EXPECT_EQ(ask("31 11 01"), plain_reply(0x6A82, ""));
    EXPECT_EQ(ask("31 11 01"), plain_reply(0, "RF 3.00 beta"));
    EXPECT_EQ(ask("32 50"), plain_reply(0, "\xA0\xB1"));
    EXPECT_EQ(control.execute("stats"), "ok received 3 sent 3 bad 0 unknown 0 silenced 0 skipped 0");
    EXPECT_EQ(control.execute("history 2"), "ok 311101 3250");
    EXPECT_EQ(control.execute("clear history"), "ok history cleared");
    EXPECT_EQ(control.execute("history"), "ok");
}

}  // namespace
