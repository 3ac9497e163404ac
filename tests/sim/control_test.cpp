// tests/sim/control_test.cpp: the control command parser, one line after another against one reader:
// each line's answer, and what the reader does afterwards.
#include <gtest/gtest.h>

#include "sim_test_util.h"
#include "vnrsim/control.h"

namespace {

using simtest::hex;
using simtest::reply;
using simtest::text_bytes;
using vnrsim::Form;

TEST(Control, EachLineIsAnsweredAndChangesTheReaderAsItSays) {
    vnrsim::Deck deck;
    deck.contactless_version = "RF 2.05";
    vnrsim::Reader reader(deck);
    int quits = 0;
    vnrsim::Control control(reader, [&] { ++quits; });
    // Each line and the start of its answer; "error: " lines must leave the reader as it was.
    const std::pair<const char*, const char*> lines[] = {
        {"fault noise 9 once", "ok fault noise 9 once"},
        {"FAULT Noise 2 3", "ok fault noise 2 for 3 replies"},
        {"fault cut 3", "ok fault cut 3 once"},  // a lone number after cut is the length
        {"fault cut 4 2", "ok fault cut 4 for 2 replies"},
        {"fault cut always", "ok fault cut always"},
        {"fault silence", "ok fault silence once"},
        {"fault check always", "ok fault check always"},
        {"fault end", "ok fault end once"},
        {"fault hangup", "ok fault hangup"},
        {"clear cut", "ok cut cleared"},
        {"faults", "ok noise 2 for 3 replies, silence once, check always, end once, hangup"},
        {"clear", "ok faults cleared"},
        {"faults", "ok none"},
        {"fault hangup always", "ok fault hangup"},
        {"clear hangup", "ok hangup cleared"},
        {"form plain", "ok form plain"},
        {"baud 9600", "ok baud 9600"},
        {"version 1   RF 3.00 beta  ", "ok version 1 RF 3.00 beta"},
        {"reply 3111 6A82 times 1", "ok reply 3111 status 6A82 with 0 data bytes"},
        {"reply 32 0 A0B1", "ok reply 32 status 0000 with 2 data bytes"},
        {"reply 33 9000 - times 2", "ok reply 33 status 9000 with 0 data bytes"},
        {"quit", "ok bye"},
        {"", "error: "}, {"   ", "error: "}, {"launch", "error: unknown command"}, {"fault", "error: "},
        {"fault flood", "error: "}, {"fault noise", "error: "}, {"fault noise many", "error: "},
        {"fault noise 3 sometimes", "error: "}, {"fault noise 3 0", "error: "}, {"fault hangup once", "error: "},
        {"fault hangup 2", "error: "}, {"clear everything", "error: "}, {"stats now", "error: "},
        {"form compact", "error: "}, {"baud fast", "error: "}, {"version 2 x", "error: "}, {"reply 3111", "error: "},
        {"reply 31G1 0", "error: "}, {"reply 3111 12345", "error: "}, {"reply 3111 0 00 times 0", "error: "},
        {"reply 3111 0 00 extra", "error: "},
    };
    for (const auto& [line, answer] : lines) {
        const std::string got = control.execute(line);
        EXPECT_EQ(got.rfind(answer, 0), 0u) << '"' << line << "\" -> " << got;
    }
    EXPECT_EQ(quits, 1);
    EXPECT_TRUE(reader.faults().empty());
    EXPECT_FALSE(reader.hung_up());
    EXPECT_EQ(reader.baud(), 9600u);
    const auto ask = [&](const char* command) { return reader.receive(vnrsim::encode_frame(hex(command), Form::split)); };
    EXPECT_EQ(ask("31 11 01"), reply(0x6A82, {}, Form::plain));
    EXPECT_EQ(ask("31 11 01"), reply(0, text_bytes("RF 3.00 beta"), Form::plain));
    EXPECT_EQ(ask("32 50"), reply(0, hex("A0 B1"), Form::plain));
    EXPECT_EQ(control.execute("stats"), "ok received 3 sent 3 bad 0 unknown 0 silenced 0 skipped 0");
    EXPECT_EQ(control.execute("history 2"), "ok 311101 3250");
    EXPECT_EQ(control.execute("clear history"), "ok history cleared");
    EXPECT_EQ(control.execute("history"), "ok");
}

}  // namespace
