// tests/sim/sim_test_util.h: helpers for the simulator's tests: hex literals, a scratch folder, and a
// host that opens a pty slave the way the client library does.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/file.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "vnrsim/deck.h"

namespace simtest {

using Bytes = std::vector<std::uint8_t>;

inline Bytes hex(std::string_view text) { return vnrsim::parse_hex(text); }

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vnrsim-test-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

// The host's end of a pty: opened O_RDWR|O_NOCTTY, made raw and locked exclusively, queues purged
// before every write, as the client library does.
class Host {
public:
    explicit Host(const std::filesystem::path& path) {
        fd_ = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (fd_ < 0) return;
        termios mode{};
        ::tcgetattr(fd_, &mode);
        ::cfmakeraw(&mode);
        ::tcsetattr(fd_, TCSANOW, &mode);
        locked_ = ::flock(fd_, LOCK_EX | LOCK_NB) == 0;
    }
    ~Host() {
        if (fd_ >= 0) ::close(fd_);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    bool is_open() const { return fd_ >= 0; }
    bool locked() const { return locked_; }

    // Purges both queues, then writes; false when the write fails.
    bool send(const Bytes& bytes) {
        ::tcflush(fd_, TCIOFLUSH);
        return ::write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }
    // Writes without purging first.
    bool send_more(const Bytes& bytes) {
        return ::write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }

    // Reads until `count` bytes came or `timeout` passed; returns what came.
    Bytes read(std::size_t count, std::chrono::milliseconds timeout) {
        Bytes got;
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (got.size() < count) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) break;
            pollfd fd{fd_, POLLIN, 0};
            if (::poll(&fd, 1, static_cast<int>(left.count())) <= 0) break;
            std::uint8_t buffer[4096];
            const ssize_t n = ::read(fd_, buffer, std::min(sizeof buffer, count - got.size()));
            if (n <= 0) break;
            got.insert(got.end(), buffer, buffer + n);
        }
        return got;
    }

    int fd() const { return fd_; }

private:
    int fd_ = -1;
    bool locked_ = false;
};

}  // namespace simtest
