// src/platform/posix/paths.cpp: platform (POSIX). Drive-letter paths and COM ports mapped below
// $VNR32_PREFIX (default $HOME/.vnr32).
#include "platform/paths.h"

#include <sys/stat.h>

#include <cctype>
#include <cstdlib>

namespace vnr::platform {

namespace {

std::string prefix() {
    if (const char* set = std::getenv("VNR32_PREFIX"); set != nullptr && *set != '\0') return set;
    const char* home = std::getenv("HOME");
    return std::string(home != nullptr ? home : "") + "/.vnr32";
}

bool has_drive(std::string_view path) {
    return path.size() >= 2 && std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':';
}

std::string with_slashes(std::string_view path) {
    std::string native(path);
    for (char& c : native)
        if (c == '\\') c = '/';
    return native;
}

}  // namespace

std::string drive_root(std::string_view windows_path) {
    if (!has_drive(windows_path)) return {};
    const char letter = static_cast<char>(std::tolower(static_cast<unsigned char>(windows_path[0])));
    return prefix() + "/drive_" + letter;
}

std::string native_path(std::string_view windows_path) {
    if (!has_drive(windows_path)) return with_slashes(windows_path);
    std::string rest = with_slashes(windows_path.substr(2));
    if (!rest.empty() && rest.front() != '/') rest.insert(rest.begin(), '/');
    return drive_root(windows_path) + rest;
}

std::string serial_port_name(unsigned index) {
    // The mapping stands as soon as its entry is there, even as a link to nothing: a port that was
    // mapped and is gone must fail to open, not quietly become another port.
    const std::string mapped = prefix() + "/dosdevices/com" + std::to_string(index + 1);
    struct stat entry{};
    if (::lstat(mapped.c_str(), &entry) == 0) return mapped;
    return "/dev/ttyS" + std::to_string(index);
}

}  // namespace vnr::platform
