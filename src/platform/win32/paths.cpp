// src/platform/win32/paths.cpp: platform (Windows). The library's names are Windows names already:
// paths stay as they are and serial ports are opened by their device names.
#include "platform/paths.h"

#include <cctype>

namespace vnr::platform {

namespace {
// Ports from COM10 on exist only under the device prefix; COM1 to COM9 are also plain DOS names.
constexpr unsigned kLastPlainPortIndex = 8;
}  // namespace

std::string native_path(std::string_view windows_path) { return std::string(windows_path); }

std::string drive_root(std::string_view windows_path) {
    if (windows_path.size() < 2 || !std::isalpha(static_cast<unsigned char>(windows_path[0])) || windows_path[1] != ':')
        return {};
    return std::string(windows_path.substr(0, 2)) + "\\";
}

bool is_native_absolute(std::string_view) noexcept { return false; }

void prepare_drive(std::string_view) noexcept {}

std::string serial_port_name(unsigned index) {
    const std::string name = "COM" + std::to_string(index + 1);
    return index <= kLastPlainPortIndex ? name : "\\\\.\\" + name;
}

}  // namespace vnr::platform
