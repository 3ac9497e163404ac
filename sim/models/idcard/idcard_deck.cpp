// sim/models/idcard/idcard_deck.cpp: the deck section "idcard": the module's id and its two cards (see
// idcard_module.h; the keys are told in its help, idcard_control.cpp).
#include <nlohmann/json.hpp>

#include "models/idcard/idcard_module.h"
#include "vnrsim/deck_json.h"
#include "wlt/codec.h"

namespace vnrsim {
namespace {

using namespace deck_json;

// A byte block of a card: {"hex": "..."} or {"fill": {...}}, and for a photo also {"bmp": "file"},
// at most `limit` bytes.
std::vector<std::uint8_t> card_bytes_of(const Json& value, const std::string& where, std::size_t limit,
                                        const std::filesystem::path* folder) {
    expect_object(value, where);
    if (folder) {
        check_keys(value, where, {"bmp", "hex", "fill"});
    } else {
        check_keys(value, where, {"hex", "fill"});
    }
    if (value.size() != 1)
        fail(where, folder ? "give one of \"bmp\", \"hex\" or \"fill\"" : "give \"hex\" or \"fill\"");
    std::vector<std::uint8_t> bytes;
    if (value.contains("hex")) {
        bytes = hex_of(value["hex"], where + ".hex");
    } else if (value.contains("fill")) {
        bytes = fill_of(value["fill"], where + ".fill");
    } else {
        const std::filesystem::path file = *folder / text_of(value["bmp"], where + ".bmp");
        const std::optional<wlt::Image> image = wlt::read_bmp(file);
        if (!image) fail(where + ".bmp", file.string() + " cannot be read as an uncompressed 24- or 32-bit BMP");
        if (image->width != wlt::kPortraitWidth || image->height != wlt::kPortraitHeight)
            fail(where + ".bmp", file.string() + " is " + std::to_string(image->width) + " x " +
                                     std::to_string(image->height) + " pixels; a portrait is " +
                                     std::to_string(wlt::kPortraitWidth) + " x " +
                                     std::to_string(wlt::kPortraitHeight));
        try {
            bytes = wlt::encode(*image, limit);
        } catch (const std::invalid_argument& e) {
            fail(where + ".bmp", e.what());
        }
    }
    if (bytes.size() > limit)
        fail(where, std::to_string(bytes.size()) + " bytes; the card holds " + std::to_string(limit) + " at most");
    return bytes;
}

std::vector<std::uint8_t> id_of(const Json& value, const std::string& where) {
    std::vector<std::uint8_t> id = hex_of(value, where);
    if (id.empty() || id.size() > kMaxIdSize)
        fail(where, "expected 1 to " + std::to_string(kMaxIdSize) + " bytes, got " + std::to_string(id.size()));
    return id;
}

std::vector<std::uint8_t> info_of(const Json& value, const std::string& where) {
    std::vector<std::uint8_t> info = hex_of(value, where);
    if (info.size() > kMaxInfoSize)
        fail(where, "expected at most " + std::to_string(kMaxInfoSize) + " bytes, got " + std::to_string(info.size()));
    return info;
}

// One card: its text fields, named as `fields` says, and its other keys.
template <typename Text, std::size_t N>
IdCard card_of(const Json& value, const std::string& where, const std::array<TextField<Text>, N>& fields,
               const std::filesystem::path& folder) {
    expect_object(value, where);
    std::vector<std::string_view> known;
    for (const TextField<Text>& field : fields) known.push_back(field.name);
    known.insert(known.end(), {"photo", "fingerprint", "card_id", "added", "management", "comment"});
    check_keys(value, where, known);
    Text text;
    for (const TextField<Text>& field : fields) {
        const std::string key(field.name);
        if (value.contains(key)) text.*field.member = text_of(value[key], where + "." + key);
    }
    IdCard card;
    try {
        card.text = text_block(text);
    } catch (const TextFieldError& e) {
        fail(where + "." + e.field, e.what());
    }
    if (value.contains("photo")) {
        const std::vector<std::uint8_t> photo = card_bytes_of(value["photo"], where + ".photo", kPhotoSize, &folder);
        std::copy(photo.begin(), photo.end(), card.photo.begin());
    }
    if (value.contains("fingerprint"))
        card.fingerprint = card_bytes_of(value["fingerprint"], where + ".fingerprint", kMaxFingerprintSize, nullptr);
    if (value.contains("card_id")) card.card_id = id_of(value["card_id"], where + ".card_id");
    if (value.contains("added")) card.added = info_of(value["added"], where + ".added");
    if (value.contains("management")) card.management = info_of(value["management"], where + ".management");
    if (value.contains("comment")) text_of(value["comment"], where + ".comment");
    return card;
}

}  // namespace

void IdCardModule::load(const Json& value, const std::filesystem::path& folder) {
    const std::string where(name());
    expect_object(value, where);
    check_keys(value, where, {"on_reader", "module_id", "resident", "foreign", "comment"});
    IdCardSetup setup;
    if (value.contains("module_id")) setup.module_id = id_of(value["module_id"], where + ".module_id");
    if (value.contains("resident"))
        setup.resident = card_of(value["resident"], where + ".resident", kResidentFields, folder);
    if (value.contains("foreign"))
        setup.foreign = card_of(value["foreign"], where + ".foreign", kForeignFields, folder);
    if (value.contains("on_reader")) {
        const std::string& card = text_of(value["on_reader"], where + ".on_reader");
        if (card == "none") {
            setup.on_reader = CardKind::none;
        } else if (card == "resident" || card == "foreign") {
            if (!(card == "resident" ? setup.resident : setup.foreign))
                deck_json::fail(where + ".on_reader", "the deck has no " + card + " card to put on the reader");
            setup.on_reader = card == "resident" ? CardKind::resident : CardKind::foreign;
        } else {
            deck_json::fail(where + ".on_reader", "expected \"none\", \"resident\" or \"foreign\", got \"" + card + "\"");
        }
    }
    if (value.contains("comment")) text_of(value["comment"], where + ".comment");
    setup_ = std::move(setup);
    failure_.reset();
}

}  // namespace vnrsim
