// src/idcard/windows_path.cpp: idcard. Paths in the library's Windows form (see idcard/windows_path.h).
#include "idcard/windows_path.h"

#include "idcard/messages.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <cctype>

namespace vnr::idcard {

namespace {

// The position of the last separator: in a native path the last "/", whatever its bytes are; in a
// Windows path the last "\" or "/", stepping over double-byte characters as the system's path functions
// do, so that a GBK trail byte 0x5C is no separator. npos when none.
std::size_t last_separator(std::string_view path) {
    if (platform::is_native_absolute(path)) return path.rfind('/');
    std::size_t last = std::string_view::npos;
    for (std::size_t i = 0; i < path.size(); i += gbk_char_length(path, i))
        if (path[i] == '\\' || path[i] == '/') last = i;
    return last;
}

bool component_is_usable(std::string_view component) {
    if (!component.empty() && component.front() == ' ') return false;
    return component.find_first_of("\\/:*?<>\"") == std::string_view::npos;
}

}  // namespace

char separator_of(std::string_view path) { return platform::is_native_absolute(path) ? '/' : '\\'; }

bool ends_with_separator(std::string_view path) { return !path.empty() && path.back() == separator_of(path); }

std::string without_file_name(std::string_view path) {
    const std::size_t at = last_separator(path);
    if (at == std::string_view::npos) return {};
    const bool root = at == 0 || (at == 2 && path[1] == ':');
    return std::string(path.substr(0, root ? at + 1 : at));
}

bool names_no_drive(std::string_view path) {
    if (path.empty() || platform::is_native_absolute(path)) return false;
    return !(path.size() >= 2 && path[1] == ':');
}

std::optional<std::string> fitting(std::string path) {
    if (path.size() >= kPathRoom) return std::nullopt;
    return path;
}

std::string native(std::string_view path) { return platform::native_path(path); }

bool exists(std::string_view path) { return platform::path_exists(native(path)); }

void make_sure_directory_path_exists(std::string_view path) {
    const std::size_t at = last_separator(path);
    if (at == std::string_view::npos || at == 0) return;
    platform::make_directory_path(native(path.substr(0, at)));
}

void copy_file(std::string_view from, std::string_view to) {
    platform::prepare_drive(to);
    platform::copy_file(native(from), native(to));
}

void move_file(std::string_view from, std::string_view to) {
    platform::prepare_drive(to);
    platform::move_file(native(from), native(to));
}

void add_trailing_separator(std::string& path) {
    if (!ends_with_separator(path)) path += separator_of(path);
}

void delete_file_at(std::string_view path) { platform::remove_file(native(path)); }

bool write_file_at(std::string_view path, std::span<const std::uint8_t> data) {
    platform::prepare_drive(path);
    return platform::write_file(native(path), data.data(), data.size());
}

std::string file_name_part(std::string_view path) {
    const std::size_t at = last_separator(path);
    return std::string(at == std::string_view::npos ? path : path.substr(at + 1));
}

int check_photo_path(std::string_view path) {
    if (path.empty() || path.size() > kLongestPath) return -1;
    const char separator = separator_of(path);
    std::size_t start = 0;
    bool first = true;
    for (;;) {
        const std::size_t end = path.find(separator, start);
        const std::string_view component = path.substr(start, end == std::string_view::npos ? end : end - start);
        if (first && separator == '\\') {
            if (component.size() != 2 || !std::isalpha(static_cast<unsigned char>(component[0]))) return -1;
        } else if (!first && !component_is_usable(component)) {
            return -1;
        }
        first = false;
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    return 0;
}

int split_photo_path(std::string_view bmp_path, std::string& folder, std::string& name) {
    const std::size_t at = bmp_path.find(".bmp");
    if (at == std::string_view::npos) return -1;
    if (bmp_path.size() - at > kLongestSetting || at < 3) return -1;
    const std::string_view stem = bmp_path.substr(0, at);
    const std::size_t cut = last_separator(stem);
    if (cut == std::string_view::npos || cut == 0 || cut + 1 == stem.size()) return -1;
    if (stem[cut] != separator_of(stem)) return -1;
    folder.assign(stem.substr(0, cut + 1));
    name.assign(stem.substr(cut + 1));
    make_sure_directory_path_exists(folder);
    return 0;
}

}  // namespace vnr::idcard
