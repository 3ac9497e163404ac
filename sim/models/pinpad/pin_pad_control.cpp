// sim/models/pinpad/pin_pad_control.cpp: the PIN pad's deck section, control words and help (see
// pin_pad.h).
#include <algorithm>
#include <nlohmann/json.hpp>

#include "models/pinpad/pin_pad.h"
#include "vnrsim/deck_json.h"

namespace vnrsim {
namespace {

using namespace deck_json;

constexpr std::uint64_t kLongestDelayMs = 255'000;  // the longest entry time-out

constexpr std::string_view kAbout =
    "It answers C5 01 00 S (entry time-out, 1 to 255 seconds), C5 02 00 L (PIN length, 1 to 16), C5 03 00 "
    "T M KEY (main key M in the clear, T 0 for 8 bytes, 1 for 16), C5 04 00 T M U KEY (work key U, in the "
    "clear too, taken only under a main key M already loaded), and the reads, which wait up to the entry time-out for a PIN: C5 05 00 1B "
    "49|45 answers the PIN's digits in ASCII, C5 06 00 1B 49|45 U 00 00 and six bytes answers the ISO 9564 "
    "format 0 PIN block (PIN field 0, length, digits, F filling, XOR 0000 and the six bytes) enciphered "
    "under work key U. A read answers 6400 when the time-out runs out, 6401 when the person cancels, 6402 "
    "for a PIN of another length than the one set. At once: 6700 for fields of the wrong length, 6A80 for "
    "a value the pad does not take (a length above 14 for an enciphered read among them), 6A88 for a key "
    "number with no key loaded. A PIN typed while no read waits is held for the next read.";

constexpr std::string_view kDeckExample = R"("pinpad": {
  "timeout_s": 30,
  "length": 6,
  "entries": [
    {"after_ms": 2000, "pin": "123456"},
    {"after_ms": 1000, "cancel": true}
  ]
})";

constexpr std::string_view kDeckKeys =
    "\"timeout_s\": the entry time-out, 1 to 255 seconds, until C5 01 sets another (default 30). \"length\": "
    "the PIN length, 1 to 16 digits, until C5 02 sets another (default 6). \"entries\": the script, in "
    "order: each entry is taken by the first read that finds none held and whose time-out is at least its "
    "\"after_ms\" (0 to 255000, default 0), and is made that many milliseconds into it. An entry is "
    "\"pin\": 1 to 16 digits, or \"cancel\": true. \"comment\": any text, in the section and in an entry.";

constexpr CommandHelp kCommands[] = {
    {"pinpad", "the time-out, the PIN length, the keys loaded (their numbers), whether a read waits, the entry "
               "held and the entries left in the script"},
    {"pinpad type PIN",
     "types PIN (1 to 16 digits) and enter: the waiting read answers it, or else the next read (a PIN of "
     "another length than the one set is answered 6402)"},
    {"pinpad cancel", "presses cancel: the waiting read, or the next one, answers 6401"},
};

// A PIN as typed: 1 to kLongestPin digits. Throws std::invalid_argument.
std::string pin_of(std::string_view text) {
    if (text.empty() || text.size() > kLongestPin ||
        !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }))
        throw std::invalid_argument("a PIN is 1 to 16 digits, not \"" + std::string(text) + "\"");
    return std::string(text);
}

std::string shown(const PinEntry& entry) { return entry.cancel ? "cancel" : "PIN " + entry.pin; }

std::string numbers(const std::map<std::uint8_t, std::vector<std::uint8_t>>& keys) {
    if (keys.empty()) return " none";
    std::string out;
    for (const auto& [number, key] : keys) out += " " + std::to_string(number);
    return out;
}

}  // namespace

const ModelHelp& PinPad::help() const {
    static const ModelHelp help{"pinpad", "the PIN pad", kAbout, kDeckExample, kDeckKeys, kCommands};
    return help;
}

void PinPad::load(const Json& value, const std::filesystem::path&) {
    const std::string where(name());
    expect_object(value, where);
    check_keys(value, where, {"timeout_s", "length", "entries", "comment"});
    PinPad pad;
    if (value.contains("timeout_s"))
        pad.timeout_s_ = static_cast<std::uint8_t>(count_of(value["timeout_s"], where + ".timeout_s", 1, 255));
    if (value.contains("length"))
        pad.pin_length_ = static_cast<std::uint8_t>(count_of(value["length"], where + ".length", 1, kLongestPin));
    std::deque<Awaited<PinEntry>::Scripted> script;
    if (value.contains("entries")) {
        const Json& list = value["entries"];
        if (!list.is_array()) fail(where + ".entries", "expected a list, got " + kind_of(list));
        for (std::size_t i = 0; i < list.size(); ++i) {
            const std::string at = where + ".entries[" + std::to_string(i) + "]";
            const Json& item = list[i];
            expect_object(item, at);
            check_keys(item, at, {"after_ms", "pin", "cancel", "comment"});
            Awaited<PinEntry>::Scripted scripted;
            if (item.contains("after_ms"))
                scripted.after = std::chrono::milliseconds(count_of(item["after_ms"], at + ".after_ms", 0, kLongestDelayMs));
            if (item.contains("cancel") && !(item["cancel"].is_boolean() && item["cancel"].get<bool>()))
                fail(at + ".cancel", "expected true");
            if (item.contains("pin") == item.contains("cancel")) fail(at, "give \"pin\" or \"cancel\": true");
            if (item.contains("pin")) {
                try {
                    scripted.event.pin = pin_of(text_of(item["pin"], at + ".pin"));
                } catch (const std::invalid_argument& e) {
                    fail(at + ".pin", e.what());
                }
            }
            scripted.event.cancel = item.contains("cancel");
            if (item.contains("comment")) text_of(item["comment"], at + ".comment");
            script.push_back(std::move(scripted));
        }
    }
    if (value.contains("comment")) text_of(value["comment"], where + ".comment");
    pad.entries_.script(std::move(script));
    *this = std::move(pad);
}

std::string PinPad::control(const ControlLine& line) {
    const std::string what = line.keyword(1);
    if (what.empty()) {
        std::string out = "ok pinpad time-out " + std::to_string(timeout_s_) + " s, length " +
                          std::to_string(pin_length_) + ", main keys" + numbers(main_keys_) + ", work keys" +
                          numbers(work_keys_) + (entries_.waiting() ? ", a read waits" : ", no read waits");
        if (entries_.held()) out += ", held: " + shown(*entries_.held());
        return out + ", " + std::to_string(entries_.script().size()) + " scripted entries left";
    }
    PinEntry entry;
    if (what == "type") {
        try {
            entry.pin = pin_of(line.word(2));
        } catch (const std::invalid_argument& e) {
            throw Refusal(e.what());
        }
        line.no_more(3);
    } else if (what == "cancel") {
        line.no_more(2);
        entry.cancel = true;
    } else {
        throw Refusal("pinpad takes type PIN or cancel, or nothing to show the pad");
    }
    const std::string out =
        "ok pinpad " + shown(entry) + (entries_.waiting() ? " for the waiting read" : " held for the next read");
    entries_.give(std::move(entry));
    return out;
}

}  // namespace vnrsim
