// sim/src/pty.h: internal to vnrsim. Descriptors, pseudo-terminals, links and the wake-up descriptor
// that the servers share. Calls the operating system; called by pty_server.cpp and control_server.cpp.
#pragma once

#include <filesystem>
#include <string>
#include <utility>

#include <unistd.h>

namespace vnrsim::detail {

// One descriptor, move-only; closed by the destructor.
class UniqueFd {
public:
    UniqueFd() noexcept = default;
    explicit UniqueFd(int fd) noexcept : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~UniqueFd() {
        if (fd_ >= 0) ::close(fd_);
    }
    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }

private:
    int fd_ = -1;
};

// A pseudo-terminal ready for a host: the slave is raw, and the simulator holds a slave descriptor of its
// own (without any lock on it) so that the master never sees a hang-up while no host has it open.
struct Pty {
    UniqueFd master;     // non-blocking
    UniqueFd own_slave;  // never read or written
    std::string slave_path;
};

// A new pseudo-terminal. Throws std::system_error.
Pty open_pty();

// Makes `link` a symbolic link to `target`, creating its parent folders. An existing symbolic link there
// (one left by an earlier run) is replaced; anything else is refused. Throws std::runtime_error.
void make_link(const std::filesystem::path& link, const std::string& target);

// Removes `link` if it is a symbolic link to `target`; a link that now points elsewhere is left alone.
void remove_link(const std::filesystem::path& link, const std::string& target) noexcept;

// A descriptor that poll() sees readable after wake(); drain() makes it quiet again.
UniqueFd make_wake();
void wake(int fd) noexcept;
void drain(int fd) noexcept;

// Writes all of `bytes` to a non-blocking descriptor. Gives up (false) on an error, once `wake_fd` becomes
// readable, or when the descriptor takes nothing for `stall_ms`. Socket writes raise no SIGPIPE.
bool write_all(int fd, const void* bytes, std::size_t length, int wake_fd, int stall_ms) noexcept;

}  // namespace vnrsim::detail
