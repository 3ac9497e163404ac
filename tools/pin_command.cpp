// tools/pin_command.cpp: the command-line tool. vnr pin [--encrypted --key N [--block HEX]] [--length L]
// [--timeout S]: sets the PIN pad's PIN length (6 by default) and entry time-out (30 s by default), asks
// for a PIN and prints it: as the pad gives it, or with --encrypted the pad's cipher text under user key
// N, with the six bytes of --block (000000000000 by default), in hexadecimal.
#include "verb_args.h"
#include "verbs.h"
#include "vnr_32.h"

#include <array>
#include <string>

namespace vnr::tool {

int pin_command(int argc, char** argv) {
    const auto args = parse_verb_args(argc, argv, {"--key", "--block", "--length", "--timeout"}, {"--encrypted"});
    if (!args) return 2;
    const bool encrypted = args->has("--encrypted");
    if (!args->words.empty() || encrypted != (args->value("--key") != nullptr))
        return usage_error("pin takes --length L, --timeout S, and --encrypted with --key N");
    const std::string* length_text = args->value("--length");
    const std::string* timeout_text = args->value("--timeout");
    const std::string* block_text = args->value("--block");
    const auto length = length_text != nullptr ? number_arg("--length", *length_text, 1, 16) : 6;
    const auto timeout = timeout_text != nullptr ? number_arg("--timeout", *timeout_text, 6, 255) : 30;
    const auto key = encrypted ? number_arg("--key", *args->value("--key"), 0, 255) : 0;
    const std::string block = block_text != nullptr ? *block_text : "000000000000";
    if (!length || !timeout || !key) return 2;
    if (block.size() != 12 || !parse_hex(block)) return usage_error("--block takes 12 hexadecimal digits");
    const OpenReader reader(args->open);
    if (!reader) return 1;
    const int32_t h = reader.handle();
    if (const int16_t status = mw_kb_settimeout(h, static_cast<int32_t>(*timeout)); status != VNR_OK)
        return report_failure("mw_kb_settimeout", status);
    if (const int16_t status = mw_kb_setpasslen(h, static_cast<int32_t>(*length)); status != VNR_OK)
        return report_failure("mw_kb_setpasslen", status);
    std::fprintf(stderr, "vnr: enter the PIN on the pad (%lld s)\n", *timeout);
    if (encrypted) {
        std::array<char, 35> pin{};
        mw_kb_activekey(h, 0, static_cast<int32_t>(*key));
        const int16_t status = mw_kb_getenpin(h, 1, block.c_str(), pin.data());
        if (status != VNR_OK) return report_failure("mw_kb_getenpin", status);
        std::printf("%s\n", pin.data());
        return 0;
    }
    std::array<uint8_t, 51> pin{};  // the 50 bytes a PIN may take, and a terminator
    const int16_t status = mw_kb_getpin(h, 1, pin.data());
    if (status != VNR_OK) return report_failure("mw_kb_getpin", status);
    std::printf("%s\n", reinterpret_cast<const char*>(pin.data()));
    return 0;
}

}  // namespace vnr::tool
