// sim/src/pty_server.cpp: the Reader on a pseudo-terminal (see vnrsim/pty_server.h).
#include "vnrsim/pty_server.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "pty.h"

namespace vnrsim {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStatePollMs = 10;     // how often an idle server looks at the hangup fault
constexpr int kWriteStallMs = 2000;  // a host that takes no byte for this long has given up on the reply
constexpr std::size_t kReadChunk = 4096;
constexpr std::size_t kLogBytes = 48;  // bytes shown per log line

std::string shown(std::span<const std::uint8_t> bytes) {
    std::string text = to_hex(bytes.first(std::min(bytes.size(), kLogBytes)));
    if (bytes.size() > kLogBytes) text += "... (" + std::to_string(bytes.size()) + " bytes)";
    return text;
}

}  // namespace

struct PtyServer::State {
    Reader& reader;
    Options options;
    detail::Pty pty;           // touched by the server thread only, once it runs
    std::string linked_to;     // the slave path the links were last pointed at
    mutable std::mutex mutex;  // guards current_path
    std::string current_path;
    detail::UniqueFd wake = detail::make_wake();
    std::atomic<bool> stopping{false};
    bool open_failed = false;  // the last attempt at a new pty failed (logged once)
    std::thread thread;

    State(Reader& r, Options o) : reader(r), options(std::move(o)) {}

    void log(const std::string& line) const {
        if (options.log) options.log(line);
    }

    void open_line() {
        pty = detail::open_pty();
        linked_to = pty.slave_path;
        for (const auto& link : options.links) detail::make_link(link, pty.slave_path);
        const std::lock_guard lock(mutex);
        current_path = pty.slave_path;
    }

    void remove_links() noexcept {
        for (const auto& link : options.links) detail::remove_link(link, linked_to);
    }

    // Brings the pty in line with the hangup fault.
    void follow_hangup() {
        const bool hung_up = reader.hung_up();
        if (hung_up && pty.master) {
            pty = detail::Pty{};
            const std::lock_guard lock(mutex);
            current_path.clear();
            log("hangup: the pty is closed");
        } else if (!hung_up && !pty.master) {
            try {
                open_line();
                open_failed = false;
                log("line back: serving " + pty.slave_path);
            } catch (const std::exception& e) {
                pty = detail::Pty{};
                if (!open_failed) log(std::string("cannot bring the line back: ") + e.what());
                open_failed = true;
            }
        }
    }

    // Sleeps until `due`; false when the server is stopping.
    bool sleep_until(Clock::time_point due) {
        while (!stopping) {
            const auto left = due - Clock::now();
            if (left <= Clock::duration::zero()) return true;
            const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
            const timespec timeout{static_cast<time_t>(ns / 1'000'000'000), static_cast<long>(ns % 1'000'000'000)};
            pollfd fd{wake.get(), POLLIN, 0};
            ::ppoll(&fd, 1, &timeout, nullptr);
        }
        return false;
    }

    // Writes a reply: byte i is on the host's side (i+1)*10/baud seconds after the start.
    void send(const std::vector<std::uint8_t>& bytes) {
        const std::uint32_t baud = reader.baud();
        const auto start = Clock::now();
        const std::size_t piece = baud == 0 ? bytes.size() : std::max<std::size_t>(1, baud / 10 / 1000);
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const std::size_t upto = std::min(bytes.size(), sent + piece);
            if (baud != 0) {
                const auto due = start + std::chrono::nanoseconds(upto * 10'000'000'000ULL / baud);
                if (!sleep_until(due) || reader.hung_up()) return;
            }
            if (!detail::write_all(pty.master.get(), bytes.data() + sent, upto - sent, wake.get(), kWriteStallMs)) {
                log("reply dropped after " + std::to_string(sent) + " of " + std::to_string(bytes.size()) + " bytes");
                return;
            }
            sent = upto;
        }
        log("> " + shown(bytes));
    }

    // How long the next wait for input may last: kStatePollMs, or less to wake for a pending reply.
    int wait_ms() const {
        const auto due = reader.next_due();
        if (!due) return kStatePollMs;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due - Clock::now()).count();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, kStatePollMs));
    }

    void run() {
        std::array<std::uint8_t, kReadChunk> buffer{};
        while (!stopping) {
            follow_hangup();
            if (pty.master) {
                // A reply that a model held pending and has now settled (or whose wait ran out).
                const std::vector<std::uint8_t> late = reader.poll(Clock::now());
                if (!late.empty()) send(late);
            }
            std::array<pollfd, 2> fds{{{wake.get(), POLLIN, 0}, {pty.master ? pty.master.get() : -1, POLLIN, 0}}};
            if (::poll(fds.data(), fds.size(), wait_ms()) <= 0) continue;
            if (fds[0].revents & POLLIN) detail::drain(wake.get());
            if (stopping) break;
            if (!(fds[1].revents & POLLIN)) {
                // Without our own slave descriptor a master reports a hang-up here; ours is always open,
                // so this is only a guard against spinning.
                if (fds[1].revents) ::poll(nullptr, 0, kStatePollMs);
                continue;
            }
            const ssize_t n = ::read(pty.master.get(), buffer.data(), buffer.size());
            if (n <= 0) continue;
            const std::span<const std::uint8_t> got(buffer.data(), static_cast<std::size_t>(n));
            log("< " + shown(got));
            const std::vector<std::uint8_t> reply = reader.receive(got);
            if (!reply.empty()) send(reply);
        }
    }
};

PtyServer::PtyServer(Reader& reader, Options options) : state_(std::make_unique<State>(reader, std::move(options))) {
    if (!reader.hung_up()) {
        try {
            state_->open_line();
        } catch (...) {
            state_->remove_links();
            throw;
        }
    }
    state_->thread = std::thread([state = state_.get()] { state->run(); });
}

PtyServer::~PtyServer() {
    state_->stopping = true;
    detail::wake(state_->wake.get());
    state_->thread.join();
    state_->remove_links();
}

std::string PtyServer::slave_path() const {
    const std::lock_guard lock(state_->mutex);
    return state_->current_path;
}

std::filesystem::path com_port_link(int number) {
    if (number < 1) throw std::runtime_error("COM port numbers start at 1");
    std::filesystem::path prefix;
    if (const char* env = std::getenv("VNR32_PREFIX"); env != nullptr && *env != '\0') {
        prefix = env;
    } else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        prefix = std::filesystem::path(home) / ".vnr32";
    } else {
        throw std::runtime_error("neither VNR32_PREFIX nor HOME is set");
    }
    return prefix / "dosdevices" / ("com" + std::to_string(number));
}

}  // namespace vnrsim
