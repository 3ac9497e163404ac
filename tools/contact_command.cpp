// tools/contact_command.cpp: the command-line tool. `vnr contact` works a card in a contact slot through
// the library's exports: the slot's state, powering the card up for its answer to reset, APDUs (fetching
// what a card holds back behind 61xx), and the bytes of a memory card, its password presented first when
// one is given.
#include "cli.h"
#include "verbs.h"
#include "vnr_32.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vnr::tool {

namespace {

constexpr std::uint16_t kPowerUpDelayMs = 500;  // the card's own time to answer, given to the reader
constexpr std::size_t kAtrRoom = 255;            // what sam_slt_reset may write
constexpr std::size_t kAnswerRoom = 3073;        // what card_APDU may write
constexpr std::size_t kLongestApdu = 3070;
constexpr std::size_t kDumpWidth = 16;
// The slot states the reader answers: a card lies there unpowered (the tool powers it up before an
// APDU) or powered (its session goes on: what was selected stays selected).
constexpr std::uint16_t kUnpowered = 0x1003, kPowered = 0x1004;
constexpr std::uint8_t kMoreData = 0x61, kWrongLe = 0x6C;  // SW1 of "xx bytes wait" and "Le must be xx"
constexpr int kMostFollowUps = 32;  // a card that keeps answering 61xx is left after this many

struct Options {
    OpenOptions open;
    std::string action;
    std::vector<std::string> operands;
    std::uint8_t slot = 0;
    bool json = false;
    std::vector<std::vector<std::uint8_t>> apdus;  // apdu
    std::uint16_t addr = 0, len = 0;               // read, write
    std::vector<std::uint8_t> data;                // write
    std::vector<std::uint8_t> password;            // read, write: presented first when given
};

// The operands of the action; false after printing what is wrong.
bool parse_operands(Options& o) {
    if (o.action == "apdu") {
        for (const std::string& text : o.operands) {
            auto apdu = parse_hex(text);
            if (!apdu || apdu->empty() || apdu->size() > kLongestApdu) {
                std::fprintf(stderr, "vnr: an APDU is 1 to %zu bytes of hexadecimal, not '%s'\n", kLongestApdu, text.c_str());
                return false;
            }
            o.apdus.push_back(std::move(*apdu));
        }
        return true;
    }
    if (o.action != "read" && o.action != "write") return true;
    const bool reading = o.action == "read";
    const auto addr = parse_number(o.operands[0], 0, 0xFFFF);
    const auto len = reading ? parse_number(o.operands[1], 0, 0xFFFF) : std::nullopt;
    auto data = reading ? std::nullopt : parse_hex(o.operands[1]);
    if (!addr || (reading ? !len : !data || data->size() > 0xFFFF)) {
        std::fprintf(stderr, "vnr: contact %s takes an address from 0 to 0xFFFF and %s\n", o.action.c_str(),
                     reading ? "a length from 0 to 65535" : "at most 65535 bytes of hexadecimal");
        return false;
    }
    o.addr = static_cast<std::uint16_t>(*addr);
    o.len = static_cast<std::uint16_t>(reading ? *len : static_cast<long long>(data->size()));
    if (data) o.data = std::move(*data);
    return true;
}

// Parses the arguments; false after printing what is wrong.
bool parse(int argc, char** argv, Options& options) {
    for (int i = 0; i < argc; ++i) {
        const int taken = take_open_option(argc, argv, i, options.open);
        if (taken < 0) return false;
        if (taken > 0) continue;
        const std::string_view arg = argv[i];
        if (arg == "--json") {
            options.json = true;
        } else if (arg == "--slot") {
            const auto slot = i + 1 < argc ? parse_number(argv[++i], 0, 31) : std::nullopt;
            if (!slot) {
                std::fprintf(stderr, "vnr: --slot takes a slot from 0 to 31\n");
                return false;
            }
            options.slot = static_cast<std::uint8_t>(*slot);
        } else if (arg == "--password") {
            auto password = i + 1 < argc ? parse_hex(argv[++i]) : std::nullopt;
            if (!password || password->empty() || password->size() > 255) {
                std::fprintf(stderr, "vnr: --password takes 1 to 255 bytes in hexadecimal\n");
                return false;
            }
            options.password = std::move(*password);
        } else if (arg.size() > 1 && arg[0] == '-') {
            std::fprintf(stderr, "vnr: unknown option '%s'\n", argv[i]);
            return false;
        } else if (options.action.empty()) {
            options.action = arg;
        } else {
            options.operands.emplace_back(arg);
        }
    }
    const std::string& a = options.action;
    const std::size_t n = options.operands.size();
    const bool counted = (a == "status" || a == "atr") ? n == 0 : a == "apdu" ? n >= 1 : (a == "read" || a == "write") && n == 2;
    if (!counted) std::fprintf(stderr, "vnr: contact takes status, atr, apdu HEX..., read ADDR LEN or write ADDR HEX\n");
    return counted && parse_operands(options);
}

std::optional<std::vector<std::uint8_t>> power_up(std::int32_t icdev, std::uint8_t slot) {
    std::uint8_t length = 0;
    std::vector<std::uint8_t> atr(kAtrRoom);
    const int16_t status = sam_slt_reset(icdev, kPowerUpDelayMs, slot, &length, atr.data());
    if (status != VNR_OK) {
        report_failure("powering the card up", status);
        return std::nullopt;
    }
    atr.resize(length);
    return atr;
}

// The reader's slot states in words; empty for a state it does not name.
const char* state_words(std::uint16_t state) {
    switch (state) {
        case 0x1001: return "no card";
        case 0x1002: return "no such slot";
        case kUnpowered: return "a card, not powered";
        case kPowered: return "a card, powered";
        default: return "";
    }
}

int status_action(std::int32_t icdev, const Options& o) {
    uint16_t state = 0;
    const int16_t status = sam_slt_getstate(icdev, o.slot, &state);
    if (status != VNR_OK) return report_failure("the slot's state", status);
    const std::string words = state_words(state);
    if (o.json) std::printf("{\"slot\": %u, \"state\": %u, \"words\": %s}\n", o.slot, state, json_text(words).c_str());
    else std::printf("slot %u: state 0x%04X%s%s\n", o.slot, state, words.empty() ? "" : ", ", words.c_str());
    return 0;
}

int atr_action(std::int32_t icdev, const Options& o) {
    const auto atr = power_up(icdev, o.slot);
    if (!atr) return 1;
    if (o.json) std::printf("{\"slot\": %u, \"atr\": \"%s\"}\n", o.slot, to_hex(*atr).c_str());
    else std::printf("ATR: %s\n", to_hex(*atr, " ").c_str());
    return 0;
}

// One APDU and its answer, as they went.
struct Exchange {
    std::vector<std::uint8_t> command, data, sw;
};

// Sends `apdu` and appends the exchange; false after printing why the library failed.
bool send_apdu(std::int32_t icdev, std::uint8_t slot, const std::vector<std::uint8_t>& apdu, std::vector<Exchange>& log) {
    uint32_t length = 0;
    std::vector<std::uint8_t> answer(kAnswerRoom);
    const int16_t sent = card_APDU(icdev, slot, static_cast<int32_t>(apdu.size()), apdu.data(), &length, answer.data());
    if (sent != VNR_OK) return report_failure(("APDU " + to_hex(apdu)).c_str(), sent), false;
    answer.resize(length);
    // The card's status word closes its answer.
    const std::size_t data = answer.size() >= 2 ? answer.size() - 2 : answer.size();
    log.push_back({apdu, {answer.begin(), answer.begin() + static_cast<std::ptrdiff_t>(data)},
                   {answer.begin() + static_cast<std::ptrdiff_t>(data), answer.end()}});
    return true;
}

// Sends `apdu`, then as a terminal does: 61xx, GET RESPONSE for the xx bytes held back; 6Cxx, the
// command again with Le xx. Every exchange is kept, so the output shows what went to the card.
bool send_following(std::int32_t icdev, std::uint8_t slot, std::vector<std::uint8_t> apdu, std::vector<Exchange>& log) {
    for (int round = 0; round <= kMostFollowUps; ++round) {
        if (!send_apdu(icdev, slot, apdu, log)) return false;
        const std::vector<std::uint8_t>& sw = log.back().sw;
        if (sw.size() != 2 || (sw[0] != kMoreData && sw[0] != kWrongLe)) return true;
        if (sw[0] == kMoreData) apdu = {static_cast<std::uint8_t>(apdu[0] & 0x03), 0xC0, 0x00, 0x00, sw[1]};
        else if (apdu.size() >= 5) apdu.back() = sw[1];  // the Le is the last byte of a short APDU
        else return true;
    }
    return true;
}

int apdu_action(std::int32_t icdev, const Options& o) {
    uint16_t state = 0;
    const int16_t status = sam_slt_getstate(icdev, o.slot, &state);
    if (status != VNR_OK) return report_failure("the slot's state", status);
    if (state != kUnpowered && state != kPowered) {
        const std::string words = state_words(state);
        std::fprintf(stderr, "vnr: slot %u holds no card to talk to: state 0x%04X%s%s\n", o.slot, state,
                     words.empty() ? "" : ", ", words.c_str());
        return 1;
    }
    std::optional<std::vector<std::uint8_t>> atr;
    if (state == kUnpowered) {
        atr = power_up(icdev, o.slot);
        if (!atr) return 1;
        if (!o.json) std::printf("ATR: %s\n", to_hex(*atr, " ").c_str());
    }
    std::vector<Exchange> log;
    for (const auto& apdu : o.apdus) {
        const std::size_t from = log.size();
        const bool sent = send_following(icdev, o.slot, apdu, log);
        for (std::size_t i = from; i < log.size() && !o.json; ++i) {
            const std::string body = to_hex(log[i].data, " ");
            std::printf("> %s\n< %s%sSW %s\n", to_hex(log[i].command, " ").c_str(), body.c_str(), body.empty() ? "" : "  ",
                        to_hex(log[i].sw).c_str());
        }
        if (!sent) return 1;
    }
    if (o.json) {
        std::string exchanges;
        for (const Exchange& e : log)
            exchanges += (exchanges.empty() ? "" : ", ") + std::string("{\"command\": \"") + to_hex(e.command) +
                         "\", \"data\": \"" + to_hex(e.data) + "\", \"sw\": \"" + to_hex(e.sw) + "\"}";
        std::printf("{\"slot\": %u, \"atr\": %s, \"exchanges\": [%s]}\n", o.slot,
                    atr ? ("\"" + to_hex(*atr) + "\"").c_str() : "null", exchanges.c_str());
    }
    return 0;
}

// A refused transfer: the bounds are the only argument the library checks there.
int transfer_failure(const char* what, int16_t status) {
    if (status != VNR_E_BAD_ARGUMENT) return report_failure(what, status);
    std::fprintf(stderr, "vnr: %s: the range runs past the size the card reported, or its size code is not one the library takes (%d)\n", what, status);
    return 1;
}

int memory_action(std::int32_t icdev, const Options& o) {
    const bool reading = o.action == "read";
    uint8_t type = 0;
    const int16_t identified = contact_identifytype(icdev, o.slot, &type);
    if (identified != VNR_OK) return report_failure("identifying the memory card", identified);
    if (!o.password.empty()) {
        const int16_t status = contact_passwordcheck(icdev, o.slot, static_cast<int32_t>(o.password.size()), o.password.data());
        if (status != VNR_OK) return report_failure("presenting the password", status);
    }
    const uint16_t at = o.addr;
    if (!reading) {
        const int16_t status = contact_write(icdev, o.slot, at, o.len, o.data.data());
        if (status != VNR_OK) return transfer_failure("writing the card", status);
        if (o.json) std::printf("{\"slot\": %u, \"type\": %u, \"address\": %u, \"written\": %zu}\n", o.slot, type, at, o.data.size());
        else std::printf("card type %u: wrote %zu bytes at 0x%04X\n", type, o.data.size(), at);
        return 0;
    }
    std::vector<std::uint8_t> bytes(o.len);
    const int16_t status = contact_read(icdev, o.slot, at, static_cast<uint16_t>(bytes.size()), bytes.data());
    if (status != VNR_OK) return transfer_failure("reading the card", status);
    if (o.json) {
        std::printf("{\"slot\": %u, \"type\": %u, \"address\": %u, \"data\": \"%s\"}\n", o.slot, type, at, to_hex(bytes).c_str());
        return 0;
    }
    std::printf("card type %u\n", type);
    for (std::size_t i = 0; i < bytes.size(); i += kDumpWidth)
        std::printf("%04zX  %s\n", at + i, to_hex(std::span(bytes).subspan(i, std::min(kDumpWidth, bytes.size() - i)), " ").c_str());
    return 0;
}

}  // namespace

int contact_command(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) return 2;
    const OpenReader reader(options.open);
    if (!reader) return 1;
    if (options.action == "status") return status_action(reader.handle(), options);
    if (options.action == "atr") return atr_action(reader.handle(), options);
    if (options.action == "apdu") return apdu_action(reader.handle(), options);
    return memory_action(reader.handle(), options);
}

}  // namespace vnr::tool
