// tools/vnr.cpp: the vnr command-line tool. Works a reader through the library's exported functions
// only, as any application would, and prints in UTF-8.
//
//   vnr info [--port USB|COMn] [--baud N]   open the reader, print its version texts, close it
//   vnr list [--all]                         the USB HID readers found (path, ids, report length)
#include "platform/hid_device.h"
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

constexpr std::size_t kVersionSize = 100;
constexpr int32_t kDefaultBaud = 115200;

void usage(std::FILE* out) {
    std::fputs(
        "usage: vnr info [--port USB|COMn] [--baud N]\n"
        "       vnr list [--all]\n"
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
        "On Linux, COMn is $VNR32_PREFIX/dosdevices/comn when that exists (VNR32_PREFIX defaults to\n"
        "$HOME/.vnr32), else /dev/ttyS(n-1).\n",
        out);
}

struct Options {
    std::string port;  // empty: device_open's own search
    int com = 0;       // with a COMn port: n
    int32_t baud = kDefaultBaud;
};

// Checks --port: "USB" (any case, anything behind it, as the library takes it) or COM1 to COM32.
bool parse_port(Options& options) {
    const std::string prefix = options.port.substr(0, 3);
    if (prefix == "COM" || prefix == "com") {
        char* end = nullptr;
        const long number = std::strtol(options.port.c_str() + 3, &end, 10);
        if (options.port.size() == 3 || *end != '\0' || number < 1 || number > 32) {
            std::fprintf(stderr, "vnr: %s is not a port from COM1 to COM32\n", options.port.c_str());
            return false;
        }
        options.com = static_cast<int>(number);
        return true;
    }
    if (prefix != "USB" && prefix != "usb") {
        std::fprintf(stderr, "vnr: --port takes USB or COM1 to COM32, not '%s'\n", options.port.c_str());
        return false;
    }
    return true;
}

// Parses the options behind the verb; prints the problem and returns false on a mistake.
bool parse(int argc, char** argv, Options& options) {
    for (int i = 2; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if ((arg == "--port" || arg == "--baud") && i + 1 >= argc) {
            std::fprintf(stderr, "vnr: %s needs a value\n", argv[i]);
            return false;
        }
        if (arg == "--port") {
            options.port = argv[++i];
            if (!parse_port(options)) return false;
        } else if (arg == "--baud") {
            char* end = nullptr;
            const long baud = std::strtol(argv[++i], &end, 10);
            if (end == argv[i] || *end != '\0' || baud <= 0 || baud > 0x7FFFFFFF) {
                std::fprintf(stderr, "vnr: --baud takes a number, not '%s'\n", argv[i]);
                return false;
            }
            options.baud = static_cast<int32_t>(baud);
        } else {
            std::fprintf(stderr, "vnr: unknown option '%s'\n", argv[i]);
            return false;
        }
    }
    return true;
}

// Opens as the options say. Returns the handle or the failure result (0 or a negative code).
int32_t open_reader(const Options& options) {
    if (options.port.empty()) return device_open(0, options.baud);
    if (options.com > 0) return device_open_name("COM", static_cast<int16_t>(options.com - 1), options.baud);
    return device_open_name(options.port.c_str(), 0, options.baud);
}

// Why an open that gave 0 found no reader, in the terms of the road it took.
const char* nothing_found(const Options& options) {
    if (options.com > 0) return "the port opened, but no reader answered on it";
    if (!options.port.empty()) return "no USB reader answered";
    return "no USB reader answered, and COM1 opened but no reader answered on it";
}

int info(const Options& options) {
    const int32_t handle = open_reader(options);
    if (handle <= 1) {
        if (handle == 0)
            std::fprintf(stderr, "vnr: no reader (0): %s\n", nothing_found(options));
        else
            std::fprintf(stderr, "vnr: cannot open the reader: %s\n", vnr::tool::explain_status(handle).c_str());
        return 1;
    }
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
    Options options;
    if (std::strcmp(argv[1], "info") != 0) {
        std::fprintf(stderr, "vnr: unknown command '%s'\n\n", argv[1]);
        usage(stderr);
        return 2;
    }
    if (!parse(argc, argv, options)) return 2;
    return info(options);
}
