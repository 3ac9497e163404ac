// sim/src/control.cpp: the control command parser (see vnrsim/control.h).
#include "vnrsim/control.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "vnrsim/help.h"

namespace vnrsim {
namespace {

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
    return out + " " + describe(f.times);
}

std::size_t bytes_of(std::string_view word, std::string_view what) {
    const auto n = number(word);
    if (!n || *n > kMaxPayload * 2 + 8)
        throw Refusal(std::string(what) + " needs a byte count, got \"" + std::string(word) + "\"");
    return static_cast<std::size_t>(*n);
}

// "idcard" or "idcard, pinpad": the models' names for a refusal.
std::string names_of(const ModelSet& models) {
    std::string out;
    for (const Model& model : models.all()) out += (out.empty() ? "" : ", ") + std::string(model.name());
    return out;
}

}  // namespace

Control::Control(Reader& reader, std::function<void()> on_quit) : reader_(reader), on_quit_(std::move(on_quit)) {}

std::string Control::execute(std::string_view text) {
    const ControlLine line(text);
    if (line.size() == 0) return "error: empty command";
    const std::string command = line.keyword(0);
    try {
        if (command == "fault") {
            const auto fault = fault_named(line.keyword(1));
            if (!fault)
                throw Refusal("fault needs one of noise, silence, check, end, cut, hangup; got \"" +
                              std::string(line.word(1)) + "\"");
            std::size_t i = 2;
            std::optional<std::size_t> bytes;
            if (*fault == Fault::noise) {
                if (i >= line.size()) throw Refusal("fault noise needs a byte count: fault noise N [once|always|COUNT]");
                bytes = bytes_of(line.word(i++), "fault noise");
            } else if (*fault == Fault::cut && number(line.word(i))) {
                // A number right after "cut" is always the cut point, never a count of replies.
                bytes = bytes_of(line.word(i++), "fault cut");
            }
            Times times = *fault == Fault::hangup ? Times::always : Times::once;
            if (i < line.size()) {
                times = times_of(line.word(i++));
                if (*fault == Fault::hangup && !times.is_always())
                    throw Refusal("a hangup stands until cleared; it takes no count");
            }
            line.no_more(i);
            reader_.inject(*fault, times, bytes);
            return "ok fault " + describe(StandingFault{*fault, times, bytes});
        }
        if (command == "clear") {
            const std::string what = line.keyword(1);
            line.no_more(2);
            if (what.empty()) {
                reader_.clear_faults();
                const auto models = reader_.models();
                for (Model& model : models->all()) model.clear_failures();
                return "ok faults cleared";
            }
            if (what == "replies") {
                reader_.clear_replies();
                return "ok replies cleared";
            }
            if (what == "history") {
                reader_.clear_history();
                return "ok history cleared";
            }
            if (const auto fault = fault_named(what)) {
                reader_.clear(*fault);
                return "ok " + what + " cleared";
            }
            const auto models = reader_.models();
            if (Model* model = models->find(what)) {
                model->clear_failures();
                return "ok " + what + " cleared";
            }
            throw Refusal("clear takes a fault (noise, silence, check, end, cut, hangup), a model (" +
                          names_of(*models) + "), replies or history; got \"" + std::string(line.word(1)) + "\"");
        }
        if (command == "faults") {
            line.no_more(1);
            std::string out = "ok";
            for (const StandingFault& f : reader_.faults()) out += (out.size() == 2 ? " " : ", ") + describe(f);
            const auto models = reader_.models();
            for (const Model& model : models->all())
                for (const std::string& failure : model.failures())
                    out += (out.size() == 2 ? " " : ", ") + std::string(model.name()) + " " + failure;
            return out == "ok" ? "ok none" : out;
        }
        if (command == "form") {
            const std::string form = line.keyword(1);
            line.no_more(2);
            if (form != "split" && form != "plain") throw Refusal("form takes split or plain");
            reader_.set_form(form == "split" ? Form::split : Form::plain);
            return "ok form " + form;
        }
        if (command == "baud") {
            const auto baud = number(line.word(1));
            if (!baud || *baud > kMaxBaud) throw Refusal("baud takes a rate from 0 to " + std::to_string(kMaxBaud));
            line.no_more(2);
            reader_.set_baud(static_cast<std::uint32_t>(*baud));
            return "ok baud " + std::to_string(*baud);
        }
        if (command == "version") {
            const std::string_view module = line.word(1);
            if (module != "0" && module != "1") throw Refusal("version takes module 0 or 1, then the text");
            const std::string_view version = line.rest(2);
            reader_.set_version(module == "0" ? 0 : 1, to_gbk(version));
            return "ok version " + std::string(module) + " " + std::string(version);
        }
        if (command == "reply") {
            if (line.size() < 3) throw Refusal("reply takes HEXCMD STATUS [HEXDATA] [times N]");
            CannedReply reply;
            reply.command = parse_hex(line.word(1));
            if (reply.command.empty()) throw Refusal("reply needs at least one command byte");
            reply.status = parse_status(line.word(2));
            std::size_t i = 3;
            if (i < line.size() && line.keyword(i) != "times") {
                if (line.word(i) != "-") reply.data = parse_hex(line.word(i));
                ++i;
            }
            if (i < line.size() && line.keyword(i) == "times") {
                const auto n = number(line.word(i + 1));
                if (!n || *n == 0 || *n > 0xFFFFFFFF) throw Refusal("times takes a count of 1 or more");
                reply.times = static_cast<std::uint32_t>(*n);
                i += 2;
            }
            line.no_more(i);
            if (reply.data.size() + 2 > kMaxPayload) throw Refusal("the data does not fit in a frame");
            const std::uint8_t status[] = {static_cast<std::uint8_t>(reply.status >> 8),
                                           static_cast<std::uint8_t>(reply.status & 0xFF)};
            const std::string summary = "ok reply " + to_hex(reply.command) + " status " + to_hex(status) + " with " +
                                        std::to_string(reply.data.size()) + " data bytes";
            reader_.add_reply(std::move(reply));
            return summary;
        }
        if (command == "stats") {
            line.no_more(1);
            const Stats s = reader_.stats();
            return "ok received " + std::to_string(s.frames_received) + " sent " + std::to_string(s.frames_sent) +
                   " bad " + std::to_string(s.bad_frames) + " unknown " + std::to_string(s.unknown_commands) +
                   " silenced " + std::to_string(s.replies_silenced) + " skipped " + std::to_string(s.bytes_skipped);
        }
        if (command == "history") {
            std::size_t count = 10;
            if (line.size() > 1) {
                const auto n = number(line.word(1));
                if (!n) throw Refusal("history takes a count");
                count = static_cast<std::size_t>(*n);
            }
            line.no_more(2);
            const auto commands = reader_.commands_received();
            std::string out = "ok";
            for (std::size_t i = commands.size() - std::min(count, commands.size()); i < commands.size(); ++i)
                out += " " + to_hex(commands[i]);
            return out;
        }
        if (command == "help") {
            line.no_more(2);
            const auto models = reader_.models();
            if (line.size() == 1) return "ok " + help_line(*models);
            if (const Model* model = models->find(line.keyword(1))) return "ok " + help_line(*model);
            throw Refusal("help takes a model's name (" + names_of(*models) + "), got \"" +
                          std::string(line.word(1)) + "\"");
        }
        if (command == "quit") {
            line.no_more(1);
            if (on_quit_) on_quit_();
            return "ok bye";
        }
        const auto models = reader_.models();
        if (Model* model = models->find(command)) return model->control(line);
        return "error: unknown command \"" + std::string(line.word(0)) + "\" (try help)";
    } catch (const std::exception& e) {
        return std::string("error: ") + e.what();
    }
}

}  // namespace vnrsim
