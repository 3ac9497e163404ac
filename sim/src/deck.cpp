// sim/src/deck.cpp: reading and checking decks (see vnrsim/deck.h).
#include "vnrsim/deck.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "wlt/codec.h"

namespace vnrsim {
namespace {

using namespace deck_json;

CannedReply reply_of(const Json& value, const std::string& where) {
    expect_object(value, where);
    check_keys(value, where, {"command", "status", "data", "fill", "raw", "times", "comment"});
    CannedReply reply;
    if (!value.contains("command")) fail(where, "\"command\" is missing");
    reply.command = hex_of(value["command"], where + ".command");
    if (reply.command.empty()) fail(where + ".command", "at least one byte is needed");
    if (value.contains("raw")) {
        for (const char* other : {"status", "data", "fill"})
            if (value.contains(other)) fail(where, std::string("\"raw\" goes alone, without \"") + other + "\"");
        reply.raw = hex_of(value["raw"], where + ".raw");
    }
    if (value.contains("status")) reply.status = status_of(value["status"], where + ".status");
    if (value.contains("data")) reply.data = hex_of(value["data"], where + ".data");
    if (value.contains("fill")) {
        const auto fill = fill_of(value["fill"], where + ".fill");
        reply.data.insert(reply.data.end(), fill.begin(), fill.end());
    }
    if (reply.data.size() + 2 > kMaxPayload)
        fail(where, "the data (" + std::to_string(reply.data.size()) + " bytes) does not fit in a frame");
    if (value.contains("times"))
        reply.times = static_cast<std::uint32_t>(count_of(value["times"], where + ".times", 1, 0xFFFFFFFF));
    if (value.contains("comment")) text_of(value["comment"], where + ".comment");
    return reply;
}

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

IdCardSetup idcard_of(const Json& value, const std::filesystem::path& folder) {
    const std::string where = "idcard";
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
                fail(where + ".on_reader", "the deck has no " + card + " card to put on the reader");
            setup.on_reader = card == "resident" ? CardKind::resident : CardKind::foreign;
        } else {
            fail(where + ".on_reader", "expected \"none\", \"resident\" or \"foreign\", got \"" + card + "\"");
        }
    }
    if (value.contains("comment")) text_of(value["comment"], where + ".comment");
    return setup;
}

}  // namespace

Deck Deck::parse(std::string_view text, std::string_view origin, const std::filesystem::path& folder) {
    const std::string name(origin);
    Json root;
    try {
        root = Json::parse(text);
    } catch (const Json::parse_error& e) {
        // what() starts with "[json.exception.parse_error.101] "; the rest says where.
        std::string message = e.what();
        if (const auto at = message.find("] "); at != std::string::npos) message.erase(0, at + 2);
        throw std::runtime_error(name + ": not valid JSON: " + message);
    }
    try {
        if (!root.is_object()) fail("top level", "expected an object, got " + kind_of(root));
        check_keys(root, "top level",
                   {"comment", "reader_version", "contactless_version", "reply_form", "baud",
                    "unknown_command_status", "replies", "idcard"});
        Deck deck;
        if (root.contains("comment")) text_of(root["comment"], "comment");
        if (root.contains("reader_version")) deck.reader_version = gbk_of(root["reader_version"], "reader_version");
        if (root.contains("contactless_version"))
            deck.contactless_version = gbk_of(root["contactless_version"], "contactless_version");
        if (root.contains("reply_form")) {
            const std::string& form = text_of(root["reply_form"], "reply_form");
            if (form == "split") {
                deck.reply_form = Form::split;
            } else if (form == "plain") {
                deck.reply_form = Form::plain;
            } else {
                fail("reply_form", "expected \"split\" or \"plain\", got \"" + form + "\"");
            }
        }
        if (root.contains("baud"))
            deck.baud = static_cast<std::uint32_t>(count_of(root["baud"], "baud", 0, kMaxBaud));
        if (root.contains("unknown_command_status"))
            deck.unknown_command_status = status_of(root["unknown_command_status"], "unknown_command_status");
        if (root.contains("replies")) {
            const Json& list = root["replies"];
            if (!list.is_array()) fail("replies", "expected a list, got " + kind_of(list));
            for (std::size_t i = 0; i < list.size(); ++i)
                deck.replies.push_back(reply_of(list[i], "replies[" + std::to_string(i) + "]"));
        }
        if (root.contains("idcard")) deck.idcard = idcard_of(root["idcard"], folder);
        return deck;
    } catch (const std::runtime_error& e) {
        throw std::runtime_error(name + ": " + e.what());
    }
}

Deck Deck::load(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("deck " + path.string() + ": cannot be read");
    std::ostringstream text;
    text << in.rdbuf();
    return parse(text.str(), "deck " + path.string(), path.parent_path());
}

}  // namespace vnrsim
