// tests/sim/deck_test.cpp: reading decks: the shipped examples, defaults, canned replies, and the refusal
// of every kind of mistake with a message that says where.
#include <gtest/gtest.h>

#include <fstream>

#include "sim_test_util.h"
#include "vnrsim/deck.h"

namespace {

using simtest::Bytes;
using simtest::hex;
using vnrsim::Deck;
using vnrsim::Form;

// The message of the std::runtime_error that parsing `json` throws; empty if it throws none.
std::string refusal(const std::string& json) {
    try {
        Deck::parse(json, "test.json");
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return {};
}

TEST(ShippedDecks, DescribeTheDemoPlainAndBenchReaders) {
    const Deck reader = Deck::load(VNRSIM_DECKS "/reader.json");
    EXPECT_EQ(reader.reader_version, "VNR-32 R1.08");
    EXPECT_EQ(reader.contactless_version, "VNR-32 RF 2.05");
    EXPECT_EQ(reader.reply_form, Form::split);
    EXPECT_EQ(reader.baud, 115200u);

    EXPECT_EQ(Deck::load(VNRSIM_DECKS "/plain_reader.json").reply_form, Form::plain);

    const Deck bench = Deck::load(VNRSIM_DECKS "/bench_1289.json");
    ASSERT_EQ(bench.replies.size(), 1u);
    EXPECT_EQ(bench.replies[0].command, hex("32 50"));
    EXPECT_EQ(bench.replies[0].status, 0);
    EXPECT_EQ(bench.replies[0].data, Bytes(1289, 90));
    EXPECT_EQ(bench.reply_form, Form::split);
    EXPECT_EQ(bench.baud, 115200u);
}

TEST(DeckValues, AnEmptyDeckTakesTheDefaults) {
    const Deck deck = Deck::parse("{}");
    EXPECT_EQ(deck.reply_form, Form::split);
    EXPECT_EQ(deck.baud, 0u);
    EXPECT_EQ(deck.unknown_command_status, vnrsim::kUnknownCommandStatus);
    EXPECT_FALSE(deck.reader_version.empty());
    EXPECT_TRUE(deck.replies.empty());
}

TEST(DeckValues, CannedRepliesTakeDataFillPatternRawAndTimes) {
    const Deck deck = Deck::parse(R"({"replies": [
        {"command": "32 50", "status": "0x6A82", "data": "00 00 90", "fill": {"length": 4, "byte": 255}},
        {"command": "c009", "status": 4097, "fill": {"length": 5, "pattern": "0102"}, "times": 2},
        {"command": "30", "raw": "02 00 01 00 00 03", "comment": "too short to hold a status"}
    ], "unknown_command_status": "1001"})");
    ASSERT_EQ(deck.replies.size(), 3u);
    EXPECT_EQ(deck.replies[0].status, 0x6A82);
    EXPECT_EQ(deck.replies[0].data, hex("00 00 90 FF FF FF FF"));
    EXPECT_FALSE(deck.replies[0].times);
    EXPECT_EQ(deck.replies[1].command, hex("C0 09"));
    EXPECT_EQ(deck.replies[1].status, 0x1001);
    EXPECT_EQ(deck.replies[1].data, hex("01 02 01 02 01"));
    EXPECT_EQ(deck.replies[1].times, 2u);
    EXPECT_EQ(deck.replies[2].raw, hex("02 00 01 00 00 03"));
    EXPECT_EQ(deck.unknown_command_status, 0x1001);
}

TEST(DeckValues, NonAsciiVersionTextIsAnsweredInGbk) {
    const Deck deck = Deck::parse(R"({"reader_version": "读写器 1.0"})");
    EXPECT_EQ(deck.reader_version, "\xB6\xC1\xD0\xB4\xC6\xF7 1.0");
}

TEST(DeckRefusals, UnknownKeysAreNamedWhereverTheyAre) {
    const std::string top = refusal(R"({"reader_versoin": "x"})");
    EXPECT_NE(top.find("test.json"), std::string::npos) << top;
    EXPECT_NE(top.find("\"reader_versoin\""), std::string::npos) << top;

    const std::string nested = refusal(R"({"replies": [{"command": "31"}, {"command": "32", "stauts": 0}]})");
    EXPECT_NE(nested.find("replies[1]"), std::string::npos) << nested;
    EXPECT_NE(nested.find("\"stauts\""), std::string::npos) << nested;

    const std::string in_fill = refusal(R"({"replies": [{"command": "31", "fill": {"length": 1, "bytes": 2}}]})");
    EXPECT_NE(in_fill.find("replies[0].fill"), std::string::npos) << in_fill;
    EXPECT_NE(in_fill.find("\"bytes\""), std::string::npos) << in_fill;
}

TEST(DeckRefusals, BadHexSaysWhichValueAndWhichCharacter) {
    const std::string bad_digit = refusal(R"({"replies": [{"command": "32G0"}]})");
    EXPECT_NE(bad_digit.find("replies[0].command"), std::string::npos) << bad_digit;
    EXPECT_NE(bad_digit.find("'G'"), std::string::npos) << bad_digit;
    const std::string odd = refusal(R"({"replies": [{"command": "32", "data": "0 0"}]})");
    EXPECT_NE(odd.find("replies[0].data"), std::string::npos) << odd;
    EXPECT_NE(refusal(R"({"replies": [{"command": "325"}]})").find("odd"), std::string::npos);
    EXPECT_NE(refusal(R"({"replies": [{"command": ""}]})").find("replies[0].command"), std::string::npos);
}

TEST(DeckRefusals, WrongTypesAndValuesAreRefusedWithTheKey) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"baud": "115200"})", "baud"},
        {R"({"baud": -1})", "baud"},
        {R"({"baud": 9600.5})", "baud"},
        {R"({"reply_form": "compact"})", "reply_form"},
        {R"({"reader_version": 108})", "reader_version"},
        {R"({"unknown_command_status": 65536})", "unknown_command_status"},
        {R"({"unknown_command_status": "12345"})", "unknown_command_status"},
        {R"({"replies": {"command": "31"}})", "replies"},
        {R"({"replies": ["3111"]})", "replies[0]"},
        {R"({"replies": [{"status": 0}]})", "replies[0]"},
        {R"({"replies": [{"command": "31", "times": 0}]})", "replies[0].times"},
        {R"({"replies": [{"command": "31", "fill": {"byte": 1}}]})", "replies[0].fill"},
        {R"({"replies": [{"command": "31", "fill": {"length": 2, "byte": 256}}]})", "replies[0].fill.byte"},
        {R"({"replies": [{"command": "31", "fill": {"length": 2, "byte": 1, "pattern": "01"}}]})", "replies[0].fill"},
        {R"({"replies": [{"command": "31", "raw": "0203", "status": 0}]})", "replies[0]"},
        {R"({"replies": [{"command": "31", "fill": {"length": 65534, "byte": 0}}]})", "replies[0]"},
        {R"([1, 2])", "top level"},
    };
    for (const auto& [json, where] : cases) {
        const std::string message = refusal(json);
        EXPECT_NE(message.find(std::string(where) + ":"), std::string::npos) << json << " gave: " << message;
    }
}

TEST(DeckRefusals, MalformedJsonSaysWhereItBroke) {
    const std::string message = refusal("{\n  \"baud\": 9600,\n  \"reply_form\": split\n}");
    EXPECT_NE(message.find("not valid JSON"), std::string::npos) << message;
    EXPECT_NE(message.find("line 3"), std::string::npos) << message;
}

TEST(DeckRefusals, AMissingFileIsNamed) {
    try {
        Deck::load("/nonexistent/deck.json");
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("/nonexistent/deck.json"), std::string::npos);
    }
}

TEST(DeckRefusals, VersionTextGbkCannotHoldIsRefused) {
    EXPECT_NE(refusal(R"({"contactless_version": "\ud83d\ude00"})").find("contactless_version"), std::string::npos);
}

TEST(HexAndStatusText, ParseWhatPeopleWrite) {
    EXPECT_EQ(vnrsim::parse_hex("02 0a\tFF"), hex("020AFF"));
    EXPECT_EQ(vnrsim::to_hex(hex("02 0a ff")), "020AFF");
    EXPECT_EQ(vnrsim::parse_status("6d00"), 0x6D00);
    EXPECT_EQ(vnrsim::parse_status("0x9000"), 0x9000);
    EXPECT_EQ(vnrsim::parse_status("0"), 0);
    EXPECT_THROW(vnrsim::parse_status("0x"), std::invalid_argument);
    EXPECT_THROW(vnrsim::parse_status("10000"), std::invalid_argument);
    EXPECT_THROW(vnrsim::parse_status("-1"), std::invalid_argument);
}

}  // namespace
