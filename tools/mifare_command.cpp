// tools/mifare_command.cpp: the command-line tool. vnr mifare dump: activate a Mifare-class 1K card and
// read its 16 sectors of 4 blocks, each sector opened with the first of the given keys that the card
// takes; a block that cannot be read is shown as such.
#include "cli.h"
#include "verbs.h"
#include "vnr_32.h"

#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vnr::tool {

namespace {

constexpr int kSectors = 16, kBlocksPerSector = 4;
constexpr std::uint16_t kActivationWaitMs = 100;
constexpr std::size_t kKeySize = 6, kBlockSize = 16;
constexpr std::uint8_t kKeyA = 0, kKeyB = 1;  // the reader's choice of key in rf_authentication
using Key = std::array<std::uint8_t, kKeySize>;
constexpr Key kDeliveredKey{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

struct Sector {
    std::optional<Key> key;                                   // the key that opened it
    std::array<std::optional<std::string>, kBlocksPerSector> blocks;  // hexadecimal; none: not read
    std::array<std::int16_t, kBlocksPerSector> statuses{};
};

Sector read_sector(std::int32_t handle, int sector, const std::vector<Key>& keys, std::uint8_t mode) {
    Sector out;
    std::uint8_t type = 0, serial[4] = {};
    for (const Key& key : keys) {
        if (rf_authentication(handle, mode, static_cast<std::uint8_t>(sector), key.data()) == VNR_OK) {
            out.key = key;
            break;
        }
        // A card that refused a key has left the active state: wake it for the next try.
        rf_card(handle, kActivationWaitMs, &type, serial);
    }
    for (int i = 0; i < kBlocksPerSector && out.key; ++i) {
        std::uint8_t data[kBlockSize] = {};
        out.statuses[i] = rf_read(handle, static_cast<std::uint8_t>(sector * kBlocksPerSector + i), data);
        if (out.statuses[i] == VNR_OK) out.blocks[i] = to_hex(data);
    }
    return out;
}

void print(const std::vector<Sector>& sectors, std::uint8_t type, const std::uint8_t* serial, bool key_b, bool json) {
    const std::string serial_hex = to_hex({serial, 4});
    if (json) {
        std::printf("{\"card_type\": \"%s\", \"uid\": \"%s\", \"key_type\": \"%s\", \"sectors\": [",
                    to_hex({&type, 1}).c_str(), serial_hex.c_str(), key_b ? "B" : "A");
        for (std::size_t s = 0; s < sectors.size(); ++s) {
            const Sector& sector = sectors[s];
            std::printf("%s{\"sector\": %zu, \"key\": %s, \"blocks\": [", s ? ", " : "", s,
                        sector.key ? json_text(to_hex(*sector.key)).c_str() : "null");
            for (int i = 0; i < kBlocksPerSector; ++i)
                std::printf("%s%s", i ? ", " : "", sector.blocks[i] ? json_text(*sector.blocks[i]).c_str() : "null");
            std::printf("]}");
        }
        std::printf("]}\n");
        return;
    }
    std::printf("card: Mifare-class, type %s, serial %s\n", to_hex({&type, 1}).c_str(), serial_hex.c_str());
    for (std::size_t s = 0; s < sectors.size(); ++s) {
        const Sector& sector = sectors[s];
        const std::size_t first = s * kBlocksPerSector;
        if (!sector.key) {
            std::printf("sector %2zu  no key opened it: blocks %zu to %zu not read\n", s, first, first + kBlocksPerSector - 1);
            continue;
        }
        std::printf("sector %2zu  key %c %s\n", s, key_b ? 'B' : 'A', to_hex(*sector.key).c_str());
        for (int i = 0; i < kBlocksPerSector; ++i) {
            const std::size_t block = first + static_cast<std::size_t>(i);
            if (sector.blocks[i]) std::printf("  block %2zu  %s\n", block, sector.blocks[i]->c_str());
            else std::printf("  block %2zu  cannot be read: %s\n", block, explain_status(sector.statuses[i]).c_str());
        }
    }
}

}  // namespace

int mifare_command(int argc, char** argv) {
    static const char* const kUsage = "usage: vnr mifare dump [--key HEX]... [--key-b] [--json]\n";
    if (argc < 1 || std::string_view(argv[0]) != "dump") {
        std::fputs(kUsage, stderr);
        return 2;
    }
    OpenOptions open;
    std::vector<Key> keys;
    bool key_b = false, json = false;
    for (int i = 1; i < argc; ++i) {
        const int taken = take_open_option(argc, argv, i, open);
        if (taken < 0) return 2;
        if (taken > 0) continue;
        const std::string_view arg = argv[i];
        if (arg == "--json") {
            json = true;
        } else if (arg == "--key-b") {
            key_b = true;
        } else if (arg == "--key" && i + 1 < argc) {
            const auto bytes = parse_hex(argv[++i]);
            if (!bytes || bytes->size() != kKeySize) {
                std::fprintf(stderr, "vnr: --key takes 6 bytes in hexadecimal, not '%s'\n", argv[i]);
                return 2;
            }
            keys.push_back({});
            std::copy(bytes->begin(), bytes->end(), keys.back().begin());
        } else {
            std::fprintf(stderr, "vnr: unknown option '%s'\n%s", argv[i], kUsage);
            return 2;
        }
    }
    if (keys.empty()) keys.push_back(kDeliveredKey);
    const OpenReader reader(open);
    if (!reader) return 1;
    const std::int32_t handle = reader.handle();
    if (const std::int16_t status = open_rf(handle); status != VNR_OK) return report_failure("switching the RF field on", status);
    std::uint8_t type = 0, serial[4] = {};
    if (const std::int16_t status = rf_card(handle, kActivationWaitMs, &type, serial); status != VNR_OK) {
        close_rf(handle);
        return report_failure("activating a Mifare-class card", status);
    }
    std::vector<Sector> sectors;
    for (int s = 0; s < kSectors; ++s) sectors.push_back(read_sector(handle, s, keys, key_b ? kKeyB : kKeyA));
    print(sectors, type, serial, key_b, json);
    rf_halt(handle, 0);
    close_rf(handle);
    return 0;
}

}  // namespace vnr::tool
