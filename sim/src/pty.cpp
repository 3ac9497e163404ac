// sim/src/pty.cpp: pseudo-terminals, links and wake-ups for the servers (see pty.h).
#include "pty.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace vnrsim::detail {
namespace {

[[noreturn]] void throw_errno(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

}  // namespace

Pty open_pty() {
    Pty pty;
    pty.master = UniqueFd(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!pty.master) throw_errno("posix_openpt");
    if (::grantpt(pty.master.get()) != 0) throw_errno("grantpt");
    if (::unlockpt(pty.master.get()) != 0) throw_errno("unlockpt");
    std::array<char, 128> name{};
    if (::ptsname_r(pty.master.get(), name.data(), name.size()) != 0) throw_errno("ptsname");
    pty.slave_path = name.data();
    pty.own_slave = UniqueFd(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!pty.own_slave) throw_errno("open pty slave");
    termios mode{};
    if (::tcgetattr(pty.own_slave.get(), &mode) != 0) throw_errno("tcgetattr");
    ::cfmakeraw(&mode);
    if (::tcsetattr(pty.own_slave.get(), TCSANOW, &mode) != 0) throw_errno("tcsetattr");
    const int flags = ::fcntl(pty.master.get(), F_GETFL);
    if (flags < 0 || ::fcntl(pty.master.get(), F_SETFL, flags | O_NONBLOCK) != 0) throw_errno("fcntl");
    return pty;
}

void make_link(const std::filesystem::path& link, const std::string& target) {
    namespace fs = std::filesystem;
    std::error_code error;
    if (link.has_parent_path()) {
        fs::create_directories(link.parent_path(), error);
        if (error) throw std::runtime_error("cannot create " + link.parent_path().string() + ": " + error.message());
    }
    const fs::file_status status = fs::symlink_status(link, error);
    if (fs::exists(status) && !fs::is_symlink(status))
        throw std::runtime_error(link.string() + " exists and is not a symbolic link; not replacing it");
    // A new link beside it, renamed over the old one: the path never goes missing while it is replaced.
    const fs::path temporary = link.string() + ".vnr-sim-" + std::to_string(::getpid());
    fs::remove(temporary, error);
    fs::create_symlink(target, temporary, error);
    if (!error) fs::rename(temporary, link, error);
    if (error) {
        fs::remove(temporary, error);
        throw std::runtime_error("cannot link " + link.string() + " to " + target + ": " + error.message());
    }
}

void remove_link(const std::filesystem::path& link, const std::string& target) noexcept {
    std::error_code error;
    if (std::filesystem::is_symlink(link, error) && std::filesystem::read_symlink(link, error) == target)
        std::filesystem::remove(link, error);
}

UniqueFd make_wake() {
    UniqueFd fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!fd) throw_errno("eventfd");
    return fd;
}

void wake(int fd) noexcept {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(fd, &one, sizeof one);
}

void drain(int fd) noexcept {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = ::read(fd, &count, sizeof count);
}

bool write_all(int fd, const void* bytes, std::size_t length, int wake_fd, int stall_ms) noexcept {
    const auto* at = static_cast<const std::uint8_t*>(bytes);
    struct stat info {};
    const bool socket = ::fstat(fd, &info) == 0 && S_ISSOCK(info.st_mode);
    while (length > 0) {
        const ssize_t n = socket ? ::send(fd, at, length, MSG_NOSIGNAL) : ::write(fd, at, length);
        if (n > 0) {
            at += n;
            length -= static_cast<std::size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno != EAGAIN) return false;
        std::array<pollfd, 2> fds{{{fd, POLLOUT, 0}, {wake_fd, POLLIN, 0}}};
        const int ready = ::poll(fds.data(), fds.size(), stall_ms);
        if (ready == 0 || (ready < 0 && errno != EINTR)) return false;
        if (fds[1].revents & POLLIN) return false;
        if (fds[0].revents & (POLLERR | POLLNVAL)) return false;
    }
    return true;
}

}  // namespace vnrsim::detail
