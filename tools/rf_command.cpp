// tools/rf_command.cpp: the command-line tool. vnr rf scan: switch the RF field on, wait for a card,
// and say what it is (as CLCard_Open tells it) with its identifier and ATS.
#include "cli.h"
#include "verbs.h"
#include "vnr_32.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>
#include <thread>

namespace vnr::tool {

namespace {

constexpr std::uint32_t kProbeWaitMs = 100;  // what each probe gives the card to answer
constexpr auto kPollInterval = std::chrono::milliseconds(200);
constexpr std::size_t kUidRoom = 10, kAtsRoom = 64;  // the rooms the header asks for

volatile std::sig_atomic_t interrupted = 0;
extern "C" void on_scan_interrupt(int) { interrupted = 1; }

struct Card {
    int kind = 0;  // VNR_CL_IDCARD, VNR_CL_CPU_CARD or VNR_CL_MIFARE
    std::uint8_t type = 0, uid_length = 0, ats_length = 0;
    std::uint8_t uid[kUidRoom] = {}, ats[kAtsRoom] = {};
};

const char* kind_key(int kind) {
    return kind == VNR_CL_IDCARD ? "idcard" : kind == VNR_CL_CPU_CARD ? "cpu" : "mifare";
}
const char* kind_words(int kind) {
    return kind == VNR_CL_IDCARD     ? "resident identity card (vnr idcard reads it)"
           : kind == VNR_CL_CPU_CARD ? "contactless CPU card"
                                     : "Mifare-class card or tag";
}

void print(const Card& card, bool json) {
    const std::string type = to_hex({&card.type, 1}), uid = to_hex({card.uid, card.uid_length}),
                      ats = to_hex({card.ats, card.ats_length});
    const bool has_uid = card.kind != VNR_CL_IDCARD, has_ats = card.kind == VNR_CL_CPU_CARD;
    if (json) {
        std::printf("{\"kind\": \"%s\", \"card_type\": %s, \"uid\": %s, \"ats\": %s}\n", kind_key(card.kind),
                    has_uid ? json_text(type).c_str() : "null", has_uid ? json_text(uid).c_str() : "null",
                    has_ats ? json_text(ats).c_str() : "null");
        return;
    }
    std::printf("%-10s %s\n", "card:", kind_words(card.kind));
    if (has_uid) std::printf("%-10s %s\n%-10s %s\n", "type:", type.c_str(), "uid:", uid.c_str());
    if (has_ats) std::printf("%-10s %s\n", "ats:", ats.c_str());
}

// Probes until a card answers: 0 when one did, 1 on a failure of the reader or the link, a time-out or
// Ctrl-C. A reader's status (no card) keeps the wait going.
int wait_for_card(std::int32_t handle, double wait_seconds, Card& card) {
    const auto start = std::chrono::steady_clock::now();
    for (bool told = false;; told = true) {
        const std::int16_t kind =
            CLCard_Open(handle, kProbeWaitMs, &card.type, &card.uid_length, card.uid, &card.ats_length, card.ats);
        if (kind >= VNR_CL_IDCARD && kind <= VNR_CL_MIFARE) {
            card.kind = kind;
            // CLCard_Open gives a memory card's first 4 identifier bytes; a tag or a card with a 7-byte
            // identifier gives all 7 to the tag activation.
            if (kind == VNR_CL_MIFARE) card.uid_length = MF_OpenCard(handle, 0, card.uid) == VNR_OK ? 7 : 4;
            return 0;
        }
        if (kind < 0 && kind >= -100) return report_failure("looking for a card", kind);
        if (!told) std::fprintf(stderr, "waiting for a card on the reader (Ctrl-C to stop)...\n");
        const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
        if (wait_seconds >= 0 && waited.count() >= wait_seconds) {
            std::fprintf(stderr, "vnr: no card came within %g s\n", wait_seconds);
            return 1;
        }
        std::this_thread::sleep_for(kPollInterval);
        if (interrupted) {
            std::fprintf(stderr, "vnr: stopped\n");
            return 1;
        }
    }
}

}  // namespace

int rf_command(int argc, char** argv) {
    if (argc < 1 || std::string_view(argv[0]) != "scan") {
        std::fprintf(stderr, "usage: vnr rf scan [--wait SECONDS] [--json]\n");
        return 2;
    }
    OpenOptions open;
    double wait_seconds = -1;  // below 0: until a card comes
    bool json = false;
    for (int i = 1; i < argc; ++i) {
        const int taken = take_open_option(argc, argv, i, open);
        if (taken < 0) return 2;
        if (taken > 0) continue;
        const std::string_view arg = argv[i];
        if (arg == "--json") {
            json = true;
        } else if (arg == "--wait" && i + 1 < argc) {
            const auto seconds = parse_number(argv[++i], 0, 86400);
            if (!seconds) {
                std::fprintf(stderr, "vnr: --wait takes whole seconds, not '%s'\n", argv[i]);
                return 2;
            }
            wait_seconds = static_cast<double>(*seconds);
        } else {
            std::fprintf(stderr, "vnr: unknown option '%s'\n", argv[i]);
            return 2;
        }
    }
    const OpenReader reader(open);
    if (!reader) return 1;
    if (const std::int16_t status = open_rf(reader.handle()); status != VNR_OK)
        return report_failure("switching the RF field on", status);
    std::signal(SIGINT, on_scan_interrupt);
    Card card;
    const int result = wait_for_card(reader.handle(), wait_seconds, card);
    std::signal(SIGINT, SIG_DFL);
    if (result == 0) print(card, json);
    close_rf(reader.handle());
    return result;
}

}  // namespace vnr::tool
