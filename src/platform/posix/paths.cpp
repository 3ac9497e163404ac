// src/platform/posix/paths.cpp: platform (POSIX). Drive-letter paths and COM ports mapped below
// $VNR32_PREFIX (default $HOME/.vnr32).
#include "platform/paths.h"

#include "platform/files.h"
#include "platform/text.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <vector>

namespace vnr::platform {

namespace {

std::string prefix() {
    // The library never changes the environment, so getenv races only with the application's own setenv.
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    if (const char* set = std::getenv("VNR32_PREFIX"); set != nullptr && *set != '\0') return set;
    const char* home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe): as above
    return std::string(home != nullptr ? home : "") + "/.vnr32";
}

bool has_drive(std::string_view path) {
    return path.size() >= 2 && std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':';
}

// The UTF-8 form of a GBK name, which is what a Linux file system shows; a name that is no GBK text
// (or plain ASCII) stays as its bytes. Converting first also keeps a GBK trail byte 0x5C, which looks
// like a backslash, from being taken for a separator below.
std::string utf8_name(std::string_view path) {
    bool ascii = true;
    for (const char c : path) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    if (ascii) return std::string(path);
    std::string utf8;
    static constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    if (!gbk_to_utf8(path, utf8) || utf8.find(kReplacement) != std::string::npos) return std::string(path);
    return utf8;
}

std::string with_slashes(std::string_view path) {
    std::string native = utf8_name(path);
    for (char& c : native)
        if (c == '\\') c = '/';
    return native;
}

// A path that starts at the top of a drive without naming one ("\photos"): on Windows the current
// drive's, here always drive C's.
bool is_rooted(std::string_view path) { return !path.empty() && path.front() == '\\'; }

// The components of a path below a drive's top, "." and ".." resolved as Windows resolves them: ".."
// at the top stays at the top, so that no path leaves its drive's folder. A trailing separator stays.
std::string below_drive(std::string_view rest) {
    const std::string text = with_slashes(rest);
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find('/', start), text.size());
        const std::string part = text.substr(start, end - start);
        if (part == "..") {
            if (!parts.empty()) parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = end + 1;
    }
    std::string out;
    for (const std::string& part : parts) out += "/" + part;
    if (!parts.empty() && !text.empty() && text.back() == '/') out += '/';
    return out;
}

}  // namespace

std::string drive_root(std::string_view windows_path) {
    if (is_rooted(windows_path)) return prefix() + "/drive_c";
    if (!has_drive(windows_path)) return {};
    const char letter = static_cast<char>(std::tolower(static_cast<unsigned char>(windows_path[0])));
    return prefix() + "/drive_" + letter;
}

std::string native_path(std::string_view windows_path) {
    if (is_native_absolute(windows_path)) return std::string(windows_path);  // a Linux path, as it stands
    if (is_rooted(windows_path)) return drive_root(windows_path) + below_drive(windows_path);
    if (!has_drive(windows_path)) return with_slashes(windows_path);
    return drive_root(windows_path) + below_drive(windows_path.substr(2));
}

bool is_native_absolute(std::string_view path) noexcept { return !path.empty() && path.front() == '/'; }

void prepare_drive(std::string_view windows_path) noexcept {
    try {
        const std::string root = drive_root(windows_path);
        if (!root.empty() && !is_directory(root)) make_directory_path(root);
    } catch (...) {
        // Out of memory: the file that needed the drive will fail to be created, and says so.
    }
}

std::string serial_port_name(unsigned index) {
    // The mapping stands as soon as its entry is there, even as a link to nothing: a port that was
    // mapped and is gone must fail to open, not quietly become another port.
    std::string mapped = prefix() + "/dosdevices/com" + std::to_string(index + 1);
    struct stat entry{};
    if (::lstat(mapped.c_str(), &entry) == 0) return mapped;
    return "/dev/ttyS" + std::to_string(index);
}

}  // namespace vnr::platform
