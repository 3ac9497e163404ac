// sim/src/control.cpp: the control command parser (see vnrsim/control.h).
#include "vnrsim/control.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <vector>

namespace vnrsim {
namespace {

// A word of the line and where it starts, so that "version" can take the rest of the line verbatim.
struct Word {
    std::string_view text;
    std::size_t at;
};

std::vector<Word> split(std::string_view line) {
    std::vector<Word> words;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
        const std::size_t start = i;
        while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
        if (i > start) words.push_back({line.substr(start, i - start), start});
    }
    return words;
}

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

struct FaultName {
    std::string_view name;
    Fault fault;
};
constexpr FaultName kFaultNames[] = {
    {"noise", Fault::noise}, {"silence", Fault::silence}, {"check", Fault::wrong_check_byte},
    {"end", Fault::wrong_end_byte}, {"cut", Fault::cut}, {"hangup", Fault::hangup},
};

std::optional<Fault> fault_named(std::string_view name) {
    for (const auto& f : kFaultNames)
        if (f.name == name) return f.fault;
    return std::nullopt;
}

std::string_view name_of(Fault fault) {
    for (const auto& f : kFaultNames)
        if (f.fault == fault) return f.name;
    return "?";
}

std::string describe(const StandingFault& f) {
    std::string out(name_of(f.fault));
    if (f.bytes) out += " " + std::to_string(*f.bytes);
    if (f.fault == Fault::hangup) return out;
    if (f.times.is_always()) return out + " always";
    if (f.times.replies() == 1) return out + " once";
    return out + " for " + std::to_string(f.times.replies()) + " replies";
}

// Thrown for a line that is not a valid command; its text becomes the answer after "error: ".
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Times when_of(std::string_view word) {
    const std::string w = lower(word);
    if (w == "once") return Times::once;
    if (w == "always") return Times::always;
    const auto n = number(word);
    if (!n || *n == 0 || *n > 0xFFFFFFFF)
        throw Refusal("\"" + std::string(word) + "\" is not once, always or a count of replies");
    return Times::count(static_cast<std::uint32_t>(*n));
}

std::size_t bytes_of(std::string_view word, std::string_view what) {
    const auto n = number(word);
    if (!n || *n > kMaxPayload * 2 + 8)
        throw Refusal(std::string(what) + " needs a byte count, got \"" + std::string(word) + "\"");
    return static_cast<std::size_t>(*n);
}

constexpr std::string_view kCardNames[] = {"none", "resident", "foreign"};

std::string_view name_of(CardKind card) { return kCardNames[static_cast<std::size_t>(card)]; }

// "000041 once", "000041 always", "000041 for 3 replies".
std::string describe(const StandingFailure& f) {
    std::string out = to_hex(f.sw);
    if (f.times.is_always()) return out + " always";
    if (f.times.replies() == 1) return out + " once";
    return out + " for " + std::to_string(f.times.replies()) + " replies";
}

}  // namespace

Control::Control(Reader& reader, std::function<void()> on_quit) : reader_(reader), on_quit_(std::move(on_quit)) {}

std::string Control::execute(std::string_view line) {
    const std::vector<Word> words = split(line);
    if (words.empty()) return "error: empty command";
    const std::string command = lower(words[0].text);
    const auto arg = [&](std::size_t i) { return i < words.size() ? words[i].text : std::string_view{}; };
    const auto no_more = [&](std::size_t from) {
        if (from < words.size()) throw Refusal("unexpected \"" + std::string(words[from].text) + "\"");
    };
    try {
        if (command == "fault") {
            const auto fault = fault_named(lower(arg(1)));
            if (!fault)
                throw Refusal("fault needs one of noise, silence, check, end, cut, hangup; got \"" +
                              std::string(arg(1)) + "\"");
            std::size_t i = 2;
            std::optional<std::size_t> bytes;
            if (*fault == Fault::noise) {
                if (i >= words.size())
                    throw Refusal("fault noise needs a byte count: fault noise N [once|always|COUNT]");
                bytes = bytes_of(words[i++].text, "fault noise");
            } else if (*fault == Fault::cut && i < words.size() && number(words[i].text)) {
                // A number right after "cut" is always the cut point, never a count of replies.
                bytes = bytes_of(words[i++].text, "fault cut");
            }
            Times times = *fault == Fault::hangup ? Times::always : Times::once;
            if (i < words.size()) {
                times = when_of(words[i++].text);
                if (*fault == Fault::hangup && !times.is_always())
                    throw Refusal("a hangup stands until cleared; it takes no count");
            }
            no_more(i);
            reader_.inject(*fault, times, bytes);
            return "ok fault " + describe(StandingFault{*fault, times, bytes});
        }
        if (command == "clear") {
            const std::string what = lower(arg(1));
            no_more(2);
            if (what.empty()) {
                reader_.clear_faults();
                reader_.clear_idcard_failure();
                return "ok faults cleared";
            }
            if (what == "idcard") {
                reader_.clear_idcard_failure();
                return "ok idcard cleared";
            }
            if (what == "replies") {
                reader_.clear_replies();
                return "ok replies cleared";
            }
            if (what == "history") {
                reader_.clear_history();
                return "ok history cleared";
            }
            const auto fault = fault_named(what);
            if (!fault)
                throw Refusal("clear takes a fault name, idcard, replies or history; got \"" + std::string(arg(1)) +
                              "\"");
            reader_.clear(*fault);
            return "ok " + what + " cleared";
        }
        if (command == "faults") {
            no_more(1);
            std::string out = "ok";
            for (const StandingFault& f : reader_.faults()) out += (out.size() == 2 ? " " : ", ") + describe(f);
            if (const auto f = reader_.idcard_failure())
                out += std::string(out.size() == 2 ? " " : ", ") + "idcard " + describe(*f);
            return out == "ok" ? "ok none" : out;
        }
        if (command == "idcard") {
            const std::string what = lower(arg(1));
            if (what.empty()) {
                const auto failure = reader_.idcard_failure();
                return "ok idcard " + std::string(name_of(reader_.idcard_on_reader())) +
                       (failure ? ", fail " + describe(*failure) : "");
            }
            if (what == "fail") {
                std::vector<std::uint8_t> sw;
                try {
                    sw = parse_hex(arg(2));
                } catch (const std::invalid_argument&) {
                }
                if (sw.size() != 3)
                    throw Refusal("idcard fail takes SW1 SW2 SW3 as six hex digits (000041), got \"" +
                                  std::string(arg(2)) + "\"");
                const Times times = words.size() > 3 ? when_of(words[3].text) : Times::once;
                no_more(4);
                const StandingFailure failure{{sw[0], sw[1], sw[2]}, times};
                reader_.fail_idcard(failure.sw, times);
                return "ok idcard fail " + describe(failure);
            }
            no_more(2);
            CardKind card = CardKind::none;
            if (what == "resident") {
                card = CardKind::resident;
            } else if (what == "foreign") {
                card = CardKind::foreign;
            } else if (what != "off") {
                throw Refusal("idcard takes resident, foreign, off or fail; got \"" + std::string(arg(1)) + "\"");
            }
            try {
                reader_.put_idcard(card);
            } catch (const std::invalid_argument&) {
                throw Refusal("the deck has no " + what + " card");
            }
            return "ok idcard " + std::string(name_of(card));
        }
        if (command == "form") {
            const std::string form = lower(arg(1));
            no_more(2);
            if (form != "split" && form != "plain") throw Refusal("form takes split or plain");
            reader_.set_form(form == "split" ? Form::split : Form::plain);
            return "ok form " + form;
        }
        if (command == "baud") {
            const auto baud = number(arg(1));
            if (!baud || *baud > kMaxBaud) throw Refusal("baud takes a rate from 0 to " + std::to_string(kMaxBaud));
            no_more(2);
            reader_.set_baud(static_cast<std::uint32_t>(*baud));
            return "ok baud " + std::to_string(*baud);
        }
        if (command == "version") {
            const std::string_view module = arg(1);
            if (module != "0" && module != "1") throw Refusal("version takes module 0 or 1, then the text");
            const std::string_view text = words.size() > 2 ? line.substr(words[2].at) : std::string_view{};
            // npos + 1 is 0: a text of blanks only becomes empty.
            const std::string_view trimmed = text.substr(0, text.find_last_not_of(" \t") + 1);
            reader_.set_version(module == "0" ? 0 : 1, to_gbk(trimmed));
            return "ok version " + std::string(module) + " " + std::string(trimmed);
        }
        if (command == "reply") {
            if (words.size() < 3) throw Refusal("reply takes HEXCMD STATUS [HEXDATA] [times N]");
            CannedReply reply;
            reply.command = parse_hex(words[1].text);
            if (reply.command.empty()) throw Refusal("reply needs at least one command byte");
            reply.status = parse_status(words[2].text);
            std::size_t i = 3;
            if (i < words.size() && lower(words[i].text) != "times") {
                if (words[i].text != "-") reply.data = parse_hex(words[i].text);
                ++i;
            }
            if (i < words.size() && lower(words[i].text) == "times") {
                const auto n = number(arg(i + 1));
                if (!n || *n == 0 || *n > 0xFFFFFFFF) throw Refusal("times takes a count of 1 or more");
                reply.times = static_cast<std::uint32_t>(*n);
                i += 2;
            }
            no_more(i);
            if (reply.data.size() + 2 > kMaxPayload) throw Refusal("the data does not fit in a frame");
            const std::uint8_t status[] = {static_cast<std::uint8_t>(reply.status >> 8),
                                           static_cast<std::uint8_t>(reply.status & 0xFF)};
            const std::string summary = "ok reply " + to_hex(reply.command) + " status " + to_hex(status) + " with " +
                                        std::to_string(reply.data.size()) + " data bytes";
            reader_.add_reply(std::move(reply));
            return summary;
        }
        if (command == "stats") {
            no_more(1);
            const Stats s = reader_.stats();
            return "ok received " + std::to_string(s.frames_received) + " sent " + std::to_string(s.frames_sent) +
                   " bad " + std::to_string(s.bad_frames) + " unknown " + std::to_string(s.unknown_commands) +
                   " silenced " + std::to_string(s.replies_silenced) + " skipped " + std::to_string(s.bytes_skipped);
        }
        if (command == "history") {
            std::size_t count = 10;
            if (words.size() > 1) {
                const auto n = number(words[1].text);
                if (!n) throw Refusal("history takes a count");
                count = static_cast<std::size_t>(*n);
            }
            no_more(2);
            const auto commands = reader_.commands_received();
            std::string out = "ok";
            for (std::size_t i = commands.size() - std::min(count, commands.size()); i < commands.size(); ++i)
                out += " " + to_hex(commands[i]);
            return out;
        }
        if (command == "help") {
            return "ok commands: fault noise N|silence|check|end|cut [N]|hangup [once|always|COUNT], "
                   "clear [FAULT|idcard|replies|history], faults, idcard [resident|foreign|off], "
                   "idcard fail SW1SW2SW3 [once|always|COUNT], form split|plain, baud N, version 0|1 TEXT, "
                   "reply HEXCMD STATUS [HEXDATA] [times N], stats, history [N], help, quit";
        }
        if (command == "quit") {
            no_more(1);
            if (on_quit_) on_quit_();
            return "ok bye";
        }
        return "error: unknown command \"" + std::string(words[0].text) + "\" (try help)";
    } catch (const std::exception& e) {
        return std::string("error: ") + e.what();
    }
}

}  // namespace vnrsim
