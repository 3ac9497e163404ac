// Reading decks: the shipped examples, the forms of a canned reply, and each mistake in the reader's own
// keys refused with a message that says where.
#include <gtest/gtest.h>

#include "ask.h"
#include "vnrsim/deck.h"

namespace {

using vnrsim::Deck;
using Bytes = std::vector<std::uint8_t>;

TEST(Decks, ShippedDecksAndCannedRepliesReadAsWritten) {
    EXPECT_EQ(Deck::load(VNRSIM_DECKS "/plain_reader.json").reply_form, vnrsim::Form::plain);
    EXPECT_EQ(Deck::load(VNRSIM_DECKS "/bench_1289.json").replies.at(0).data, Bytes(1289, 90));

    const Deck deck = Deck::parse(R"({"reader_version": "读写器 1.0", "unknown_command_status": "1001", "replies": [
        {"command": "32 50", "status": "0x6A82", "data": "00 00 90", "fill": {"length": 4, "byte": 255}},
        {"command": "c009", "status": 4097, "fill": {"length": 5, "pattern": "0102"}, "times": 2},
        {"command": "30", "raw": "02 00 01 00 00 03", "comment": "too short to hold a status"}]})");
    EXPECT_EQ(deck.reader_version, "\xB6\xC1\xD0\xB4\xC6\xF7 1.0") << "version texts are answered in GBK";
    EXPECT_EQ(deck.unknown_command_status, 0x1001);
    ASSERT_EQ(deck.replies.size(), 3u);
    EXPECT_EQ(deck.replies[0].status, 0x6A82);
    EXPECT_EQ(deck.replies[0].data, vnrsim::parse_hex("00 00 90 FF FF FF FF"));
    EXPECT_FALSE(deck.replies[0].times);
    EXPECT_EQ(deck.replies[1].command, vnrsim::parse_hex("C0 09"));
    EXPECT_EQ(deck.replies[1].data, vnrsim::parse_hex("01 02 01 02 01"));
    EXPECT_EQ(deck.replies[1].times, 2u);
    EXPECT_EQ(deck.replies[2].raw, vnrsim::parse_hex("02 00 01 00 00 03"));
}

TEST(Decks, MistakesAreRefusedWithWhereAndWhat) {
    const std::pair<std::string, std::vector<const char*>> cases[] = {
        {R"({"reader_versoin": "x"})", {"test.json", "\"reader_versoin\""}},
        {R"({"replies": [{"command": "31"}, {"command": "32", "stauts": 0}]})", {"replies[1]", "\"stauts\""}},
        {R"({"replies": [{"command": "32G0"}]})", {"replies[0].command", "'G'"}},
        {R"({"replies": [{"command": "325"}]})", {"odd"}},
        {R"({"baud": 9600.5})", {"baud:"}},
        {R"({"reply_form": "compact"})", {"reply_form:"}},
        {R"({"unknown_command_status": 65536})", {"unknown_command_status:"}},
        {R"({"replies": [{"command": "31", "times": 0}]})", {"replies[0].times:"}},
        {R"({"replies": [{"command": "31", "fill": {"length": 2, "byte": 1, "pattern": "01"}}]})", {"replies[0].fill:"}},
        {R"({"replies": [{"command": "31", "raw": "0203", "status": 0}]})", {"replies[0]:"}},
        {R"({"replies": [{"command": "31", "fill": {"length": 65534, "byte": 0}}]})", {"replies[0]:"}},
        {R"({"contactless_version": "\ud83d\ude00"})", {"contactless_version"}},
        {R"([1, 2])", {"top level:"}},
        {"{\n  \"baud\": 9600,\n  \"reply_form\": split\n}", {"not valid JSON", "line 3"}},
    };
    for (const auto& [json, wanted] : cases) {
        const std::string message = vnrsim::test::refusal([&] { Deck::parse(json, "test.json"); });
        for (const char* part : wanted) EXPECT_NE(message.find(part), std::string::npos) << json << " gave: " << message;
    }
}

}  // namespace
