// sim/models/idcard/idcard_control.cpp: the control words of the model "idcard" and its help, which
// vnr-sim --help and the control command "help" show (see idcard_module.h).
#include "models/idcard/idcard_module.h"
#include "vnrsim/deck_json.h"
#include "wlt/codec.h"

namespace vnrsim {
namespace {

constexpr std::string_view kCardNames[] = {"none", "resident", "foreign"};

std::string_view name_of(CardKind card) { return kCardNames[static_cast<std::size_t>(card)]; }

// "000041 once", "000041 always", "000041 for 3 replies".
std::string describe(const StandingFailure& f) { return to_hex(f.sw) + " " + describe(f.times); }

constexpr std::string_view kAbout =
    "It answers D0 01 find (00 00 9F, data: the card id), D0 02 select (00 00 90), D0 03 and 32 50 read "
    "text and photo (1289 bytes), D0 04 and D0 07 read text, photo and fingerprint data (2315 bytes with "
    "1024 bytes of fingerprint data), D0 05 added and D0 06 management information (00 00 90), and 32 51 "
    "module id and 32 52 card id (raw bytes; 32 52 without a card: status 0080). Without a card the module "
    "answers 00 00 80.";

constexpr std::string_view kDeckExample = R"("idcard": {
  "on_reader": "resident",
  "module_id": "99000000000000000000000000000001",
  "resident": {"name": "林示例", "sex": "1", "nation": "01", "birthday": "19880614",
               "address": "...", "id_number": "...", "issue_department": "...",
               "valid_from": "20150320", "valid_expiry": "20350320", "reserve": "",
               "photo": {"bmp": "portraits/resident.bmp"},
               "fingerprint": {"fill": {"length": 1024, "pattern": "4643"}},
               "card_id": "9900000000000001", "added": "2000", "management": "01"},
  "foreign": {"english_name": "...", "sex": "1", "card_number": "...", "country_code": "CAN",
              "chinese_name": "...", "valid_from": "...", "valid_expiry": "...",
              "birthday": "...", "card_version": "01", "authority_code": "9900",
              "card_mark": "I", "reserve": "", "photo": {"hex": "..."}}
})";

constexpr CommandHelp kCommands[] = {
    {"idcard", "which card lies on the reader (none, resident, foreign), and the failure standing"},
    {"idcard resident|foreign|off",
     "puts the deck's resident or foreign card on the reader, in place of the one lying there, or takes it off"},
    {"idcard fail SW [WHEN]",
     "the module answers the triple SW (six hex digits, 000041) and no data to every command with a module "
     "reply, card or not (32 51 and 32 52 neither take nor count it)"},
    {"clear idcard", "the module answers as its cards say again (\"clear\" does so too)"},
};

// "name 15, sex 1, ...": each field's room in characters.
template <typename Text, std::size_t N>
std::string limits_of(const std::array<TextField<Text>, N>& fields) {
    std::string out;
    for (const TextField<Text>& field : fields)
        out += (out.empty() ? "" : ", ") + std::string(field.name) + " " + std::to_string(field.width / 2);
    return out;
}

std::string deck_keys() {
    const auto count = [](std::size_t n) { return std::to_string(n); };
    return "\"on_reader\": the card lying on the reader at start, none (default), resident or foreign. "
           "\"module_id\": hex, 1 to " + count(kMaxIdSize) + " bytes, answered to 32 51 (default: "
           "VNRSIM-MODULE-01 in ASCII). A card's text fields are UTF-8, empty when left out, and hold so many "
           "characters at most: the resident card's " + limits_of(kResidentFields) + "; the foreign card's " +
           limits_of(kForeignFields) + " (card_mark: I unless given). A text that does not fit its field, "
           "counted in UTF-16 units, is refused, never cut. \"photo\": {\"bmp\": FILE}, a " +
           count(wlt::kPortraitWidth) + " x " + count(wlt::kPortraitHeight) + " portrait (FILE relative to "
           "the deck's folder) packed by the portrait encoder; or {\"hex\": ...} or {\"fill\": ...}: at most " +
           count(kPhotoSize) + " bytes, zeros filling the block up to " + count(kPhotoSize) + " (default: all "
           "zeros). \"fingerprint\": {\"hex\": ...} or {\"fill\": ...}, 0 to " + count(kMaxFingerprintSize) +
           " bytes (default: none). \"card_id\": hex, 1 to " + count(kMaxIdSize) + " bytes, answered to "
           "32 52 and as the data of a find (default: SIMCARD1 in ASCII). \"added\" and \"management\": hex, "
           "0 to " + count(kMaxInfoSize) + " bytes (defaults: 35 UTF-16LE spaces, and MGMT0001). \"comment\": "
           "any text, in the section and in either card.";
}

}  // namespace

const ModelHelp& IdCardModule::help() const {
    static const std::string keys = deck_keys();
    static const ModelHelp help{"idcard", "the identity card module and its cards", kAbout, kDeckExample, keys,
                                kCommands};
    return help;
}

std::string IdCardModule::control(const ControlLine& line) {
    const std::string what = line.keyword(1);
    if (what.empty()) return "ok idcard " + std::string(name_of(on_reader())) + (failure_ ? ", fail " + describe(*failure_) : "");
    if (what == "fail") {
        std::vector<std::uint8_t> sw;
        try {
            sw = parse_hex(line.word(2));
        } catch (const std::invalid_argument&) {
        }
        if (sw.size() != 3)
            throw Refusal("idcard fail takes SW1 SW2 SW3 as six hex digits (000041), got \"" +
                          std::string(line.word(2)) + "\"");
        const Times times = line.size() > 3 ? times_of(line.word(3)) : Times::once;
        line.no_more(4);
        fail({sw[0], sw[1], sw[2]}, times);
        return "ok idcard fail " + describe(*failure_);
    }
    line.no_more(2);
    CardKind card = CardKind::none;
    if (what == "resident") {
        card = CardKind::resident;
    } else if (what == "foreign") {
        card = CardKind::foreign;
    } else if (what != "off") {
        throw Refusal("idcard takes resident, foreign, off or fail; got \"" + std::string(line.word(1)) + "\"");
    }
    try {
        put(card);
    } catch (const std::invalid_argument&) {
        throw Refusal("the deck has no " + what + " card");
    }
    return "ok idcard " + std::string(name_of(card));
}

std::vector<std::string> IdCardModule::failures() const {
    if (!failure_) return {};
    return {describe(*failure_)};
}

}  // namespace vnrsim
