// The model "idcard" where no test through the library reaches it: its deck section and refusals, its
// commands other than the reads, an injected triple's count, and its control words.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "../ask.h"
#include "models/idcard/idcard_module.h"
#include "vnrsim/control.h"
#include "wlt/bmp.h"

namespace {

using vnrsim::CardKind;
using vnrsim::Deck;
using vnrsim::IdCardModule;
using vnrsim::test::ask;
using vnrsim::test::Bytes;

TEST(IdCardModel, ShippedSectionsReadAndMistakesAreRefusedWithWhereAndWhat) {
    EXPECT_EQ(Deck::load(VNRSIM_DECKS "/foreign_card.json").models.get<IdCardModule>().on_reader(), CardKind::foreign);
    const Deck unlisted = Deck::load(VNRSIM_DECKS "/foreign_card_unlisted_country.json");
    ASSERT_TRUE(unlisted.models.get<IdCardModule>().setup().foreign);
    EXPECT_TRUE(unlisted.models.get<IdCardModule>().setup().foreign->fingerprint.empty());

    char pattern[] = "/tmp/vnrsim-deck-XXXXXX";
    const std::filesystem::path dir = ::mkdtemp(pattern);
    wlt::write_bmp(dir / "small.bmp", wlt::Image{10, 10, Bytes(300, 0x80)});
    const std::string thirty_six = "一二三四五六七八九十一二三四五六七八九十一二三四五六七八九十一二三四五六";
    const std::pair<std::string, std::vector<const char*>> cases[] = {
        {R"({"idcard": {"resident": {"address": ")" + thirty_six + R"("}}})", {"idcard.resident.address:", "70"}},
        {R"({"idcard": {"resident": {"name": "\ud840\udc00abcdefghijklmn"}}})", {"idcard.resident.name:"}},  // 16 units
        {R"({"idcard": {"foreign": {"country_code": "CANA"}}})", {"idcard.foreign.country_code:"}},
        {R"({"idcard": {"resident": {"nmae": "x"}}})", {"test.json: idcard.resident:", "\"nmae\""}},
        {R"({"idcard": {"resident": {}, "on_reader": "foreign"}})", {"idcard.on_reader:", "no foreign card"}},
        {R"({"idcard": {"resident": {"photo": {"fill": {"length": 1025, "byte": 1}}}}})", {"idcard.resident.photo:", "1025"}},
        {R"({"idcard": {"resident": {"photo": {"bmp": "missing.bmp"}}}})", {"idcard.resident.photo.bmp:", "missing.bmp"}},
        {R"({"idcard": {"resident": {"photo": {"bmp": "small.bmp"}}}})", {"idcard.resident.photo.bmp:", "10 x 10"}},
        {R"({"idcard": {"foreign": {"fingerprint": {"fill": {"length": 1025, "byte": 1}}}}})", {"idcard.foreign.fingerprint:"}},
        {R"({"idcard": {"resident": {"added": ")" + std::string(392, 'A') + R"("}}})", {"idcard.resident.added:", "196"}},
    };
    for (const auto& [json, wanted] : cases) {
        const std::string message = vnrsim::test::refusal([&] { Deck::parse(json, "test.json", dir); });
        for (const char* part : wanted) EXPECT_NE(message.find(part), std::string::npos) << json << " gave: " << message;
    }
    std::filesystem::remove_all(dir);
}

TEST(IdCardModel, CommandsWithAndWithoutACardAndAnInjectedTriple) {
    vnrsim::Reader reader{Deck::parse(
        R"({"idcard": {"module_id": "A1A2A3", "resident": {"added": "AA", "management": "BBCC"}}})")};
    reader.model<IdCardModule>()->put(CardKind::resident);
    EXPECT_EQ(ask(reader, "D0 02").second, vnrsim::parse_hex("00 05 00 00 90"));
    EXPECT_EQ(ask(reader, "D0 05").second, vnrsim::parse_hex("00 06 00 00 90 AA"));
    EXPECT_EQ(ask(reader, "D0 06").second, vnrsim::parse_hex("00 07 00 00 90 BB CC"));
    reader.model<IdCardModule>()->put(CardKind::none);
    for (const char* module_command : {"D0 01", "D0 02", "D0 03", "D0 04", "D0 05", "D0 06", "D0 07", "32 50"})
        EXPECT_EQ(ask(reader, module_command), std::make_pair(std::uint16_t{0}, vnrsim::parse_hex("00 05 00 00 80")))
            << module_command;
    EXPECT_EQ(ask(reader, "32 52").first, vnrsim::kNoIdCardStatus);
    EXPECT_EQ(ask(reader, "32 51").second, vnrsim::parse_hex("A1 A2 A3")) << "the module is there without a card";
    for (const char* unknown : {"D0 08", "D0 01 00", "32 54"})
        EXPECT_EQ(ask(reader, unknown).first, vnrsim::kUnknownCommandStatus) << unknown;

    reader.model<IdCardModule>()->fail({0x00, 0x00, 0x41}, vnrsim::Times::count(2));
    EXPECT_EQ(ask(reader, "D0 03").second, vnrsim::parse_hex("00 05 00 00 41"));
    EXPECT_EQ(ask(reader, "32 51").second, vnrsim::parse_hex("A1 A2 A3")) << "raw replies neither take nor count it";
    EXPECT_EQ(ask(reader, "D0 01").second, vnrsim::parse_hex("00 05 00 00 41"));
    EXPECT_FALSE(reader.model<IdCardModule>()->failure());
    EXPECT_EQ(ask(reader, "D0 01").second, vnrsim::parse_hex("00 05 00 00 80"));
}

TEST(IdCardModel, ControlWordsPutCardsAndStandFailures) {
    vnrsim::Reader reader(Deck::parse(R"({"idcard": {"resident": {}}})"));
    vnrsim::Control control(reader);
    // Each line and the start of its answer; "error: " lines must leave the module as it was.
    const std::pair<const char*, const char*> lines[] = {
        {"idcard fail 010091 3", "ok idcard fail 010091 for 3 replies"},
        {"faults", "ok idcard 010091 for 3 replies"},
        {"idcard", "ok idcard none"},
        {"IDCARD Resident", "ok idcard resident"},
        {"idcard foreign", "error: the deck has no foreign card"},
        {"idcard fail 000047 always", "ok idcard fail 000047 always"},
        {"idcard", "ok idcard resident, fail 000047 always"},
        {"idcard fail 00 00 41", "error: "}, {"idcard fail 000041 never", "error: "},
        {"idcard upside-down", "error: "}, {"idcard off now", "error: "},
    };
    for (const auto& [line, answer] : lines) {
        const std::string got = control.execute(line);
        EXPECT_EQ(got.rfind(answer, 0), 0u) << '"' << line << "\" -> " << got;
    }
    EXPECT_EQ(reader.model<IdCardModule>()->on_reader(), CardKind::resident);
    ASSERT_TRUE(reader.model<IdCardModule>()->failure());
    EXPECT_EQ(reader.model<IdCardModule>()->failure()->times, vnrsim::Times::always);
    EXPECT_EQ(ask(reader, "D0 02").second, vnrsim::parse_hex("00 05 00 00 47")) << "the standing triple";
    EXPECT_EQ(control.execute("clear idcard"), "ok idcard cleared");
    EXPECT_EQ(ask(reader, "D0 02").second, vnrsim::parse_hex("00 05 00 00 90"));
}

}  // namespace
