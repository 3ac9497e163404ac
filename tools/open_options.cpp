// tools/open_options.cpp: the command-line tool. --port and --baud, and opening the reader with them.
#include "open_options.h"

#include "status_text.h"
#include "vnr_32.h"

#include <cstdio>
#include <cstdlib>

namespace vnr::tool {

namespace {

// Checks --port: "USB" (any case, anything behind it, as the library takes it) or COM1 to COM32.
bool parse_port(OpenOptions& options) {
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

// Why an open that gave 0 found no reader, in the terms of the road it took.
const char* nothing_found(const OpenOptions& options) {
    if (options.com > 0) return "the port opened, but no reader answered on it";
    if (!options.port.empty()) return "no USB reader answered";
    return "no USB reader answered, and COM1 opened but no reader answered on it";
}

}  // namespace

int take_open_option(int argc, char** argv, int& i, OpenOptions& options) {
    const std::string_view arg = argv[i];
    if (arg != "--port" && arg != "--baud") return 0;
    if (i + 1 >= argc) {
        std::fprintf(stderr, "vnr: %s needs a value\n", argv[i]);
        return -1;
    }
    if (arg == "--port") {
        options.port = argv[++i];
        return parse_port(options) ? 1 : -1;
    }
    char* end = nullptr;
    const long baud = std::strtol(argv[++i], &end, 10);
    if (end == argv[i] || *end != '\0' || baud <= 0 || baud > 0x7FFFFFFF) {
        std::fprintf(stderr, "vnr: --baud takes a number, not '%s'\n", argv[i]);
        return -1;
    }
    options.baud = static_cast<std::int32_t>(baud);
    return 1;
}

std::int32_t open_reader(const OpenOptions& options) {
    std::int32_t handle = 0;
    if (options.port.empty()) {
        handle = device_open(0, options.baud);
    } else if (options.com > 0) {
        handle = device_open_name("COM", static_cast<std::int16_t>(options.com - 1), options.baud);
    } else {
        handle = device_open_name(options.port.c_str(), 0, options.baud);
    }
    if (handle == 0) {
        std::fprintf(stderr, "vnr: no reader (0): %s\n", nothing_found(options));
    } else if (handle < 0) {
        std::fprintf(stderr, "vnr: cannot open the reader: %s\n", explain_status(handle).c_str());
    }
    return handle;
}

}  // namespace vnr::tool
