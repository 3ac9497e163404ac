// tests/sim/sim_test_util.h: helpers for the simulator's tests: hex literals, a scratch folder, and a
// host that opens a pty slave the way the client library does.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
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
struct TempDir {
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vnrsim-test-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path operator/(const std::string& name) const { return path / name; }
    std::filesystem::path path;
};

// The host's end of a pty, opened raw as the client library opens it.
class Host {
public:
    explicit Host(const std::filesystem::path& path) : fd_(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        termios mode{};
        ::tcgetattr(fd_, &mode);
        ::cfmakeraw(&mode);
        ::tcsetattr(fd_, TCSANOW, &mode);
    }
    ~Host() {
        if (fd_ >= 0) ::close(fd_);
    }
    bool send(const Bytes& bytes) { return ::write(fd_, bytes.data(), bytes.size()) == ssize_t(bytes.size()); }

    // Reads until `count` bytes came or `timeout` passed; returns what came.
    Bytes read(std::size_t count, std::chrono::milliseconds timeout) {
        Bytes got;
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (got.size() < count) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            pollfd fd{fd_, POLLIN, 0};
            if (left.count() <= 0 || ::poll(&fd, 1, int(left.count())) <= 0) break;
            std::uint8_t buffer[4096];
            const ssize_t n = ::read(fd_, buffer, std::min(sizeof buffer, count - got.size()));
            if (n <= 0) break;
            got.insert(got.end(), buffer, buffer + n);
        }
        return got;
    }

private:
    int fd_;
};

// The frame of a reply: the status, high byte first, then the data.
inline Bytes reply(std::uint16_t status, const Bytes& data = {}, vnrsim::Form form = vnrsim::Form::split) {
    Bytes payload(2 + data.size());
    payload[0] = std::uint8_t(status >> 8);
    payload[1] = std::uint8_t(status & 0xFF);
    std::copy(data.begin(), data.end(), payload.begin() + 2);
    return vnrsim::encode_frame(payload, form);
}

inline Bytes text_bytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

}  // namespace simtest
