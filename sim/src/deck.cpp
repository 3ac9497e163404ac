// sim/src/deck.cpp: reading and checking decks (see vnrsim/deck.h): the reader's own keys here, each
// model's section in its model.
#include "vnrsim/deck.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

namespace vnrsim {
namespace {

using namespace deck_json;

// The reader's own top-level keys; the models' names join them.
constexpr std::string_view kReaderKeys[] = {"comment",    "reader_version", "contactless_version",
                                            "reply_form", "baud",           "unknown_command_status",
                                            "replies"};

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

}  // namespace

Deck Deck::parse(std::string_view text, std::string_view origin, const std::filesystem::path& folder,
                 ModelSet models) {
    const std::string name(origin);
    Json root;
    try {
        root = Json::parse(text);
    } catch (const Json::exception& e) {
        // A syntax error, or a number too large for a double (out_of_range.406). what() starts with
        // "[json.exception.parse_error.101] "; the rest says where.
        std::string message = e.what();
        if (const auto at = message.find("] "); at != std::string::npos) message.erase(0, at + 2);
        throw std::runtime_error(name + ": not valid JSON: " + message);
    }
    try {
        if (!root.is_object()) fail("top level", "expected an object, got " + kind_of(root));
        std::vector<std::string_view> known(std::begin(kReaderKeys), std::end(kReaderKeys));
        for (const Model& model : models.all()) known.push_back(model.name());
        check_keys(root, "top level", known);
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
        for (Model& model : models.all()) {
            const std::string key(model.name());
            if (root.contains(key)) model.load(root[key], folder);
        }
        deck.models = std::move(models);
        return deck;
    } catch (const std::exception& e) {
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
