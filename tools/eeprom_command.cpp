// tools/eeprom_command.cpp: the command-line tool. vnr eeprom read ADDR LEN | eeprom write ADDR HEX: the
// reader's 200-byte user EEPROM by byte address (dev_readeeprom, dev_writeeeprom), in hexadecimal.
#include "verb_args.h"
#include "verbs.h"
#include "vnr_32.h"

#include <string>
#include <vector>

namespace vnr::tool {

namespace {
constexpr long long kEepromSize = 200;
}  // namespace

int eeprom_command(int argc, char** argv) {
    const auto args = parse_verb_args(argc, argv, {}, {});
    if (!args) return 2;
    const std::vector<std::string>& w = args->words;
    if (w.size() != 3 || (w[0] != "read" && w[0] != "write")) return usage_error("eeprom takes read ADDR LEN or write ADDR HEX");
    const auto address = number_arg("ADDR", w[1], 0, kEepromSize - 1);
    if (!address) return 2;
    if (w[0] == "read") {
        const auto length = number_arg("LEN", w[2], 1, kEepromSize - *address);
        if (!length) return 2;
        const OpenReader reader(args->open);
        if (!reader) return 1;
        std::vector<uint8_t> data(static_cast<std::size_t>(*length));
        const int16_t status = dev_readeeprom(reader.handle(), static_cast<uint16_t>(*address), static_cast<uint16_t>(*length), data.data());
        if (status != VNR_OK) return report_failure("dev_readeeprom", status);
        std::printf("%s\n", to_hex(data, " ").c_str());
        return 0;
    }
    const auto bytes = parse_hex(w[2]);
    if (!bytes || bytes->empty() || static_cast<long long>(bytes->size()) > kEepromSize - *address)
        return usage_error("write takes 1 to 200 bytes in hexadecimal that end by byte 199");
    const OpenReader reader(args->open);
    if (!reader) return 1;
    const int16_t status =
        dev_writeeeprom(reader.handle(), static_cast<uint16_t>(*address), static_cast<uint16_t>(bytes->size()), bytes->data());
    return status == VNR_OK ? 0 : report_failure("dev_writeeeprom", status);
}

}  // namespace vnr::tool
