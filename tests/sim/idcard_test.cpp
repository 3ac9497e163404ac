// tests/sim/idcard_test.cpp: the identity card module: text blocks byte for byte, the reply of each
// command with and without a card, injected failure triples, the deck's "idcard" key and its refusals,
// the control commands, and one read across the pty.
#include <gtest/gtest.h>

#include "sim_test_util.h"
#include "vnrsim/control.h"
#include "vnrsim/idcard.h"
#include "vnrsim/pty_server.h"
#include "vnrsim/reader.h"
#include "wlt/codec.h"

namespace {

using namespace std::chrono_literals;
using simtest::Bytes;
using simtest::hex;
using vnrsim::CardKind;
using vnrsim::Deck;
using vnrsim::Form;
using vnrsim::Reader;
using vnrsim::Times;

// `units` UTF-16LE spaces as hex.
std::string spaces(int units) {
    std::string out;
    for (int i = 0; i < units; ++i) out += "2000";
    return out;
}

// `count` bytes from `offset`, or fewer where `bytes` ends.
Bytes slice(const Bytes& bytes, std::size_t offset, std::size_t count) {
    offset = std::min(offset, bytes.size());
    count = std::min(count, bytes.size() - offset);
    return Bytes(bytes.begin() + std::ptrdiff_t(offset), bytes.begin() + std::ptrdiff_t(offset + count));
}

Bytes bytes_of(const vnrsim::TextBlock& block) { return Bytes(block.begin(), block.end()); }

vnrsim::ResidentText resident_text() {
    return {"林示例",       "1",           "01",       "19880614", "示例省模拟市虚构区测试路88号",
            "990101198806140019", "模拟市公安局", "20150320", "20350320", ""};
}

TEST(IdCardText, ResidentBlockHoldsEachFieldAsUtf16LeSpacePaddedAtItsOffset) {
    const Bytes golden = hex("97673A798B4F" + spaces(12) +                                       // 0 name
                             "3100" + "30003100" + "31003900380038003000360031003400" +          // 30 sex, 32, 36
                             "3A798B4F0177216ADF62025E5A8684673A534B6DD58BEF8D38003800F753" +  // 52 address
                             spaces(20) + "390039003000310030003100310039003800380030003600310034003000300031003900" +
                             "216ADF62025E6C51895B405C" + spaces(9) +                            // 158 department
                             "32003000310035003000330032003000" + "32003000330035003000330032003000" +
                             spaces(18));                                                        // 220 reserve
    EXPECT_EQ(bytes_of(vnrsim::text_block(resident_text())), golden);

    // Widths count UTF-16 units: 35 characters fill the address, 36 do not fit; a character beyond
    // the basic plane takes two units.
    auto text = resident_text();
    text.address = std::string(35, 'A');
    EXPECT_EQ(slice(bytes_of(vnrsim::text_block(text)), 118, 6), hex("410041003900")) << "up to the id number";
    text.address += "A";
    try {
        vnrsim::text_block(text);
        ADD_FAILURE() << "36 characters fitted the address";
    } catch (const vnrsim::TextFieldError& e) {
        EXPECT_EQ(e.field, "address");
    }
    text = resident_text();
    text.name = "\xF0\xA0\x80\x80" "abcdefghijklm";  // U+20000 and 13 letters: 15 units
    EXPECT_EQ(slice(bytes_of(vnrsim::text_block(text)), 0, 6), hex("40D800DC6100"));
    text.name += "n";
    EXPECT_THROW(vnrsim::text_block(text), vnrsim::TextFieldError);
    text.name = "\xE6\x9E";  // cut short
    EXPECT_THROW(vnrsim::text_block(text), vnrsim::TextFieldError);
}

TEST(IdCardText, ForeignBlockHasItsOwnFieldsAndTheCardMarkAt248) {
    vnrsim::ForeignText text;
    text.english_name = "SAMPLE, ALEX";
    text.country_code = "CAN";
    text.chinese_name = "安示例";
    text.card_version = "01";
    text.authority_code = "9900";
    const Bytes bytes = bytes_of(vnrsim::text_block(text));
    EXPECT_EQ(slice(bytes, 0, 26), hex("530041004D0050004C0045002C00200041004C00450058002000"));
    EXPECT_EQ(slice(bytes, 120, 32), hex(spaces(16)));                         // sex, card number
    EXPECT_EQ(slice(bytes, 152, 6), hex("430041004E00"));
    EXPECT_EQ(slice(bytes, 158, 8), hex("895B3A798B4F2000"));
    EXPECT_EQ(slice(bytes, 236, 20), hex("3000310039003900300030004900" + spaces(3)));  // version, authority, mark
}

// The status and data of the one reply frame in `wire`.
struct Answer {
    std::uint16_t status = 0xFFFF;
    Bytes data;
};
Answer ask(Reader& reader, std::string_view command) {
    vnrsim::FrameDecoder decoder;
    const auto frames = decoder.feed(reader.receive(vnrsim::encode_frame(hex(command), Form::split)));
    if (frames.size() != 1 || frames[0].payload.size() < 2) {
        ADD_FAILURE() << command << ": " << frames.size() << " frames";
        return {};
    }
    const Bytes& payload = frames[0].payload;
    return {std::uint16_t(payload[0] << 8 | payload[1]), Bytes(payload.begin() + 2, payload.end())};
}

constexpr const char* kDeck = R"({"reply_form": "plain", "idcard": {"on_reader": "resident", "module_id": "A1A2A3",
    "resident": {"name": "林示例", "sex": "1", "photo": {"fill": {"length": 1000, "pattern": "5741"}},
                 "fingerprint": {"fill": {"length": 1024, "byte": 70}},
                 "card_id": "0102030405060708", "added": "AA", "management": "BBCC"},
    "foreign": {"english_name": "SAMPLE, ALEX", "country_code": "ZZZ", "photo": {"hex": "01 02"}}}})";

class IdCardReader : public ::testing::Test {
protected:
    Reader reader{Deck::parse(kDeck)};
    const vnrsim::IdCard resident = *reader.deck().idcard.resident;
};

TEST_F(IdCardReader, ReadsAnswerFormAOrFormBWithTheirLengths) {
    Bytes photo(1024, 0);
    for (std::size_t i = 0; i < 1000; ++i) photo[i] = i % 2 ? 0x41 : 0x57;
    for (const char* command : {"32 50", "D0 03"}) {
        const Answer a = ask(reader, command);
        EXPECT_EQ(a.status, 0);
        ASSERT_EQ(a.data.size(), 1289u) << command;
        EXPECT_EQ(slice(a.data, 0, 9), hex("05 09 00 00 90 01 00 04 00")) << command;
        EXPECT_EQ(slice(a.data, 9, 256), bytes_of(resident.text));
        EXPECT_EQ(slice(a.data, 265, 1024), photo) << "the photo block is padded with zeros";
    }
    for (const char* command : {"D0 04", "D0 07"}) {
        const Answer a = ask(reader, command);
        ASSERT_EQ(a.data.size(), 2315u) << command;
        EXPECT_EQ(slice(a.data, 0, 11), hex("09 0B 00 00 90 01 00 04 00 04 00")) << command;
        EXPECT_EQ(slice(a.data, 11, 256), bytes_of(resident.text));
        EXPECT_EQ(slice(a.data, 267, 1024), photo);
        EXPECT_EQ(slice(a.data, 1291, 1024), Bytes(1024, 70));
    }
    reader.put_idcard(CardKind::foreign);
    const Answer a = ask(reader, "D0 07");
    ASSERT_EQ(a.data.size(), 1291u) << "a card without fingerprint data";
    EXPECT_EQ(slice(a.data, 0, 11), hex("05 0B 00 00 90 01 00 04 00 00 00"));
    EXPECT_EQ(slice(a.data, 11 + 248, 2), hex("49 00")) << "the foreign card's mark";
    EXPECT_EQ(slice(a.data, 267, 3), hex("01 02 00"));
}

TEST_F(IdCardReader, OtherCommandsWithACardAndEveryCommandWithout) {
    const std::pair<const char*, Bytes> with_card[] = {
        {"D0 01", hex("00 0D 00 00 9F 01 02 03 04 05 06 07 08")},
        {"D0 02", hex("00 05 00 00 90")},
        {"D0 05", hex("00 06 00 00 90 AA")},
        {"D0 06", hex("00 07 00 00 90 BB CC")},
        {"32 51", hex("A1 A2 A3")},
        {"32 52", hex("01 02 03 04 05 06 07 08")},
    };
    for (const auto& [command, data] : with_card) {
        const Answer a = ask(reader, command);
        EXPECT_EQ(a.status, 0) << command;
        EXPECT_EQ(a.data, data) << command;
    }
    reader.put_idcard(CardKind::none);
    for (const char* command : {"D0 01", "D0 02", "D0 03", "D0 04", "D0 05", "D0 06", "D0 07", "32 50"}) {
        const Answer a = ask(reader, command);
        EXPECT_EQ(a.status, 0) << command;
        EXPECT_EQ(a.data, hex("00 05 00 00 80")) << command;
    }
    EXPECT_EQ(ask(reader, "32 52").status, vnrsim::kNoIdCardStatus);
    EXPECT_TRUE(ask(reader, "32 52").data.empty());
    EXPECT_EQ(ask(reader, "32 51").data, hex("A1 A2 A3")) << "the module is there without a card";
    for (const char* command : {"D0 08", "D0 01 00", "32 53"})
        EXPECT_EQ(ask(reader, command).status, vnrsim::kUnknownCommandStatus) << command;

    reader.put_idcard(CardKind::resident);
    reader.add_reply({hex("32 50"), 0, hex("00 05 00 00 41"), std::nullopt, 1u});
    EXPECT_EQ(ask(reader, "32 50").data, hex("00 05 00 00 41")) << "a canned reply goes first";
    EXPECT_EQ(ask(reader, "32 50").data.size(), 1289u);
}

TEST_F(IdCardReader, AnInjectedTripleAnswersUntilUsedUpOrCleared) {
    reader.fail_idcard({0x00, 0x00, 0x41}, Times::count(2));
    EXPECT_EQ(ask(reader, "D0 03").data, hex("00 05 00 00 41"));
    EXPECT_EQ(ask(reader, "32 51").data, hex("A1 A2 A3")) << "raw replies neither take nor count it";
    EXPECT_EQ(ask(reader, "32 52").data, hex("01 02 03 04 05 06 07 08"));
    EXPECT_EQ(reader.idcard_failure()->times, Times::once);
    EXPECT_EQ(ask(reader, "D0 01").data, hex("00 05 00 00 41"));
    EXPECT_FALSE(reader.idcard_failure());
    EXPECT_EQ(slice(ask(reader, "D0 01").data, 0, 5), hex("00 0D 00 00 9F"));

    reader.put_idcard(CardKind::none);
    reader.fail_idcard({0x01, 0x00, 0x91}, Times::always);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(ask(reader, "D0 04").data, hex("00 05 01 00 91")) << "card or not";
    reader.clear_idcard_failure();
    EXPECT_EQ(ask(reader, "D0 04").data, hex("00 05 00 00 80"));
}

TEST(IdCardDeck, SampleDecksCarryTheirCardsAndPortraits) {
    const Deck demo = Deck::load(VNRSIM_DECKS "/reader.json");
    ASSERT_TRUE(demo.idcard.resident && demo.idcard.foreign);
    EXPECT_EQ(demo.idcard.on_reader, CardKind::resident);
    EXPECT_EQ(demo.idcard.module_id.size(), 16u);
    EXPECT_EQ(demo.idcard.resident->fingerprint.size(), 1024u);
    EXPECT_EQ(slice(bytes_of(demo.idcard.foreign->text), 248, 2), hex("4900"));
    const auto portrait = wlt::read_bmp(VNRSIM_DECKS "/portraits/resident.bmp");
    ASSERT_TRUE(portrait);
    Bytes photo = wlt::encode(*portrait);
    photo.resize(vnrsim::kPhotoSize);
    EXPECT_EQ(demo.idcard.resident->photo, photo);
    EXPECT_TRUE(wlt::decode(demo.idcard.foreign->photo)) << "the padded photo block still decodes";

    EXPECT_EQ(Deck::load(VNRSIM_DECKS "/foreign_card.json").idcard.on_reader, CardKind::foreign);
    const Deck unlisted = Deck::load(VNRSIM_DECKS "/foreign_card_unlisted_country.json");
    ASSERT_TRUE(unlisted.idcard.foreign);
    EXPECT_EQ(slice(bytes_of(unlisted.idcard.foreign->text), 152, 6),
              hex("5A005A005A00"));
    EXPECT_TRUE(unlisted.idcard.foreign->fingerprint.empty());
}

TEST(IdCardDeck, MistakesAreRefusedWithWhereAndWhat) {
    simtest::TempDir dir;
    wlt::write_bmp(dir / "small.bmp", wlt::Image{10, 10, Bytes(300, 0x80)});
    const std::string thirty_six = "一二三四五六七八九十一二三四五六七八九十一二三四五六七八九十一二三四五六";
    const std::pair<std::string, std::vector<const char*>> cases[] = {
        {R"({"idcard": {"resident": {"address": ")" + thirty_six + R"("}}})", {"idcard.resident.address:", "70"}},
        {R"({"idcard": {"foreign": {"country_code": "CANA"}}})", {"idcard.foreign.country_code:"}},
        {R"({"idcard": {"resident": {"nmae": "x"}}})", {"idcard.resident:", "\"nmae\""}},
        {R"({"idcard": {"cards": []}})", {"idcard:", "\"cards\""}},
        {R"({"idcard": {"resident": {}, "on_reader": "foreign"}})", {"idcard.on_reader:", "no foreign card"}},
        {R"({"idcard": {"on_reader": "both"}})", {"idcard.on_reader:"}},
        {R"({"idcard": {"resident": {"photo": {"fill": {"length": 1025, "byte": 1}}}}})", {"idcard.resident.photo:", "1025"}},
        {R"({"idcard": {"resident": {"photo": {"hex": "01", "fill": {"length": 1, "byte": 1}}}}})", {"idcard.resident.photo:"}},
        {R"({"idcard": {"resident": {"photo": {"bmp": "missing.bmp"}}}})", {"idcard.resident.photo.bmp:", "missing.bmp"}},
        {R"({"idcard": {"resident": {"photo": {"bmp": "small.bmp"}}}})", {"idcard.resident.photo.bmp:", "10 x 10"}},
        {R"({"idcard": {"foreign": {"fingerprint": {"bmp": "small.bmp"}}}})", {"idcard.foreign.fingerprint:", "\"bmp\""}},
        {R"({"idcard": {"foreign": {"fingerprint": {"fill": {"length": 1025, "byte": 1}}}}})", {"idcard.foreign.fingerprint:"}},
        {R"({"idcard": {"module_id": ""}})", {"idcard.module_id:"}},
        {R"({"idcard": {"resident": {"added": ")" + std::string(392, 'A') + R"("}}})", {"idcard.resident.added:", "196"}},
    };
    for (const auto& [json, wanted] : cases) {
        std::string message;
        try {
            Deck::parse(json, "test.json", dir.path);
        } catch (const std::runtime_error& e) {
            message = e.what();
        }
        for (const char* part : wanted) EXPECT_NE(message.find(part), std::string::npos) << json << " gave: " << message;
    }
}

TEST(IdCardControl, CardsGoOnAndOffAndFailuresStandAsTold) {
    Reader reader{Deck::parse(R"({"idcard": {"resident": {}}})")};
    vnrsim::Control control(reader);
    const std::pair<const char*, const char*> lines[] = {
        {"idcard", "ok idcard none"},
        {"IDCARD Resident", "ok idcard resident"},
        {"idcard foreign", "error: the deck has no foreign card"},
        {"idcard fail 000041", "ok idcard fail 000041 once"},
        {"idcard fail 010091 3", "ok idcard fail 010091 for 3 replies"},
        {"fault check", "ok fault check once"},
        {"faults", "ok check once, idcard 010091 for 3 replies"},
        {"idcard", "ok idcard resident, fail 010091 for 3 replies"},
        {"clear", "ok faults cleared"},
        {"faults", "ok none"},
        {"idcard fail 000041 always", "ok idcard fail 000041 always"},
        {"clear idcard", "ok idcard cleared"},
        {"idcard off", "ok idcard none"},
        {"idcard fail 00 00 41", "error: "},
        {"idcard fail 000041 once more", "error: "},
        {"idcard upside-down", "error: "},
        {"idcard resident", "ok idcard resident"},
        {"idcard fail 000047 always", "ok idcard fail 000047 always"},
    };
    for (const auto& [line, answer] : lines) {
        const std::string got = control.execute(line);
        EXPECT_EQ(got.rfind(answer, 0), 0u) << '"' << line << "\" -> " << got;
    }
    EXPECT_EQ(reader.idcard_on_reader(), CardKind::resident);
    EXPECT_EQ(ask(reader, "D0 02").data, hex("00 05 00 00 47"));
    EXPECT_NE(control.execute("help").find("idcard"), std::string::npos);
}

TEST(IdCardPty, AFormBReadCrossesThePtyWhole) {
    Deck deck = Deck::load(VNRSIM_DECKS "/reader.json");
    deck.baud = 0;
    const vnrsim::IdCard card = *deck.idcard.resident;
    Reader reader(std::move(deck));
    vnrsim::PtyServer server(reader);
    simtest::Host host(server.slave_path());
    ASSERT_TRUE(host.send(vnrsim::encode_frame(hex("D0 04"), Form::split)));
    const Bytes wire = host.read(2 * (2 + 2315) + 8, 5s);
    ASSERT_EQ(wire.size(), 4642u);
    vnrsim::FrameDecoder decoder;
    const auto frames = decoder.feed(wire);
    ASSERT_EQ(frames.size(), 1u);
    ASSERT_EQ(frames[0].fault, vnrsim::Frame::Fault::none);
    const Bytes& payload = frames[0].payload;
    EXPECT_EQ(slice(payload, 0, 13), hex("00 00 09 0B 00 00 90 01 00 04 00 04 00"));
    EXPECT_EQ(slice(payload, 13, 256), bytes_of(card.text));
    EXPECT_EQ(slice(payload, 13 + 256, 1024), card.photo);
    EXPECT_EQ(slice(payload, 13 + 256 + 1024, 1024), card.fingerprint);
}

}  // namespace
