// Models as the reader, deck and control parser use them, seen with two probe models: answer order,
// sections loaded or refused, control lines, "clear" and "faults", and a sibling found in a copied deck.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ask.h"
#include "vnrsim/control.h"
#include "vnrsim/deck_json.h"

namespace {

using vnrsim::Deck;
using vnrsim::test::ask;
using vnrsim::test::Bytes;

// Answers the commands that begin with its section's "first" byte with status 0x900N and its "data".
template <int N>
class Probe : public vnrsim::Model {
public:
    const vnrsim::ModelHelp& help() const override {
        static constexpr vnrsim::CommandHelp kCommands[] = {{N == 1 ? "probe1 fail" : "probe2 fail", "a failure"}};
        static const vnrsim::ModelHelp help{N == 1 ? "probe1" : "probe2", "a probe", "", "", "", kCommands};
        return help;
    }
    void load(const nlohmann::json& section, const std::filesystem::path&) override {
        using namespace vnrsim::deck_json;
        const std::string where(name());
        expect_object(section, where);
        check_keys(section, where, {"first", "data"});
        if (section.contains("first")) first = static_cast<std::uint8_t>(count_of(section["first"], where + ".first", 0, 255));
        if (section.contains("data")) data = hex_of(section["data"], where + ".data");
    }
    std::optional<vnrsim::Answer> answer(std::span<const std::uint8_t> command) override {
        if (command.empty() || command[0] != first) return std::nullopt;
        return vnrsim::Answer{0x9000 + N, data};
    }
    std::string control(const vnrsim::ControlLine& line) override {
        if (line.keyword(1) == "sibling") return "ok " + std::string(sibling<Probe<3 - N>>()->name());
        if (line.keyword(1) != "fail") throw vnrsim::Refusal("probe takes fail or sibling");
        failing = true;
        return "ok " + std::string(name()) + " failing";
    }
    void clear_failures() override { failing = false; }
    std::vector<std::string> failures() const override { return failing ? std::vector<std::string>{"now"} : std::vector<std::string>{}; }

    std::uint8_t first = 0;
    Bytes data;
    bool failing = false;
};

constexpr vnrsim::ModelEntry kProbes[] = {vnrsim::model_entry<Probe<1>>(), vnrsim::model_entry<Probe<2>>()};

Deck probe_deck(const std::string& json) { return Deck::parse(json, "test.json", {}, vnrsim::ModelSet(kProbes)); }

TEST(Registry, ModelsAnswerInTheirOrderAfterCannedRepliesAndTheVersionQuery) {
    const Deck deck = probe_deck(R"({"probe1": {"first": 160, "data": "01"}, "probe2": {"first": 160, "data": "02"},
                                     "replies": [{"command": "A0 FF", "status": "6A82"}]})");
    vnrsim::Reader reader(deck);
    EXPECT_EQ(ask(reader, "A0 00"), std::make_pair(std::uint16_t{0x9001}, Bytes{0x01})) << "the first model first";
    EXPECT_EQ(ask(reader, "A0 FF").first, 0x6A82) << "a canned reply before the models";
    reader.model<Probe<1>>()->first = 0x31;
    EXPECT_EQ(ask(reader, "A0 00"), std::make_pair(std::uint16_t{0x9002}, Bytes{0x02})) << "the first one passed";
    EXPECT_EQ(ask(reader, "31 11 00").first, 0) << "the version query before the models";
    EXPECT_EQ(ask(reader, "31 22").first, 0x9001);
    EXPECT_EQ(ask(reader, "C0").first, vnrsim::kUnknownCommandStatus);
    EXPECT_EQ(deck.models.get<Probe<1>>().first, 160) << "the reader has its own copy of the deck's models";
}

TEST(Registry, SectionsAreTheirModelsAndAreRefusedWithTheirPath) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"probe1": {"frist": 1}})", "test.json: probe1: unknown key \"frist\""},
        {R"({"probe2": {"data": "0G"}})", "test.json: probe2.data: not hex"},
        {R"({"probe1": [1]})", "test.json: probe1: expected an object, got a list"},
        {R"({"probe3": {}})", "known keys: comment, reader_version, contactless_version, reply_form, baud, "
                              "unknown_command_status, replies, probe1, probe2)"},
    };
    for (const auto& [json, wanted] : cases) {
        const std::string message = vnrsim::test::refusal([&] { probe_deck(json); });
        EXPECT_NE(message.find(wanted), std::string::npos) << json << " gave: " << message;
    }
}

TEST(Registry, ControlLinesClearAndFaultsReachTheModels) {
    vnrsim::Reader reader(probe_deck("{}"));
    vnrsim::Control control(reader);
    const std::pair<const char*, const char*> lines[] = {
        {"probe1 fail", "ok probe1 failing"},
        {"PROBE2 Fail", "ok probe2 failing"},
        {"fault check", "ok fault check once"},
        {"faults", "ok check once, probe1 now, probe2 now"},
        {"clear probe1", "ok probe1 cleared"},
        {"faults", "ok check once, probe2 now"},
        {"clear", "ok faults cleared"},
        {"faults", "ok none"},
        {"probe2 sibling", "ok probe1"},
        {"probe1 jump", "error: probe takes fail or sibling"},
        {"clear probe3", "error: clear takes a fault (noise, silence, check, end, cut, hangup), a model (probe1, probe2)"},
        {"help probe2", "ok probe2 (a probe): probe2 fail - a failure"},
    };
    for (const auto& [line, answer] : lines) {
        const std::string got = control.execute(line);
        EXPECT_EQ(got.rfind(answer, 0), 0u) << '"' << line << "\" -> " << got;
    }
}

}  // namespace
