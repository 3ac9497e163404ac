// sim/include/vnrsim/deck.h: the deck, a hand-written JSON file that describes the simulated reader.
//
// Keys (all optional; any other key is refused):
//   "comment"                 text, ignored
//   "reader_version"          text answered to the version query of module 0 (command 31 11 00)
//   "contactless_version"     text answered to the version query of module 1 (command 31 11 01)
//   "reply_form"              "split" (default) or "plain": the form of every reply frame
//   "baud"                    emulated wire rate of replies, bits per second, 10 bits a byte; 0 (default)
//                             sends as fast as the transport takes them
//   "unknown_command_status"  S1S2 answered to a command the reader does not know (default 0x6D00)
//   "replies"                 canned replies, tried in order before the built-in behaviour; each one:
//       "command"   hex; matches a command whose bytes begin with these bytes (required)
//       "status"    S1S2 of the reply (default 0)
//       "data"      hex bytes of the reply data (default none)
//       "fill"      {"length": N, "byte": B} or {"length": N, "pattern": "hex"}: N bytes of B, or the
//                   pattern repeated and cut at N; appended after "data"
//       "raw"       hex bytes sent as they are instead of a frame (no status, data or fill then)
//       "times"     answered this many times, then dropped (default: for ever)
//       "comment"   text, ignored
//   "idcard"                  the identity card module and its cards (see vnrsim/idcard.h):
//       "on_reader"   "none" (default), "resident" or "foreign": the card lying on the reader at start
//       "module_id"   hex, 1 to 100 bytes, answered to 32 51 (default: "VNRSIM-MODULE-01" in ASCII)
//       "resident"    the resident card; its text fields, each UTF-8 text, empty when left out:
//                     "name" (15 characters at most), "sex" (1), "nation" (2), "birthday" (8),
//                     "address" (35), "id_number" (18), "issue_department" (15), "valid_from" (8),
//                     "valid_expiry" (8), "reserve" (18)
//       "foreign"     the foreign permanent resident card; its text fields: "english_name" (60),
//                     "sex" (1), "card_number" (15), "country_code" (3), "chinese_name" (15),
//                     "valid_from" (8), "valid_expiry" (8), "birthday" (8), "card_version" (2),
//                     "authority_code" (4), "card_mark" (1, default "I"), "reserve" (3)
//       Either card also takes:
//         "photo"        {"bmp": "file.bmp"}: a 102 x 126 portrait, path relative to the deck's folder,
//                        packed by the portrait encoder; or {"hex": "..."} or {"fill": {...}}: the
//                        photo's bytes. At most 1024 bytes; zeros fill the block up to 1024 (default:
//                        all zeros)
//         "fingerprint"  {"hex": "..."} or {"fill": {...}}: 0 to 1024 bytes (default: none)
//         "card_id"      hex, 1 to 100 bytes: answered to 32 52 and as the data of a find
//                        (default: "SIMCARD1" in ASCII)
//         "added"        hex, 0 to 195 bytes: the added information (default: 35 UTF-16LE spaces)
//         "management"   hex, 0 to 195 bytes: the management information (default: "MGMT0001")
//         "comment"      text, ignored
//       A text that does not fit its field (counted in UTF-16 units) is refused, never cut.
// Texts are UTF-8 in the file and answered in GBK. A status is a number (0 to 65535) or a string of one
// to four hex digits, with or without 0x ("6D00"). Hex byte strings may hold spaces between bytes.
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
#include "vnrsim/idcard.h"

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
    IdCardSetup idcard;                                   // the identity card module and its cards

    // Reads and checks a deck file. Throws std::runtime_error naming the file and what is wrong where
    // ("deck decks/x.json: replies[2].status: ..."), also when the file cannot be read.
    static Deck load(const std::filesystem::path& path);

    // As load, from JSON text; `origin` names it in error messages, and file names in the deck are
    // relative to `folder` (the current folder when empty).
    static Deck parse(std::string_view json, std::string_view origin = "deck",
                      const std::filesystem::path& folder = {});
};

}  // namespace vnrsim
