// tools/vnr.cpp: the vnr command-line tool. Works a reader through the library's exported functions
// only, as any application would, and prints in UTF-8.
//
//   vnr info [--port USB|COMn] [--baud N]   open the reader, print its version texts, close it
//   vnr list [--all]                         the USB HID readers found (path, ids, report length)
//   vnr idcard [...]                         read an identity card and print its fields
//   vnr wlt encode|decode ...                pack a portrait into the card's photo format, or decode one
#include "platform/hid_device.h"
#include "idcard_command.h"
#include "open_options.h"
#include "platform/text.h"
#include "status_text.h"
#include "utf8_output.h"
#include "vnr_32.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

using vnr::tool::OpenOptions;

constexpr std::size_t kVersionSize = 100;

void usage(std::FILE* out) {
    std::fputs(
        "usage: vnr info [--port USB|COMn] [--baud N]\n"
        "       vnr list [--all]\n"
        "       vnr idcard [--photo FILE.bmp] [--image FILE.bmp] [--json] [--fingerprint] [--wait SECONDS]\n"
        "                  [--port ...] [--baud N]\n"
        "       vnr image OUT.bmp [--face both|front|back] [--photo FILE.bmp] [--fields CARD.json] [--name T] ...\n"
        "       vnr wlt encode PORTRAIT.bmp OUT.wlt\n"
        "       vnr wlt decode IN.wlt\n"
        "\n"
        "  info     open the reader, print the version of the reader and of its contactless\n"
        "           module, and close it\n"
        "\n"
        "  --port   USB searches USB readers only; COMn opens serial port n (1 to 32).\n"
        "           Without it, USB is searched first and then COM1.\n"
        "  --baud   serial rate: 9600, 19200, 38400, 57600 or 115200 (default 115200)\n"
        "\n"
        "  list     the USB HID readers found: path, vendor and product ids, feature report length;\n"
        "           --all lists every HID interface\n"
        "\n"
        "  idcard   wait for an identity card (resident or foreign permanent resident), read it and\n"
        "           print its fields; Ctrl-C stops the wait\n"
        "           --photo        save the card's photo as this bitmap (default: not kept)\n"
        "           --image        draw the card, both sides on one sheet, as this bitmap\n"
        "           --json         print the fields as one JSON object\n"
        "           --fingerprint  read the fingerprint data too\n"
        "           --wait         give up after this many seconds (default: wait until a card comes)\n"
        "\n"
        "  image    draw a card picture from fields: --name, --sex, --nation, --birthday, --address,\n"
        "           --id-number, --department, --valid-from, --valid-to, or a JSON file of them (the keys\n"
        "           of vnr idcard --json, whose \"photo\" is used when --photo is not given)\n"
        "\n"
        "  wlt      encode: pack a portrait bitmap (scaled to 102x126) into at most 1024 bytes of the\n"
        "           card's photo format; decode: turn a .wlt file into the .bmp beside it through the\n"
        "           library and its photo decoder\n"
        "\n"
        "On Linux, COMn is $VNR32_PREFIX/dosdevices/comn when that exists (VNR32_PREFIX defaults to\n"
        "$HOME/.vnr32), else /dev/ttyS(n-1).\n",
        out);
}

// Parses the options behind the verb; prints the problem and returns false on a mistake.
bool parse(int argc, char** argv, OpenOptions& options) {
    for (int i = 2; i < argc; ++i) {
        const int taken = vnr::tool::take_open_option(argc, argv, i, options);
        if (taken < 0) return false;
        if (taken == 0) {
            std::fprintf(stderr, "vnr: unknown option '%s'\n", argv[i]);
            return false;
        }
    }
    return true;
}

int info(const OpenOptions& options) {
    const int32_t handle = vnr::tool::open_reader(options);
    if (handle <= 1) return 1;
    int failures = 0;
    static const char* const kModules[] = {"reader", "contactless module"};
    for (uint8_t module = 0; module < 2; ++module) {
        uint8_t length = 0;
        uint8_t text[kVersionSize] = {};
        const int16_t status = device_version(handle, module, &length, text);
        if (status != VNR_OK) {
            std::fprintf(stderr, "vnr: version of the %s: %s\n", kModules[module], vnr::tool::explain_status(status).c_str());
            ++failures;
            continue;
        }
        const std::string version(reinterpret_cast<const char*>(text), length);
        std::string printable;
        if (!vnr::platform::gbk_to_utf8(version, printable)) printable = version;
        std::printf("%-19s %s\n", (std::string(kModules[module]) + ":").c_str(), printable.c_str());
    }
    uint8_t kind = 0xFF;
    device_gettype(&kind);
    std::printf("%-19s %s (handle %d)\n", "link:", kind == 1 ? "USB HID" : "serial", static_cast<int>(handle));
    if (const int16_t status = device_close(handle); status != VNR_OK) {
        std::fprintf(stderr, "vnr: closing the reader: %s\n", vnr::tool::explain_status(status).c_str());
        ++failures;
    }
    return failures == 0 ? 0 : 1;
}

// The reader family's USB ids.
constexpr uint16_t kReaderVendor = 0x23A4;
bool is_reader(uint16_t vendor, uint16_t product) {
    return vendor == kReaderVendor && (product == 0x0213 || product == 0x0219);
}

int list(bool all) {
    int readers = 0;
    std::string path;
    // The library looks at interfaces 0 to 63; so does the listing.
    for (unsigned index = 0; index < 64 && vnr::platform::hid_interface_path(index, path); ++index) {
        const std::unique_ptr<vnr::platform::HidDevice> device = vnr::platform::open_hid_path(path);
        if (!device) {
            if (all) std::printf("%-24s (cannot be opened: in use, or no access)\n", path.c_str());
            continue;
        }
        const bool reader = is_reader(device->vendor_id(), device->product_id());
        if (!reader && !all) continue;
        readers += reader ? 1 : 0;
        std::printf("%-24s %04x:%04x  feature report %3zu bytes%s\n", path.c_str(), device->vendor_id(),
                    device->product_id(), device->feature_report_length(), reader ? "  reader" : "");
    }
    if (readers == 0) std::printf("no USB reader found\n");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    vnr::tool::use_utf8_output();
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        usage(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    if (std::strcmp(argv[1], "list") == 0) {
        const bool all = argc == 3 && std::strcmp(argv[2], "--all") == 0;
        if (argc > 3 || (argc == 3 && !all)) {
            std::fprintf(stderr, "vnr: list takes only --all\n");
            return 2;
        }
        return list(all);
    }
    if (std::strcmp(argv[1], "idcard") == 0) return vnr::tool::idcard_command(argc - 2, argv + 2);
    if (std::strcmp(argv[1], "wlt") == 0) return vnr::tool::wlt_command(argc - 2, argv + 2);
    if (std::strcmp(argv[1], "image") == 0) return vnr::tool::image_command(argc - 2, argv + 2);
    OpenOptions options;
    if (std::strcmp(argv[1], "info") != 0) {
        std::fprintf(stderr, "vnr: unknown command '%s'\n\n", argv[1]);
        usage(stderr);
        return 2;
    }
    if (!parse(argc, argv, options)) return 2;
    return info(options);
}
