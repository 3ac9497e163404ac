// src/platform/posix/files.cpp: platform (POSIX). Files and folders.
#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>

#include "platform/posix/unique_fd.h"

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
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream is this call's own; readdir is safe on distinct streams
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

namespace {

bool write_all(int fd, const unsigned char* data, std::size_t size) noexcept {
    while (size > 0) {
        const ssize_t count = ::write(fd, data, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

// Creates or empties `path` and fills it with `write`. When that fails the file is removed: no
// half-written file is left under the name.
template <typename Writer>
bool write_whole(const std::string& path, Writer&& write) noexcept {
    UniqueFd fd{::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)};
    if (!fd) return false;
    const bool written = write(fd.get());
    const bool closed = ::close(fd.release()) == 0;
    if (written && closed) return true;
    ::unlink(path.c_str());
    return false;
}

}  // namespace

bool write_file(const std::string& path, const void* data, std::size_t size) noexcept {
    return write_whole(path, [&](int fd) { return write_all(fd, static_cast<const unsigned char*>(data), size); });
}

bool read_file(const std::string& path, std::size_t limit, std::vector<unsigned char>& data) {
    UniqueFd fd{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    data.clear();
    if (!fd) return false;
    struct stat info{};
    if (::fstat(fd.get(), &info) != 0 || S_ISDIR(info.st_mode)) return false;
    data.resize(limit);
    std::size_t got = 0;
    while (got < limit) {
        const ssize_t count = ::read(fd.get(), data.data() + got, limit - got);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            data.clear();
            return false;
        }
        if (count == 0) break;
        got += static_cast<std::size_t>(count);
    }
    data.resize(got);
    return true;
}

TailRead read_byte_from_end(const std::string& path, std::size_t back, unsigned char& byte) noexcept {
    UniqueFd fd{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (!fd) return TailRead::cannot_open;
    struct stat info{};
    if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return TailRead::cannot_open;
    if (back == 0 || static_cast<std::uint64_t>(info.st_size) < back) return TailRead::too_short;
    for (;;) {
        const ssize_t count = ::pread(fd.get(), &byte, 1, info.st_size - static_cast<off_t>(back));
        if (count < 0 && errno == EINTR) continue;
        return count == 1 ? TailRead::read : TailRead::too_short;
    }
}

bool copy_file(const std::string& from, const std::string& to) noexcept {
    try {
        struct stat source{};
        struct stat target{};
        if (::stat(from.c_str(), &source) != 0 || !S_ISREG(source.st_mode)) return false;
        // The same file under two names: truncating the target would destroy the source.
        if (::stat(to.c_str(), &target) == 0 && target.st_dev == source.st_dev && target.st_ino == source.st_ino)
            return true;
        UniqueFd in{::open(from.c_str(), O_RDONLY | O_CLOEXEC)};
        if (!in) return false;
        std::vector<unsigned char> chunk(std::size_t{64} * 1024);
        return write_whole(to, [&](int out) {
            for (;;) {
                const ssize_t count = ::read(in.get(), chunk.data(), chunk.size());
                if (count < 0 && errno == EINTR) continue;
                if (count < 0) return false;
                if (count == 0) return true;
                if (!write_all(out, chunk.data(), static_cast<std::size_t>(count))) return false;
            }
        });
    } catch (...) {
        return false;  // out of memory for the chunk
    }
}

bool move_file(const std::string& from, const std::string& to) noexcept {
    if (::rename(from.c_str(), to.c_str()) == 0) return true;
    if (errno != EXDEV) return false;
    return copy_file(from, to) && ::unlink(from.c_str()) == 0;
}

}  // namespace vnr::platform
