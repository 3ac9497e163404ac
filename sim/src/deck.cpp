// sim/src/deck.cpp: reading and checking decks; hex, status and text helpers (see vnrsim/deck.h).
#include "vnrsim/deck.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "wlt/codec.h"

namespace vnrsim {
namespace {

using nlohmann::json;

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Every failure while checking a deck carries the JSON path of the value at fault.
[[noreturn]] void fail(const std::string& where, const std::string& what) {
    throw std::runtime_error(where + ": " + what);
}

std::string kind_of(const json& value) {
    if (value.is_null()) return "null";
    if (value.is_boolean()) return "a boolean";
    if (value.is_number()) return "a number";
    if (value.is_string()) return "a string";
    if (value.is_array()) return "a list";
    return "an object";
}

// Refuses keys outside `known`, naming the first one.
void check_keys(const json& object, const std::string& where, std::span<const std::string_view> known) {
    for (const auto& item : object.items()) {
        bool found = false;
        for (const std::string_view k : known) found = found || item.key() == k;
        if (!found) {
            std::string list;
            for (const std::string_view k : known) list += (list.empty() ? "" : ", ") + std::string(k);
            fail(where, "unknown key \"" + item.key() + "\" (known keys: " + list + ")");
        }
    }
}

void check_keys(const json& object, const std::string& where, std::initializer_list<std::string_view> known) {
    check_keys(object, where, std::span<const std::string_view>(known.begin(), known.size()));
}

const std::string& text_of(const json& value, const std::string& where) {
    if (!value.is_string()) fail(where, "expected text, got " + kind_of(value));
    return value.get_ref<const std::string&>();
}

std::uint64_t count_of(const json& value, const std::string& where, std::uint64_t low, std::uint64_t high) {
    if (!value.is_number_unsigned() && !value.is_number_integer())
        fail(where, "expected a whole number, got " + kind_of(value));
    if (value.is_number_integer() && value.get<std::int64_t>() < 0)
        fail(where, "expected a whole number from " + std::to_string(low) + " to " + std::to_string(high) + ", got " +
                        value.dump());
    const auto n = value.get<std::uint64_t>();
    if (n < low || n > high)
        fail(where, "expected a whole number from " + std::to_string(low) + " to " + std::to_string(high) + ", got " +
                        value.dump());
    return n;
}

std::vector<std::uint8_t> hex_of(const json& value, const std::string& where) {
    try {
        return parse_hex(text_of(value, where));
    } catch (const std::invalid_argument& e) {
        fail(where, e.what());
    }
}

std::uint16_t status_of(const json& value, const std::string& where) {
    if (value.is_string()) {
        try {
            return parse_status(value.get_ref<const std::string&>());
        } catch (const std::invalid_argument& e) {
            fail(where, e.what());
        }
    }
    if (!value.is_number()) fail(where, "expected a status (a number or hex digits), got " + kind_of(value));
    return static_cast<std::uint16_t>(count_of(value, where, 0, 0xFFFF));
}

std::string version_of(const json& value, const std::string& where) {
    try {
        return to_gbk(text_of(value, where));
    } catch (const std::runtime_error& e) {
        fail(where, e.what());
    }
}

std::vector<std::uint8_t> fill_of(const json& value, const std::string& where) {
    if (!value.is_object()) fail(where, "expected an object {\"length\": N, \"byte\": B}, got " + kind_of(value));
    check_keys(value, where, {"length", "byte", "pattern"});
    if (!value.contains("length")) fail(where, "\"length\" is missing");
    const auto length = count_of(value["length"], where + ".length", 0, kMaxPayload);
    if (value.contains("byte") == value.contains("pattern")) fail(where, "give either \"byte\" or \"pattern\"");
    std::vector<std::uint8_t> pattern;
    if (value.contains("byte")) {
        pattern.push_back(static_cast<std::uint8_t>(count_of(value["byte"], where + ".byte", 0, 255)));
    } else {
        pattern = hex_of(value["pattern"], where + ".pattern");
        if (pattern.empty()) fail(where + ".pattern", "the pattern is empty");
    }
    std::vector<std::uint8_t> out(length);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = pattern[i % pattern.size()];
    return out;
}

CannedReply reply_of(const json& value, const std::string& where) {
    if (!value.is_object()) fail(where, "expected an object, got " + kind_of(value));
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
std::vector<std::uint8_t> card_bytes_of(const json& value, const std::string& where, std::size_t limit,
                                        const std::filesystem::path* folder) {
    if (!value.is_object()) fail(where, "expected an object, got " + kind_of(value));
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

std::vector<std::uint8_t> id_of(const json& value, const std::string& where) {
    std::vector<std::uint8_t> id = hex_of(value, where);
    if (id.empty() || id.size() > kMaxIdSize)
        fail(where, "expected 1 to " + std::to_string(kMaxIdSize) + " bytes, got " + std::to_string(id.size()));
    return id;
}

std::vector<std::uint8_t> info_of(const json& value, const std::string& where) {
    std::vector<std::uint8_t> info = hex_of(value, where);
    if (info.size() > kMaxInfoSize)
        fail(where, "expected at most " + std::to_string(kMaxInfoSize) + " bytes, got " + std::to_string(info.size()));
    return info;
}

// One card: its text fields, named as `fields` says, and its other keys.
template <typename Text, std::size_t N>
IdCard card_of(const json& value, const std::string& where, const std::array<TextField<Text>, N>& fields,
               const std::filesystem::path& folder) {
    if (!value.is_object()) fail(where, "expected an object, got " + kind_of(value));
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

IdCardSetup idcard_of(const json& value, const std::filesystem::path& folder) {
    const std::string where = "idcard";
    if (!value.is_object()) fail(where, "expected an object, got " + kind_of(value));
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
    json root;
    try {
        root = json::parse(text);
    } catch (const json::parse_error& e) {
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
        if (root.contains("reader_version")) deck.reader_version = version_of(root["reader_version"], "reader_version");
        if (root.contains("contactless_version"))
            deck.contactless_version = version_of(root["contactless_version"], "contactless_version");
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
            const json& list = root["replies"];
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

std::string to_gbk(std::string_view utf8) {
    bool ascii = true;
    for (const char c : utf8) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    if (ascii) return std::string(utf8);
    const iconv_t cd = ::iconv_open("GBK", "UTF-8");
    if (cd == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("no UTF-8 to GBK conversion on this system");
    std::string in(utf8);
    std::string out(in.size() * 2 + 4, '\0');  // GBK never takes more bytes than UTF-8 for the same text
    char* in_at = in.data();
    std::size_t in_left = in.size();
    char* out_at = out.data();
    std::size_t out_left = out.size();
    const std::size_t done = ::iconv(cd, &in_at, &in_left, &out_at, &out_left);
    const int error = errno;
    ::iconv_close(cd);
    if (done == static_cast<std::size_t>(-1)) {
        const std::size_t at = in.size() - in_left;
        throw std::runtime_error(error == EILSEQ ? "text has a character GBK lacks, or is not UTF-8, at byte " +
                                                       std::to_string(at)
                                                 : "text is not complete UTF-8");
    }
    out.resize(out.size() - out_left);
    return out;
}

std::vector<std::uint8_t> parse_hex(std::string_view text) {
    std::vector<std::uint8_t> out;
    int high = -1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if ((c == ' ' || c == '\t') && high < 0) continue;
        const int v = hex_value(c);
        if (v < 0) {
            throw std::invalid_argument("not hex: \"" + std::string(text) + "\" has '" + std::string(1, c) +
                                        "' at position " + std::to_string(i));
        }
        if (high < 0) {
            high = v;
        } else {
            out.push_back(static_cast<std::uint8_t>(high * 16 + v));
            high = -1;
        }
    }
    if (high >= 0) throw std::invalid_argument("not hex: \"" + std::string(text) + "\" has an odd number of digits");
    return out;
}

std::string to_hex(std::span<const std::uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (const std::uint8_t b : bytes) {
        out += kDigits[b >> 4];
        out += kDigits[b & 0x0F];
    }
    return out;
}

std::uint16_t parse_status(std::string_view text) {
    std::string_view digits = text;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) digits.remove_prefix(2);
    if (digits.empty() || digits.size() > 4)
        throw std::invalid_argument("not a status: \"" + std::string(text) + "\" (expected one to four hex digits)");
    unsigned value = 0;
    for (const char c : digits) {
        const int v = hex_value(c);
        if (v < 0) throw std::invalid_argument("not a status: \"" + std::string(text) + "\" (expected hex digits)");
        value = value * 16 + static_cast<unsigned>(v);
    }
    return static_cast<std::uint16_t>(value);
}

}  // namespace vnrsim
