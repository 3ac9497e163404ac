// tools/list_command.cpp: the command-line tool. vnr list [--all]: the USB HID readers found, and why one
// that is there cannot be opened.
#include "platform/hid_device.h"
#include "verbs.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace vnr::tool {

namespace {

// The reader family's USB ids.
constexpr uint16_t kReaderVendor = 0x23A4;
bool is_reader(uint16_t vendor, uint16_t product) {
    return vendor == kReaderVendor && (product == 0x0213 || product == 0x0219);
}

// The library looks at interfaces 0 to 63; so does the listing.
constexpr unsigned kMaxInterfaces = 64;

const char* why_not(platform::HidOpenError error) {
    switch (error) {
        case platform::HidOpenError::none: return "";
        case platform::HidOpenError::absent: return "gone";
        case platform::HidOpenError::denied:
            return "access denied: install the udev rule (packaging/70-vnr32.rules) and replug the reader";
        case platform::HidOpenError::busy: return "in use by another program";
        case platform::HidOpenError::failed: return "not a HID interface the system lets us use";
    }
    return "";
}

}  // namespace

int list_command(int argc, char** argv) {
    const bool all = argc == 1 && std::strcmp(argv[0], "--all") == 0;
    if (argc > 1 || (argc == 1 && !all)) {
        std::fprintf(stderr, "vnr: list takes only --all\n");
        return 2;
    }
    int readers = 0;
    std::string path;
    for (unsigned index = 0; index < kMaxInterfaces && platform::hid_interface_path(index, path); ++index) {
        platform::HidOpenError error = platform::HidOpenError::none;
        const std::unique_ptr<platform::HidDevice> device = platform::open_hid_path(path, error);
        if (!device) {
            // The ids of an interface that cannot be opened are unknown: it is shown when it could be a reader.
            if (all || error == platform::HidOpenError::denied || error == platform::HidOpenError::busy)
                std::printf("%-24s cannot be opened: %s\n", path.c_str(), why_not(error));
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

}  // namespace vnr::tool
