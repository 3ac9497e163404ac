// tools/beep_command.cpp: the command-line tool. vnr beep [FIRST [SECOND]]: sounds the reader's beeper
// (device_beep); the two values go to the reader as they are, which gives them their meaning.
#include "verb_args.h"
#include "verbs.h"
#include "vnr_32.h"

namespace vnr::tool {

int beep_command(int argc, char** argv) {
    const auto args = parse_verb_args(argc, argv, {}, {});
    if (!args) return 2;
    if (args->words.size() > 2) return usage_error("beep takes at most FIRST and SECOND");
    constexpr long long kFirst = 10, kSecond = 1;
    const auto first = args->words.size() > 0 ? number_arg("FIRST", args->words[0], 0, 0xFFFF) : kFirst;
    const auto second = args->words.size() > 1 ? number_arg("SECOND", args->words[1], 0, 0xFF) : kSecond;
    if (!first || !second) return 2;
    const OpenReader reader(args->open);
    if (!reader) return 1;
    const int16_t status = device_beep(reader.handle(), static_cast<uint16_t>(*first), static_cast<uint8_t>(*second));
    return status == VNR_OK ? 0 : report_failure("device_beep", status);
}

}  // namespace vnr::tool
