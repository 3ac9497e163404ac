// tools/info_command.cpp: the command-line tool. vnr info: open the reader, print the version texts of the
// reader and of its contactless module, and close it.
#include "cli.h"
#include "verbs.h"
#include "vnr_32.h"

#include <cstdio>
#include <string>

namespace vnr::tool {

namespace {
constexpr std::size_t kVersionSize = 100;  // the room device_version fills
}  // namespace

int info_command(int argc, char** argv) {
    OpenOptions options;
    for (int i = 0; i < argc; ++i) {
        const int taken = take_open_option(argc, argv, i, options);
        if (taken < 0) return 2;
        if (taken == 0) {
            std::fprintf(stderr, "vnr: unknown option '%s'\n", argv[i]);
            return 2;
        }
    }
    const OpenReader reader(options);
    if (!reader) return 1;
    int failures = 0;
    static const char* const kModules[] = {"reader", "contactless module"};
    for (uint8_t module = 0; module < 2; ++module) {
        uint8_t length = 0;
        uint8_t text[kVersionSize] = {};
        const int16_t status = device_version(reader.handle(), module, &length, text);
        if (status != VNR_OK) {
            failures += report_failure((std::string("version of the ") + kModules[module]).c_str(), status);
            continue;
        }
        const std::string version(reinterpret_cast<const char*>(text), length);
        std::printf("%-19s %s\n", (std::string(kModules[module]) + ":").c_str(), to_utf8(version).c_str());
    }
    uint8_t kind = 0xFF;
    device_gettype(&kind);
    std::printf("%-19s %s (handle %d)\n", "link:", kind == 1 ? "USB HID" : "serial", static_cast<int>(reader.handle()));
    return failures == 0 ? 0 : 1;
}

}  // namespace vnr::tool
