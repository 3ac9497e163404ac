// src/platform/posix/serial_port.cpp: platform (POSIX). SerialPort over termios.
//
// The port's time-outs keep their Windows meaning (see serial_port.h) so that the link above behaves
// the same on both systems: a read waits for its first byte up to the total time-out, and then gathers
// further bytes until the request is met, a gap between bytes outlasts the interval time-out, or the
// total time-out passes.
#include "platform/serial_port.h"

#include "platform/clock.h"
#include "platform/posix/unique_fd.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace vnr::platform {

namespace {

constexpr std::uint64_t kBitsPerByte = 10;        // start bit, 8 data bits, stop bit
constexpr std::uint64_t kGatherSliceUs = 20'000;  // longest pause between two reads of one request

speed_t speed_of(std::uint32_t baud) {
    switch (baud) {
        case 19200: return B19200;
        case 38400: return B38400;
        case 57600: return B57600;
        case 115200: return B115200;
        default: return B9600;
    }
}

// poll() for `events` up to `wait_ms` (negative: no limit), resuming after a signal.
// Returns the revents, 0 on time-out, -1 on failure.
int wait_for(int fd, short events, long long wait_ms) {
    const std::uint64_t start = tick_ms();
    for (;;) {
        long long left = -1;
        if (wait_ms >= 0) {
            const long long spent = static_cast<long long>(tick_ms() - start);
            left = std::max(0LL, wait_ms - spent);
        }
        pollfd watch{fd, events, 0};
        const int ready = ::poll(&watch, 1, left < 0 ? -1 : static_cast<int>(std::min(left, 0x7FFFFFFFLL)));
        if (ready > 0) return watch.revents;
        if (ready == 0) return 0;
        if (errno != EINTR) return -1;
    }
}

class PosixSerialPort final : public SerialPort {
public:
    PosixSerialPort(UniqueFd fd, std::uint32_t baud, const SerialTimeouts& timeouts)
        : fd_(fd.release()), baud_(baud) {
        store(timeouts);
    }
    ~PosixSerialPort() override { close(); }

    bool setup(std::uint32_t, std::uint32_t, const SerialTimeouts& timeouts) noexcept override {
        // The kernel owns the queue sizes; only the time-outs are the port's to take.
        if (fd_.load() < 0) return false;
        store(timeouts);
        return true;
    }

    bool purge() noexcept override {
        const int fd = fd_.load();
        return fd >= 0 && ::tcflush(fd, TCIOFLUSH) == 0;
    }

    bool write(const std::uint8_t* bytes, std::size_t size) noexcept override {
        const int fd = fd_.load();
        if (fd < 0) return false;
        const long long limit =
            static_cast<long long>(write_constant_ms_.load()) + static_cast<long long>(write_multiplier_ms_.load()) * size;
        const std::uint64_t start = tick_ms();
        while (size > 0) {
            const ssize_t count = ::write(fd, bytes, size);
            if (count > 0) {
                bytes += count;
                size -= static_cast<std::size_t>(count);
                continue;
            }
            if (count < 0 && errno == EINTR) continue;
            if (count < 0 && errno != EAGAIN) return false;
            const long long left = limit - static_cast<long long>(tick_ms() - start);
            if (limit > 0 && left <= 0) return false;
            const int ready = wait_for(fd, POLLOUT, limit > 0 ? left : -1);
            if (ready <= 0 || (ready & (POLLERR | POLLNVAL | POLLHUP)) != 0) return false;
        }
        return true;
    }

    long read(std::uint8_t* bytes, std::size_t size) noexcept override {
        const int fd = fd_.load();
        if (fd < 0) return -1;
        const std::uint32_t interval = interval_ms_.load();
        const long long total = static_cast<long long>(read_constant_ms_.load()) +
                                static_cast<long long>(read_multiplier_ms_.load()) * static_cast<long long>(size);
        const std::uint64_t start = tick_ms();
        auto total_left = [&]() -> long long {  // -1: no total limit
            if (total == 0) return -1;
            return std::max(0LL, total - static_cast<long long>(tick_ms() - start));
        };
        std::size_t count = 0;
        bool waited_for_all = false;  // a pause long enough for all that was missing has been taken
        while (count < size) {
            long long wait = total_left();
            if (count > 0 && interval > 0) wait = wait < 0 ? interval : std::min<long long>(wait, interval);
            if (wait == 0 && count > 0) break;
            const int ready = wait_for(fd, POLLIN, wait);
            if (ready < 0) return -1;
            if (ready == 0) break;  // the time-out passed
            const ssize_t got = ::read(fd, bytes + count, size - count);
            if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
            if (got <= 0) return -1;  // an error, or the other end hung up
            count += static_cast<std::size_t>(got);
            if (count == size) break;
            // More is wanted: let it arrive at the line rate before asking again, so that a long frame
            // costs a read per slice instead of one per byte. A slice is short enough that a sender
            // faster than the line rate loses little, and never longer than the gap the port
            // tolerates or the total time-out leaves. What is still missing after a pause that
            // covered all of it is late by the sender's own rhythm (a device or adapter that hands
            // bytes over in bursts): it is taken as soon as it comes, not after a further pause.
            if (waited_for_all) continue;
            const std::uint64_t all_us = (size - count) * kBitsPerByte * 1'000'000u / std::max<std::uint32_t>(baud_, 1);
            std::uint64_t due_us = std::min(all_us, kGatherSliceUs);
            waited_for_all = due_us == all_us;
            if (interval > 0) due_us = std::min<std::uint64_t>(due_us, interval * 1000ull);
            if (const long long left = total_left(); left >= 0) due_us = std::min<std::uint64_t>(due_us, left * 1000ull);
            if (due_us > 0) sleep_us(due_us);
        }
        return static_cast<long>(count);
    }

    bool close() noexcept override {
        const int fd = fd_.exchange(-1);
        return fd >= 0 && ::close(fd) == 0;
    }

private:
    void store(const SerialTimeouts& timeouts) noexcept {
        interval_ms_ = timeouts.read_interval_ms;
        read_multiplier_ms_ = timeouts.read_total_multiplier_ms;
        read_constant_ms_ = timeouts.read_total_constant_ms;
        write_multiplier_ms_ = timeouts.write_total_multiplier_ms;
        write_constant_ms_ = timeouts.write_total_constant_ms;
    }

    // Atomics: setup() may come from a thread that holds no lock while another reads.
    std::atomic<int> fd_;
    const std::uint32_t baud_;
    std::atomic<std::uint32_t> interval_ms_{0}, read_multiplier_ms_{0}, read_constant_ms_{0};
    std::atomic<std::uint32_t> write_multiplier_ms_{0}, write_constant_ms_{0};
};

}  // namespace

std::unique_ptr<SerialPort> open_serial_port(const std::string& name, std::uint32_t baud, std::uint32_t,
                                             const SerialTimeouts& timeouts, SerialError& error) {
    UniqueFd fd{::open(name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)};
    if (!fd) {
        error = (errno == EACCES || errno == EPERM || errno == EBUSY) ? SerialError::access_denied : SerialError::open_failed;
        return nullptr;
    }
    // The port is this process's alone while it is open, as a port opened without sharing is on
    // Windows; a second opener, in this process or another, is refused.
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        error = errno == EWOULDBLOCK ? SerialError::access_denied : SerialError::open_failed;
        return nullptr;
    }
    termios line{};
    if (::tcgetattr(fd.get(), &line) != 0) {
        error = SerialError::state_read;
        return nullptr;
    }
    ::cfmakeraw(&line);
    line.c_cflag |= CLOCAL | CREAD | CS8;
    line.c_cflag &= ~(PARENB | CSTOPB | CRTSCTS);
    line.c_iflag &= ~(IXON | IXOFF | IXANY);
    line.c_cc[VMIN] = 0;
    line.c_cc[VTIME] = 0;
    const speed_t speed = speed_of(baud);
    if (::cfsetispeed(&line, speed) != 0 || ::cfsetospeed(&line, speed) != 0 || ::tcsetattr(fd.get(), TCSANOW, &line) != 0) {
        error = SerialError::state_set;
        return nullptr;
    }
    // DTR and RTS on. A pseudo-terminal has no modem lines and refuses this, which is harmless.
    int lines = TIOCM_DTR | TIOCM_RTS;
    ::ioctl(fd.get(), TIOCMBIS, &lines);
    error = SerialError::none;
    const std::uint32_t rate = (baud == 19200 || baud == 38400 || baud == 57600 || baud == 115200) ? baud : 9600;
    return std::make_unique<PosixSerialPort>(std::move(fd), rate, timeouts);
}

}  // namespace vnr::platform
