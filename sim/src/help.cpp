// sim/src/help.cpp: the reader's own deck keys and control commands, and the help made of them and of
// the models' help (see vnrsim/help.h).
#include "vnrsim/help.h"

namespace vnrsim {
namespace {

constexpr std::size_t kWidth = 100;       // the help's lines end at about this column
constexpr std::size_t kSyntaxWidth = 30;  // a command's text starts this far right of its syntax

// The reader's deck keys: an example with every key, its notes to the right from kNoteColumn.
constexpr std::string_view kDeckExample = R"({
  "comment": "any text",
  "reader_version": "VNR-32 R1.08",          answer to 31 11 00 (UTF-8, sent as GBK)
  "contactless_version": "VNR-32 RF 2.05",   answer to 31 11 01
  "reply_form": "split",                     or "plain": the form of every reply frame
  "baud": 115200,                            emulated wire rate, 10 bits a byte; 0: as fast as can be
  "unknown_command_status": "6D00",          S1S2 for a command nothing answers (default 6D00)
  "replies": [                               canned replies, tried in order before all else
    {"command": "3111", "status": "6A82", "times": 1},
    {"command": "3250", "status": 0, "data": "00 00 90", "fill": {"length": 1286, "byte": 90}},
    {"command": "C009", "fill": {"length": 8, "pattern": "0102"}},
    {"command": "3066", "raw": "02 00 01 00 00 03"}
  ])";
constexpr std::size_t kNoteColumn = 45;  // where the example's notes start, the example at column 2

constexpr std::string_view kDeckNotes =
    "Every key is optional; an unknown key is refused, as is any value out of place, with the path of "
    "the value at fault. A canned reply matches a command that begins with its \"command\" bytes. Its data "
    "is \"data\" then \"fill\": {\"length\": N, \"byte\": B} gives N bytes of B, {\"length\": N, "
    "\"pattern\": HEX} the pattern repeated and cut at N. \"raw\" bytes go out as they are, instead of a "
    "frame (no \"status\", \"data\" or \"fill\" then). \"times\": answered that many times, then dropped "
    "(default: for ever). A status is a number (0 to 65535) or one to four hex digits, with or without 0x. "
    "Hex bytes may have spaces between them. Texts are UTF-8 in the file and answered in GBK. \"comment\" "
    "is taken and ignored in every object. A command frame with a wrong check or end byte, or longer than "
    "65525 bytes, is answered with 6F00.";

constexpr CommandHelp kReaderCommands[] = {
    {"fault noise N [WHEN]", "N bytes of noise go out before the reply frame"},
    {"fault silence [WHEN]", "no reply"},
    {"fault check [WHEN]", "a wrong check byte"},
    {"fault end [WHEN]", "a wrong end byte"},
    {"fault cut [N] [WHEN]",
     "only the first N bytes of the reply frame go out (default: half of it); a number right after cut "
     "is always N, so \"fault cut 3\" cuts once"},
    {"fault hangup",
     "the line goes dead until cleared: the pty closes, and after \"clear\" a new pty is linked in its place"},
    {"clear [FAULT|MODEL]",
     "clears every fault and every model's failures, or one fault (noise, silence, check, end, cut, "
     "hangup), or one model's failures"},
    {"clear replies", "drops every canned reply"},
    {"clear history", "forgets the received commands and zeroes the counters"},
    {"faults", "lists the faults and the models' failures that stand"},
    {"form split|plain", "the form of later replies"},
    {"baud N", "the emulated wire rate of later replies, bits per second (0: no pacing)"},
    {"version 0|1 TEXT", "the version text of module 0 or 1: the rest of the line, UTF-8"},
    {"reply HEXCMD STATUS [HEXDATA] [times N]",
     "a canned reply ahead of all others; STATUS is S1S2 in hex (0 to FFFF), HEXDATA \"-\" for none"},
    {"stats", "the counters"},
    {"history [N]", "the last N received commands (default 10) in hex, oldest first"},
    {"help [MODEL]", "the commands on one line, or one model's commands with what they do"},
    {"quit", "stops the simulator"},
};

constexpr std::string_view kWhen = "WHEN is once (the default), always (until cleared) or a count of replies.";

// Appends `text` reflowed into lines that end by kWidth: the first goes on from `column`, where the
// output stands, the next ones start at `indent`. Ends with a line feed.
void reflow(std::string& out, std::string_view text, std::size_t column, std::size_t indent) {
    std::size_t at = column;
    bool line_empty = true;
    std::size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && (text[i] == ' ' || text[i] == '\n')) ++i;
        const std::size_t start = i;
        while (i < text.size() && text[i] != ' ' && text[i] != '\n') ++i;
        if (i == start) break;
        const std::string_view word = text.substr(start, i - start);
        if (!line_empty && at + 1 + word.size() > kWidth) {
            out += '\n';
            out.append(indent, ' ');
            at = indent;
            line_empty = true;
        }
        if (!line_empty) out += ' ', ++at;
        out += word;
        at += word.size();
        line_empty = false;
    }
    out += '\n';
}

// Appends each line of `text` after `indent` blanks.
void indented(std::string& out, std::string_view text, std::size_t indent) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        out.append(indent, ' ');
        out += text.substr(0, end);
        out += '\n';
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

void list_commands(std::string& out, std::span<const CommandHelp> commands, std::size_t indent) {
    const std::size_t column = indent + kSyntaxWidth;
    for (const CommandHelp& command : commands) {
        out.append(indent, ' ');
        out += command.syntax;
        const std::size_t at = indent + command.syntax.size();
        if (at + 2 > column) {
            out += '\n';
            out.append(column, ' ');
        } else {
            out.append(column - at, ' ');
        }
        reflow(out, command.what, column, column);
    }
}

void append_syntaxes(std::string& out, std::span<const CommandHelp> commands) {
    for (const CommandHelp& command : commands) {
        if (!out.empty() && out.back() != ' ') out += ", ";
        out += command.syntax;
    }
}

}  // namespace

std::string help_text(const ModelSet& models) {
    std::string out = "Deck (JSON):\n";
    indented(out, kDeckExample, 2);
    if (models.size() > 0) out.insert(out.size() - 1, ",");
    std::size_t left = models.size();
    for (const Model& model : models.all()) {
        std::string line = "    \"" + std::string(model.name()) + "\": {...}" + (--left > 0 ? "," : "");
        line.append(kNoteColumn + 2 > line.size() ? kNoteColumn + 2 - line.size() : 1, ' ');
        out += line + std::string(model.help().title) + " (below)\n";
    }
    out += "  }\n  ";
    reflow(out, kDeckNotes, 2, 2);

    out += "\nControl commands (one a line, keywords in any case; answered \"ok ...\" or \"error: ...\"):\n";
    list_commands(out, kReaderCommands, 2);
    out += "  ";
    reflow(out, std::string(kWhen) + " Each model's own commands stand with the model below.", 2, 2);

    out += '\n';
    reflow(out,
           "Models, asked in this order for a command that no canned reply and no version query took. Each one "
           "has the deck key and the control word of its name.",
           0, 0);
    for (const Model& model : models.all()) {
        const ModelHelp& help = model.help();
        out += "\n" + std::string(help.name) + ": ";
        reflow(out, help.title, help.name.size() + 2, 2);
        out += "  ";
        reflow(out, help.about, 2, 2);
        out += "  Deck:\n";
        indented(out, help.deck_example, 4);
        out += "    ";
        reflow(out, help.deck_keys, 4, 4);
        if (!help.commands.empty()) {
            out += "  Control commands:\n";
            list_commands(out, help.commands, 4);
        }
    }
    return out;
}

std::string help_line(const ModelSet& models) {
    std::string out = "commands: ";
    append_syntaxes(out, kReaderCommands);
    for (const Model& model : models.all()) {
        if (model.help().commands.empty()) continue;
        out += "; ";
        append_syntaxes(out, model.help().commands);
    }
    return out + "; WHEN: once, always or a count of replies";
}

std::string help_line(const Model& model) {
    const ModelHelp& help = model.help();
    std::string out = std::string(help.name) + " (" + std::string(help.title) + "):";
    for (const CommandHelp& command : help.commands)
        out += " " + std::string(command.syntax) + " - " + std::string(command.what) + ";";
    if (out.back() == ';') out.pop_back();
    return out;
}

}  // namespace vnrsim
