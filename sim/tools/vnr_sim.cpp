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
#include "vnrsim/help.h"
#include "vnrsim/pty_server.h"
#include "vnrsim/reader.h"

namespace {

// The program's own part of --help; the deck format and the control commands follow, from the help of
// the reader and its models (vnrsim/help.h).
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
            std::fputs(vnrsim::help_text(vnrsim::ModelSet()).c_str(), stdout);
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
