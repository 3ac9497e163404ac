// tools/card_kind_command.cpp: the command-line tool. vnr card-kind [--json]: what kind of card the reader
// finds (Get_CardType): a contact CPU card, a contactless CPU card, an identity card or a swiped stripe.
#include "verb_args.h"
#include "verbs.h"
#include "vnr_32.h"

#include <array>
#include <string>

namespace vnr::tool {

namespace {
constexpr std::size_t kAtrRoom = 255;
constexpr std::size_t kRecordSize = 771;
}  // namespace

int card_kind_command(int argc, char** argv) {
    const auto args = parse_verb_args(argc, argv, {}, {"--json"});
    if (!args) return 2;
    if (!args->words.empty()) return usage_error("card-kind takes only --json");
    const OpenReader reader(args->open);
    if (!reader) return 1;
    uint32_t contactless = 0, contact = 0, identity = 0, magnetic = 0;
    uint8_t atr_length = 0;
    std::array<uint8_t, kAtrRoom> atr{};
    std::array<uint8_t, kRecordSize> tracks{};
    const int16_t status = Get_CardType(reader.handle(), &contactless, &contact, &atr_length, atr.data(), &identity,
                                        &magnetic, tracks.data());
    if (status != VNR_OK) return report_failure("no card found (the stripe read said)", status);
    const char* kind = contact != 0       ? "contact CPU card"
                       : contactless != 0 ? "contactless CPU card"
                       : identity != 0    ? "identity card"
                                          : "magnetic stripe";
    const std::string answer = to_hex(std::span(atr.data(), atr_length), " ");
    if (args->has("--json")) {
        std::printf("{\"kind\": %s, \"answer\": %s}\n", json_text(kind).c_str(), json_text(answer).c_str());
    } else {
        std::printf("kind:   %s\n", kind);
        if (atr_length > 0) std::printf("%s %s\n", contact != 0 ? "ATR:   " : "ATS:   ", answer.c_str());
    }
    return 0;
}

}  // namespace vnr::tool
