// src/platform/win32/files.cpp: platform (Windows). Files and folders through the ANSI file API, so
// that paths are taken in the system code page as the library's callers pass them.
#include "platform/files.h"

#include "platform/win32/unique_handle.h"

#include <windows.h>

#include <limits>

namespace vnr::platform {

namespace {

bool is_separator(char c) { return c == '\\' || c == '/'; }

DWORD attributes_of(const std::string& path) { return ::GetFileAttributesA(path.c_str()); }

}  // namespace

bool path_exists(const std::string& path) noexcept { return attributes_of(path) != INVALID_FILE_ATTRIBUTES; }

bool is_directory(const std::string& path) noexcept {
    const DWORD attributes = attributes_of(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool make_directory(const std::string& path) noexcept { return ::CreateDirectoryA(path.c_str(), nullptr) != FALSE; }

bool make_directory_path(const std::string& path) noexcept {
    if (path.empty()) return false;
    try {
        // Create each prefix that ends at a separator, then the whole path. Prefixes that cannot be
        // created (a drive "D:", the server of a UNC path) or already exist are passed over: whether
        // the folder stands at the end is all that counts.
        for (std::size_t at = 1; at < path.size(); ++at) {
            if (!is_separator(path[at]) || path[at - 1] == ':' || is_separator(path[at - 1])) continue;
            ::CreateDirectoryA(path.substr(0, at).c_str(), nullptr);
        }
        ::CreateDirectoryA(path.c_str(), nullptr);
    } catch (...) {
        return false;  // out of memory for a prefix
    }
    return is_directory(path);
}

bool list_directory(const std::string& path, std::vector<DirectoryEntry>& entries) {
    std::string pattern = path;
    if (!pattern.empty() && !is_separator(pattern.back())) pattern += '\\';
    pattern += '*';
    WIN32_FIND_DATAA found{};
    const UniqueFindHandle search{::FindFirstFileA(pattern.c_str(), &found)};
    entries.clear();
    if (!search) {
        // A folder with no entry at all (a drive's root can be one) is an empty listing, not a failure.
        return ::GetLastError() == ERROR_FILE_NOT_FOUND && is_directory(path);
    }
    do {
        const std::string name = found.cFileName;
        if (name == "." || name == "..") continue;
        // Only exactly FILE_ATTRIBUTE_DIRECTORY is a plain folder: a junction, a hidden, system or
        // read-only folder counts as something else and is left alone by whoever walks the listing.
        entries.push_back(DirectoryEntry{name, found.dwFileAttributes == FILE_ATTRIBUTE_DIRECTORY});
    } while (::FindNextFileA(search.get(), &found) != FALSE);
    return true;
}

bool remove_file(const std::string& path) noexcept { return ::DeleteFileA(path.c_str()) != FALSE; }

bool remove_directory(const std::string& path) noexcept { return ::RemoveDirectoryA(path.c_str()) != FALSE; }

bool set_current_directory(const std::string& path) noexcept { return ::SetCurrentDirectoryA(path.c_str()) != FALSE; }

bool append_file(const std::string& path, const char* data, std::size_t size, WriteMode mode) noexcept {
    try {
        // Text mode: each line feed goes out as CR LF, as the C runtime's text streams write it.
        std::string converted;
        if (mode == WriteMode::text) {
            converted.reserve(size + size / 16);
            for (std::size_t i = 0; i < size; ++i) {
                if (data[i] == '\n') converted += '\r';
                converted += data[i];
            }
            data = converted.data();
            size = converted.size();
        }
        if (size > std::numeric_limits<DWORD>::max()) return false;
        // Append-only access makes every write land at the end of the file, even when other handles,
        // in this process or another, append at the same time; shared read and write lets them.
        UniqueFileHandle file{::CreateFileA(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
        if (!file) return false;
        DWORD written = 0;
        const bool wrote = ::WriteFile(file.get(), data, static_cast<DWORD>(size), &written, nullptr) != FALSE &&
                           written == size;
        return file.close() && wrote;
    } catch (...) {
        return false;  // out of memory for the converted text
    }
}

bool write_file(const std::string& path, const void* data, std::size_t size) noexcept {
    if (size > std::numeric_limits<DWORD>::max()) return false;
    bool wrote = false;
    {
        UniqueFileHandle file{::CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                            FILE_ATTRIBUTE_NORMAL, nullptr)};
        if (!file) return false;
        DWORD written = 0;
        wrote = size == 0 ||
                (::WriteFile(file.get(), data, static_cast<DWORD>(size), &written, nullptr) != FALSE && written == size);
        wrote = file.close() && wrote;
    }
    // No half-written file is left under the name.
    if (!wrote) ::DeleteFileA(path.c_str());
    return wrote;
}

bool read_file(const std::string& path, std::size_t limit, std::vector<unsigned char>& data) {
    data.clear();
    if (limit > std::numeric_limits<DWORD>::max()) return false;
    UniqueFileHandle file{::CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
    if (!file) return false;
    data.resize(limit);
    std::size_t got = 0;
    while (got < limit) {
        DWORD count = 0;
        if (::ReadFile(file.get(), data.data() + got, static_cast<DWORD>(limit - got), &count, nullptr) == FALSE) {
            data.clear();
            return false;
        }
        if (count == 0) break;
        got += count;
    }
    data.resize(got);
    return true;
}

TailRead read_byte_from_end(const std::string& path, std::size_t back, unsigned char& byte) noexcept {
    UniqueFileHandle file{::CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
    if (!file) return TailRead::cannot_open;
    LARGE_INTEGER size{};
    if (::GetFileSizeEx(file.get(), &size) == FALSE) return TailRead::cannot_open;
    if (back == 0 || static_cast<unsigned long long>(size.QuadPart) < back) return TailRead::too_short;
    LARGE_INTEGER at{};
    at.QuadPart = size.QuadPart - static_cast<LONGLONG>(back);
    DWORD got = 0;
    if (::SetFilePointerEx(file.get(), at, nullptr, FILE_BEGIN) == FALSE ||
        ::ReadFile(file.get(), &byte, 1, &got, nullptr) == FALSE || got != 1)
        return TailRead::too_short;
    return TailRead::read;
}

bool copy_file(const std::string& from, const std::string& to) noexcept {
    return ::CopyFileA(from.c_str(), to.c_str(), FALSE) != FALSE;
}

bool move_file(const std::string& from, const std::string& to) noexcept {
    return ::MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED) != FALSE;
}

}  // namespace vnr::platform
