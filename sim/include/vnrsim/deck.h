// sim/include/vnrsim/deck.h: the deck, a hand-written JSON file that describes the simulated reader:
// its own settings and canned replies (the keys below), and one section for each model (vnrsim/model.h)
// under the model's name ("idcard"), which the model loads itself. Every key is optional; any other
// key is refused. What each key means and takes stands in the help (vnrsim/help.h), which
// vnr-sim --help prints.
//
// The reader's own keys: "comment", "reader_version", "contactless_version", "reply_form", "baud",
// "unknown_command_status", "replies" (fields as in CannedReply: "command", "status", "data", "fill",
// "raw", "times", "comment").
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vnrsim/deck_json.h"
#include "vnrsim/frame.h"
#include "vnrsim/model.h"

namespace vnrsim {

// Status answered to a command the reader does not know, unless the deck says otherwise: "instruction
// not supported" in the convention of smart-card status words. Seen by the host as -27904, well away
// from the host's own codes (-1 to -100).
constexpr std::uint16_t kUnknownCommandStatus = 0x6D00;

// Highest emulated wire rate a deck, an option or a control command may set, bits per second.
constexpr std::uint32_t kMaxBaud = 10'000'000;

// One canned reply.
struct CannedReply {
    std::vector<std::uint8_t> command;  // prefix of the commands it answers; at least one byte
    std::uint16_t status = 0;           // S1S2
    std::vector<std::uint8_t> data;     // reply data after the status
    std::optional<std::vector<std::uint8_t>> raw;  // when set: these bytes go out instead of a frame
    std::optional<std::uint32_t> times;            // replies left before it is dropped; none: for ever
};

// The reader as a deck describes it. Texts are held as the bytes the reader answers (GBK).
struct Deck {
    std::string reader_version = "VNR-32 SIM";           // answered for module 0
    std::string contactless_version = "VNR-32 SIM RF";   // answered for module 1
    Form reply_form = Form::split;                        // the form of every reply
    std::uint32_t baud = 0;                               // emulated wire rate of replies; 0: no pacing
    std::uint16_t unknown_command_status = kUnknownCommandStatus;  // S1S2 for a command not known
    std::vector<CannedReply> replies;                     // tried in order before the built-in answers
    ModelSet models;                                      // the models, as their sections set them up;
                                                          // the registry's unless the deck was parsed
                                                          // with others

    // Reads and checks a deck file. Throws std::runtime_error naming the file and what is wrong where
    // ("deck decks/x.json: replies[2].status: ..."), also when the file cannot be read.
    static Deck load(const std::filesystem::path& path);

    // As load, from JSON text; `origin` names it in error messages, and file names in the deck are
    // relative to `folder` (the current folder when empty). `models` load their sections; a top-level
    // key that is neither the reader's nor a model's name is refused.
    static Deck parse(std::string_view json, std::string_view origin = "deck",
                      const std::filesystem::path& folder = {}, ModelSet models = {});
};

}  // namespace vnrsim
