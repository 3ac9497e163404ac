// The model "reader": EEPROM words and bounds, the block store's addresses, serial number writes, the
// side query, the status bytes following the card models, and the commands the control channel shows.
#include <gtest/gtest.h>

#include <set>

#include "../ask.h"
#include "models/idcard/idcard_module.h"
#include "models/reader/reader_model.h"
#include "vnrsim/control.h"

namespace {

using vnrsim::Deck;
using vnrsim::parse_hex;
using vnrsim::test::ask;
using vnrsim::test::Bytes;

using Case = std::pair<std::string, std::pair<std::uint16_t, Bytes>>;  // command, status and data

void expect_answers(vnrsim::Reader& reader, std::initializer_list<Case> cases) {
    for (const auto& [command, wanted] : cases) EXPECT_EQ(ask(reader, command.c_str()), wanted) << command;
}

TEST(ReaderModel, EepromWordsSerialBlocksAndSideQuery) {
    vnrsim::Reader reader(Deck::parse(R"({"reader": {"eeprom": "00 01 02 03", "blocks": 72611}})"));
    EXPECT_EQ(vnrsim::Control(reader).execute("reader eeprom 198 AABB"), "ok reader eeprom 198 AABB");
    const std::string side_text = "60 C2 87 313B3132333435363738393031323334";
    expect_answers(reader, {
        {"C0 0B 00 01 00 02", {0, parse_hex("02 03")}},   // word 1: bytes 2 and 3
        {"C0 0B 00 63 00 02", {0, parse_hex("AA BB")}},   // word 99: bytes 198 and 199
        {"C0 0B 00 63 00 03", {vnrsim::kReaderRangeStatus, {}}},
        {"C0 0A 00 63 00 04 11223344", {vnrsim::kReaderRangeStatus, {}}},
        {"C0 0A 00 01 00 03 112233", {vnrsim::kReaderLengthStatus, {}}},
        {"C0 0A 00 01 00 02 11", {vnrsim::kReaderLengthStatus, {}}},
        {"C0 0A 00 01 00 02 1122", {0, {}}},
        {"C0 0B 00 00 00 04", {0, parse_hex("00 01 11 22")}},
        // Block 72610 is 0 1 9 0 in base 265; the store ends there.
        {"50 02 00 01 09 00 ABCD", {0, {}}},
        {"50 01 00 01 09 01", {vnrsim::kReaderRangeStatus, {}}},
        {"50 00", {0, parse_hex("00 01 1B A3")}},
        {"C0 08 03 414243", {0, {}}},
        {"C0 09 05", {0, parse_hex("41 42 43 00 00")}},
        {"C0 08 05 41", {vnrsim::kReaderLengthStatus, {}}},
        {"C0 08 00 14 5859" + std::string(36, '0'), {0, {}}},
        {"C0 09 03", {0, parse_hex("58 59 00")}},
        {"60 C2 87 313B31323334353637383930313233", {vnrsim::kReaderLengthStatus, {}}},
        {"60 C2 87 3A3B3132333435363738393031323334", {vnrsim::kReaderValueStatus, {}}},
    });
    const auto block = ask(reader, "50 01 00 01 09 00").second;
    EXPECT_EQ(Bytes(block.begin(), block.begin() + 3), parse_hex("AB CD 00"));
    EXPECT_EQ(block.size(), vnrsim::kBlockSize);
    const auto side = ask(reader, side_text.c_str()).second;
    ASSERT_EQ(side.size(), vnrsim::kSideQuerySize);
    EXPECT_EQ(Bytes(side.begin(), side.begin() + 2), parse_hex("31 3B"));
    EXPECT_EQ(Bytes(side.begin() + 29, side.begin() + 32), parse_hex("00 00 01")) << "the deck's bytes from offset 30";
    EXPECT_EQ(side[230], 200) << "offset 230 begins the second part";

    const std::pair<std::array<std::uint8_t, 4>, std::uint64_t> addresses[] = {
        {{0, 0, 0, 5}, 5}, {{0, 0, 1, 0}, 265}, {{0, 1, 9, 0}, 72610}, {{1, 0, 0, 0}, 18609625},
        {{255, 255, 255, 255}, 4763429580},
    };
    for (const auto& [digits, address] : addresses) EXPECT_EQ(vnrsim::block_address(digits), address) << address;
}

// Answers whether a card lies in one of its slots; named "contact", or "contactless" for Field.
template <bool Field>
class Slots : public vnrsim::Model {
public:
    const vnrsim::ModelHelp& help() const override {
        static const vnrsim::ModelHelp help{Field ? "contactless" : "contact", "slots", "", "", "", {}};
        return help;
    }
    void load(const nlohmann::json&, const std::filesystem::path&) override {}
    std::optional<vnrsim::Answer> answer(std::span<const std::uint8_t>) override { return std::nullopt; }
    bool card_present(std::uint8_t slot) const override { return cards.contains(slot); }
    std::set<std::uint8_t> cards;
};

TEST(ReaderModel, StatusBytesFollowTheCardModelsAndAMissingOneHoldsNoCard) {
    constexpr vnrsim::ModelEntry kWithSlots[] = {vnrsim::model_entry<vnrsim::ReaderModel>(),
                                                 vnrsim::model_entry<vnrsim::IdCardModule>(),
                                                 vnrsim::model_entry<Slots<false>>(), vnrsim::model_entry<Slots<true>>()};
    constexpr vnrsim::ModelEntry kAlone[] = {vnrsim::model_entry<vnrsim::ReaderModel>()};
    vnrsim::Reader reader(Deck::parse(R"({"idcard": {"resident": {}}})", "deck", {}, vnrsim::ModelSet(kWithSlots)));
    vnrsim::Reader alone(Deck::parse("{}", "deck", {}, vnrsim::ModelSet(kAlone)));
    const char* queries[] = {"30 07", "30 08", "30 09", "40 00", "40 01", "40 02"};
    // Contact slots with a card, a card in the field, an identity card; the answers to the queries.
    const std::tuple<std::set<std::uint8_t>, bool, bool, const char*> cases[] = {
        {{}, false, false, "00 00 00 00 00 00"},
        {{0, 2}, true, true, "07 05 01 01 01 01"},
        {{3}, true, false, "02 08 02 00 01 00"},
        {{}, false, true, "04 00 03 00 00 01"},
    };
    for (const auto& [slots, field, identity, wanted] : cases) {
        reader.model<Slots<false>>()->cards = slots;
        reader.model<Slots<true>>()->cards = field ? std::set<std::uint8_t>{vnrsim::Model::kFieldSlot} : std::set<std::uint8_t>{};
        reader.model<vnrsim::IdCardModule>()->put(identity ? vnrsim::CardKind::resident : vnrsim::CardKind::none);
        Bytes got;
        for (const char* query : queries) got.push_back(ask(reader, query).second.at(0));
        EXPECT_EQ(got, parse_hex(wanted)) << wanted;
        for (const char* query : queries) EXPECT_EQ(ask(alone, query).second, Bytes{0}) << query;
    }
}

TEST(ReaderModel, TheControlChannelShowsWhatTheHostSent) {
    vnrsim::Reader reader(Deck::parse(R"({"reader": {"serial": "5A", "charge": 55}})"));
    expect_answers(reader, {
        {"60 C3 00 414243", {0, {}}}, {"60 C3 00 44", {0, {}}}, {"60 C4 00", {0, {}}},
        {"60 C5 00 00 01 00", {0, {}}}, {"60 C5 00 03 00 00", {vnrsim::kReaderValueStatus, {}}},
        {"70 00 05 00 02 AABB", {0, {}}}, {"70 00 05 00 03 AABB", {vnrsim::kReaderLengthStatus, {}}},
        {"32 66 00 01 02 03", {vnrsim::kReaderValueStatus, {}}}, {"32 66 00 01 02 00", {0, {}}},
        {"31 13 00 64 01", {0, {}}}, {"31 14 01", {0, {}}}, {"31 15 01 02 03", {0, {}}},
        {"30 01 01 04", {0, {}}}, {"30 01 00 05", {vnrsim::kReaderValueStatus, {}}}, {"31 12 01", {0, {}}},
        {"C0 0C", {0, {55}}}, {"32 53", {0, vnrsim::kDefaultEmid}},
    });
    vnrsim::Control control(reader);
    const std::pair<const char*, const char*> lines[] = {
        {"reader", "ok reader serial 5A, baud codes 0 4, resets 0 1, beep 006401, lights 01, colour lights 010203, "
                   "led lights 00010200, charge 55, com1 44, com2 -, port rates 000100, p2p 05:AABB, blocks written 0"},
        {"reader com1", "ok reader com1 414243 44"},
        {"reader serial -", "ok reader serial -"},
        {"reader charge 101", "error: reader charge takes 0 to 100"},
        {"reader eeprom 199 AABB", "error: reader eeprom takes a byte address"},
    };
    for (const auto& [line, answer] : lines) EXPECT_EQ(control.execute(line).rfind(answer, 0), 0u) << control.execute(line);
}

}  // namespace
