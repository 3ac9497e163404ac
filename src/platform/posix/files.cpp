// src/platform/posix/files.cpp: platform (POSIX). Files and folders.
#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace vnr::platform {

bool path_exists(const std::string& path) noexcept {
    struct stat info{};
    return ::stat(path.c_str(), &info) == 0;
}

bool is_directory(const std::string& path) noexcept {
    struct stat info{};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool make_directory(const std::string& path) noexcept { return ::mkdir(path.c_str(), 0777) == 0; }

bool make_directory_path(const std::string& path) noexcept {
    if (path.empty()) return false;
    // Create each prefix that ends at a separator, then the whole path; existing folders are fine.
    for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
        const std::string prefix = path.substr(0, at);
        if (::mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) return false;
    }
    if (::mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) return false;
    return is_directory(path);
}

bool list_directory(const std::string& path, std::vector<DirectoryEntry>& entries) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder{::opendir(path.c_str()), ::closedir};
    if (!folder) return false;
    entries.clear();
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        // lstat, not d_type: some file systems leave d_type unknown, and a link to a folder is no folder.
        struct stat info{};
        const bool folder_entry = ::fstatat(::dirfd(folder.get()), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                                  S_ISDIR(info.st_mode);
        entries.push_back(DirectoryEntry{name, folder_entry});
    }
    return true;
}

bool remove_file(const std::string& path) noexcept { return ::unlink(path.c_str()) == 0; }

bool remove_directory(const std::string& path) noexcept { return ::rmdir(path.c_str()) == 0; }

bool set_current_directory(const std::string& path) noexcept { return ::chdir(path.c_str()) == 0; }

bool append_file(const std::string& path, const char* data, std::size_t size, WriteMode) noexcept {
    // Text and binary are the same here: a line feed is already the line end.
    const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    bool written = true;
    while (size > 0) {
        const ssize_t count = ::write(fd, data, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            written = false;
            break;
        }
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return ::close(fd) == 0 && written;
}

}  // namespace vnr::platform
