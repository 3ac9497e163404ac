// sim/tools/vnr_sim.cpp: the program vnr-sim. Serves a simulated reader on a pseudo-terminal, with a
// control channel on a socket and/or a second pty, until SIGINT, SIGTERM or the "quit" command.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "vnrsim/control.h"
#include "vnrsim/control_server.h"
#include "vnrsim/deck.h"
#include "vnrsim/pty_server.h"
#include "vnrsim/reader.h"

namespace {

constexpr const char* kUsage = R"(usage: vnr-sim --deck FILE [options]

Serves a simulated vnr_32 reader on a pseudo-terminal, as a reader on a serial port. Prints
"vnr-sim: serving PTY [as LINK...]" on stdout once ready, and runs until SIGINT, SIGTERM or the
control command "quit"; then removes its links, socket and ready file.

Options:
  --deck FILE          the deck describing the reader (required)
  --link PATH          also make PATH a symbolic link to the pty (parent folders are created)
  --port N             link the pty as COM port N: $VNR32_PREFIX/dosdevices/comN
                       (VNR32_PREFIX defaults to $HOME/.vnr32)
  --baud N             emulated wire rate of replies, overriding the deck (0: no pacing)
  --form split|plain   form of the reply frames, overriding the deck
  --control PATH       serve the control commands on a Unix-domain socket at PATH
  --control-link PATH  serve the control commands on a second pty, linked at PATH
  --ready-file PATH    write the pty path into PATH once ready
  --verbose            log every frame in and out on stderr
  --help               this text

Deck (JSON; every key optional, unknown keys refused):
  {
    "comment": "any text",
    "reader_version": "VNR-32 R1.08",          answer to 31 11 00 (UTF-8, sent as GBK)
    "contactless_version": "VNR-32 RF 2.05",   answer to 31 11 01
    "reply_form": "split",                     or "plain"
    "baud": 115200,                            0: as fast as possible
    "unknown_command_status": "6D00",          S1S2 for unknown commands (default 6D00)
    "replies": [                               tried in order, before the built-in answers
      {"command": "3111", "status": "6A82", "times": 1},
      {"command": "3250", "status": 0, "data": "00 00 90", "fill": {"length": 1286, "byte": 90}},
      {"command": "C009", "fill": {"length": 8, "pattern": "0102"}},
      {"command": "3066", "raw": "02 00 01 00 00 03"}
    ],
    "idcard": {                                the identity card module
      "on_reader": "resident",                 none (default), resident or foreign
      "module_id": "99000000000000000000000000000001",   answer to 32 51
      "resident": {"name": "林示例", "sex": "1", "nation": "01", "birthday": "19880614",
                   "address": "...", "id_number": "...", "issue_department": "...",
                   "valid_from": "20150320", "valid_expiry": "20350320", "reserve": "",
                   "photo": {"bmp": "portraits/resident.bmp"},
                   "fingerprint": {"fill": {"length": 1024, "pattern": "4643"}},
                   "card_id": "9900000000000001", "added": "2000", "management": "01"},
      "foreign": {"english_name": "...", "sex": "1", "card_number": "...", "country_code": "CAN",
                  "chinese_name": "...", "valid_from": "...", "valid_expiry": "...",
                  "birthday": "...", "card_version": "01", "authority_code": "9900",
                  "card_mark": "I", "reserve": "", "photo": {"hex": "..."}}
    }
  }
  A reply matches a command that begins with its "command" bytes. "data" then "fill" make the
  reply data ("fill": "length" bytes of "byte", or of "pattern" repeated). "raw" bytes go out as
  they are, instead of a frame. "times": answered that many times, then dropped. A status is a
  number or hex digits. A command frame with a wrong check or end byte is answered with 6F00.
  Canned replies go before the identity card module too.

Identity card module: D0 01 find (00 00 9F, data: the card id), D0 02 select (00 00 90),
D0 03 and 32 50 read text and photo (1289 bytes), D0 04 and D0 07 read text, photo and
fingerprint data (2315 bytes with 1024 bytes of fingerprint data), D0 05 added and D0 06
management information (00 00 90), 32 51 module id and 32 52 card id (raw bytes; 32 52 without
a card: status 0080). Without a card the module answers 00 00 80. The example names every text
field of both cards; each is UTF-8, and one that does not fit its width as UTF-16 is refused.
"photo" is {"bmp": FILE} (102 x 126 pixels, relative to the deck's folder), {"hex": ...} or
{"fill": ...}, zero-padded to 1024 bytes; "fingerprint" is {"hex": ...} or {"fill": ...}, up to
1024 bytes.

Control commands (one a line, answered "ok ..." or "error: ..."):
  fault noise N [WHEN] | fault silence [WHEN] | fault check [WHEN] | fault end [WHEN]
  fault cut [N] [WHEN]   (N bytes of the frame go out; default half)
  fault hangup           (the pty closes until "clear"; a new pty is then linked in its place)
      WHEN: once (default), always, or a count of replies
  idcard                 (which card lies on the reader, and a failure standing)
  idcard resident|foreign|off     (put the deck's card on the reader, or take it off)
  idcard fail SW [WHEN]  (the module answers the triple SW, e.g. 000041, instead of its reply)
  clear [FAULT|idcard|replies|history]   faults   form split|plain   baud N   version 0|1 TEXT
  reply HEXCMD STATUS [HEXDATA] [times N]   stats   history [N]   help   quit
)";

[[noreturn]] void usage_error(const std::string& message) {
    std::fprintf(stderr, "vnr-sim: %s (try --help)\n", message.c_str());
    std::exit(2);
}

std::uint32_t number_option(std::string_view name, std::string_view text, std::uint32_t high) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value > high)
        usage_error(std::string(name) + " takes a number from 0 to " + std::to_string(high) + ", not \"" +
                    std::string(text) + "\"");
    return value;
}

struct Options {
    std::filesystem::path deck;
    std::vector<std::filesystem::path> links;
    std::optional<std::uint32_t> baud;
    std::optional<vnrsim::Form> form;
    std::filesystem::path control;
    std::filesystem::path control_link;
    std::filesystem::path ready_file;
    bool verbose = false;
};

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        if (option == "--help" || option == "-h") {
            std::fputs(kUsage, stdout);
            std::exit(0);
        }
        if (option == "--verbose") {
            options.verbose = true;
            continue;
        }
        constexpr std::string_view kValued[] = {"--deck",    "--link",         "--port",       "--baud",
                                                "--form",    "--control",      "--control-link", "--ready-file"};
        if (std::find(std::begin(kValued), std::end(kValued), option) == std::end(kValued))
            usage_error("unknown option " + std::string(option));
        if (i + 1 >= argc) usage_error(std::string(option) + " needs a value");
        const std::string_view value = argv[++i];
        if (option == "--deck") {
            options.deck = value;
        } else if (option == "--link") {
            options.links.emplace_back(value);
        } else if (option == "--port") {
            const std::uint32_t port = number_option(option, value, 256);
            if (port == 0) usage_error("--port takes a COM number from 1 (COM1)");
            try {
                options.links.push_back(vnrsim::com_port_link(static_cast<int>(port)));
            } catch (const std::exception& e) {
                usage_error(std::string("--port: ") + e.what());
            }
        } else if (option == "--baud") {
            options.baud = number_option(option, value, vnrsim::kMaxBaud);
        } else if (option == "--form") {
            if (value != "split" && value != "plain") usage_error("--form takes split or plain");
            options.form = value == "split" ? vnrsim::Form::split : vnrsim::Form::plain;
        } else if (option == "--control") {
            options.control = value;
        } else if (option == "--control-link") {
            options.control_link = value;
        } else {
            options.ready_file = value;
        }
    }
    if (options.deck.empty()) usage_error("--deck FILE is required");
    return options;
}

// Writes the file whole or not at all, so a script that waits for it never reads half a line.
void write_ready_file(const std::filesystem::path& path, const std::string& text) {
    const std::filesystem::path temporary = path.string() + ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << text << '\n';
        if (!out.flush()) throw std::runtime_error("cannot write " + temporary.string());
    }
    std::filesystem::rename(temporary, path);
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);

    // Every thread inherits this mask, so the signals wait for sigwait() below. SIGPIPE stays blocked.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGHUP);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    sigdelset(&signals, SIGPIPE);

    try {
        vnrsim::Deck deck = vnrsim::Deck::load(options.deck);
        if (options.baud) deck.baud = *options.baud;
        if (options.form) deck.reply_form = *options.form;
        vnrsim::Reader reader(std::move(deck));

        vnrsim::PtyServer::Options serving{options.links, {}};
        if (options.verbose)
            serving.log = [](const std::string& line) { std::fprintf(stderr, "vnr-sim: %s\n", line.c_str()); };
        vnrsim::PtyServer server(reader, serving);

        // "quit" raises SIGTERM, which ends the wait below like a signal from outside.
        vnrsim::Control control(reader, [] { ::kill(::getpid(), SIGTERM); });
        std::optional<vnrsim::ControlServer> control_server;
        if (!options.control.empty() || !options.control_link.empty()) {
            control_server.emplace(control, vnrsim::ControlServer::Options{options.control, options.control_link});
            if (!options.control.empty())
                std::fprintf(stderr, "vnr-sim: control on socket %s\n", options.control.c_str());
            if (!options.control_link.empty())
                std::fprintf(stderr, "vnr-sim: control on %s as %s\n", control_server->pty_path().c_str(),
                             options.control_link.c_str());
        }

        std::string line = "vnr-sim: serving " + server.slave_path();
        for (std::size_t i = 0; i < options.links.size(); ++i)
            line += (i == 0 ? " as " : " and ") + options.links[i].string();
        std::printf("%s\n", line.c_str());
        std::fflush(stdout);
        if (!options.ready_file.empty()) write_ready_file(options.ready_file, server.slave_path());

        int received = 0;
        sigwait(&signals, &received);
        if (options.verbose) std::fprintf(stderr, "vnr-sim: stopping on %s\n", strsignal(received));
        if (!options.ready_file.empty()) {
            std::error_code ignored;
            std::filesystem::remove(options.ready_file, ignored);
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "vnr-sim: %s\n", e.what());
        return 1;
    }
    return 0;
}
