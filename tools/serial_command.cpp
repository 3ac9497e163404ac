// tools/serial_command.cpp: the command-line tool. vnr serial [--length N] [--write HEX]: reads the
// reader's product serial number (device_readsnr, N bytes, 20 by default) and prints it in hexadecimal,
// or writes one of 1 to 20 bytes (dev_writesnr, zero-filled to 20).
#include "verb_args.h"
#include "verbs.h"
#include "vnr_32.h"

#include <vector>

namespace vnr::tool {

int serial_command(int argc, char** argv) {
    const auto args = parse_verb_args(argc, argv, {"--length", "--write"}, {});
    if (!args) return 2;
    if (!args->words.empty()) return usage_error("serial takes only --length N or --write HEX");
    if (const std::string* hex = args->value("--write")) {
        const auto bytes = parse_hex(*hex);
        if (!bytes || bytes->empty() || bytes->size() > 20) return usage_error("--write takes 1 to 20 bytes in hexadecimal");
        const OpenReader reader(args->open);
        if (!reader) return 1;
        const int16_t status = dev_writesnr(reader.handle(), static_cast<uint8_t>(bytes->size()), bytes->data());
        return status == VNR_OK ? 0 : report_failure("dev_writesnr", status);
    }
    const std::string* length_text = args->value("--length");
    const auto length = length_text != nullptr ? number_arg("--length", *length_text, 1, 255) : 20;
    if (!length) return 2;
    const OpenReader reader(args->open);
    if (!reader) return 1;
    std::vector<uint8_t> serial(static_cast<std::size_t>(*length));
    const int16_t status = device_readsnr(reader.handle(), static_cast<uint8_t>(*length), serial.data());
    if (status != VNR_OK) return report_failure("device_readsnr", status);
    std::printf("%s\n", to_hex(serial, " ").c_str());
    return 0;
}

}  // namespace vnr::tool
