// tools/stripe_command.cpp: the command-line tool. vnr stripe [--wait S] [--json]: waits up to S seconds
// (10 by default) for a card to be swiped (magnetic_read) and prints its three tracks, without their
// sentinels; --json prints one object {"track1": ..., "track2": ..., "track3": ...}.
#include "verb_args.h"
#include "verbs.h"
#include "vnr_32.h"

#include <array>
#include <string>

namespace vnr::tool {

namespace {
constexpr std::size_t kRecordSize = 771;  // three lengths, then 256 bytes a track
constexpr std::size_t kTrackRoom = 256;
}  // namespace

int stripe_command(int argc, char** argv) {
    const auto args = parse_verb_args(argc, argv, {"--wait"}, {"--json"});
    if (!args) return 2;
    if (!args->words.empty()) return usage_error("stripe takes only --wait S and --json");
    const std::string* wait_text = args->value("--wait");
    const auto wait = wait_text != nullptr ? number_arg("--wait", *wait_text, 0, 255) : 10;
    if (!wait) return 2;
    const OpenReader reader(args->open);
    if (!reader) return 1;
    std::array<uint8_t, kRecordSize> record{};
    const int16_t status = magnetic_read(reader.handle(), static_cast<uint8_t>(*wait), record.data());
    if (status != VNR_OK) return report_failure("magnetic_read (no card swiped?)", status);
    const bool json = args->has("--json");
    if (json) std::printf("{");
    for (std::size_t i = 0; i < 3; ++i) {
        const std::string track(reinterpret_cast<const char*>(record.data()) + 3 + i * kTrackRoom, record[i]);
        if (json) std::printf("%s\"track%zu\": %s", i > 0 ? ", " : "", i + 1, json_text(to_utf8(track)).c_str());
        else std::printf("track %zu: %s\n", i + 1, to_utf8(track).c_str());
    }
    if (json) std::printf("}\n");
    return 0;
}

}  // namespace vnr::tool
