// sim/src/control_server.cpp: the control channel's socket and pty (see vnrsim/control_server.h).
#include "vnrsim/control_server.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <list>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "pty.h"

namespace vnrsim {
namespace {

constexpr std::size_t kLongestLine = 4096;  // a longer line is answered with an error and dropped
constexpr int kWriteStallMs = 1000;
constexpr int kLingerMs = 500;  // longest wait at the end for the pty's host to read its last answers

sockaddr_un address_of(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string text = path.string();
    if (text.size() >= sizeof address.sun_path)
        throw std::runtime_error("control socket path too long (" + std::to_string(text.size()) + " bytes): " + text);
    std::memcpy(address.sun_path, text.c_str(), text.size() + 1);
    return address;
}

// True when something listens on the socket at `path`.
bool socket_is_live(const sockaddr_un& address) {
    const detail::UniqueFd probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return probe && ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

detail::UniqueFd listen_on(const std::filesystem::path& path) {
    const sockaddr_un address = address_of(path);
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0) {
        if (!S_ISSOCK(info.st_mode)) throw std::runtime_error(path.string() + " exists and is not a socket");
        if (socket_is_live(address)) throw std::runtime_error(path.string() + " is in use by another simulator");
        ::unlink(path.c_str());
    }
    detail::UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd) throw std::system_error(errno, std::generic_category(), "socket");
    if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::system_error(errno, std::generic_category(), "bind " + path.string());
    if (::listen(fd.get(), 8) != 0) throw std::system_error(errno, std::generic_category(), "listen");
    return fd;
}

}  // namespace

struct ControlServer::State {
    // One source of command lines and the place its answers go.
    struct Peer {
        int fd;                     // read and written
        detail::UniqueFd owned;     // set for accepted clients; the pty master is owned by `pty`
        std::string pending;        // bytes after the last complete line
    };

    Control& control;
    Options options;
    detail::UniqueFd listener;
    detail::Pty pty;
    std::list<Peer> peers;
    detail::UniqueFd wake = detail::make_wake();
    std::atomic<bool> stopping{false};
    std::thread thread;

    State(Control& c, Options o) : control(c), options(std::move(o)) {}

    // Answers every complete line in `peer.pending`; false when the peer cannot be written to.
    bool serve_lines(Peer& peer) {
        std::size_t start = 0;
        for (std::size_t i = 0; i < peer.pending.size(); ++i) {
            if (peer.pending[i] != '\n' && peer.pending[i] != '\r') continue;
            const std::string line = peer.pending.substr(start, i - start);
            start = i + 1;
            if (line.empty()) continue;
            const std::string answer = control.execute(line) + "\n";
            if (!detail::write_all(peer.fd, answer.data(), answer.size(), wake.get(), kWriteStallMs)) return false;
        }
        peer.pending.erase(0, start);
        if (peer.pending.size() > kLongestLine) {
            peer.pending.clear();
            const std::string answer = "error: line longer than " + std::to_string(kLongestLine) + " bytes\n";
            return detail::write_all(peer.fd, answer.data(), answer.size(), wake.get(), kWriteStallMs);
        }
        return true;
    }

    // Reads what `peer` sent and answers it; false for a client that hung up or cannot be answered.
    bool take_input(Peer& peer, std::vector<char>& buffer) {
        const ssize_t n = ::read(peer.fd, buffer.data(), buffer.size());
        const bool is_pty = !peer.owned;
        if (n > 0) {
            peer.pending.append(buffer.data(), static_cast<std::size_t>(n));
            return serve_lines(peer) || is_pty;
        }
        return is_pty || (n < 0 && (errno == EAGAIN || errno == EINTR));
    }

    void run() {
        std::vector<char> buffer(kLongestLine);
        while (!stopping) {
            std::vector<pollfd> fds{{wake.get(), POLLIN, 0}, {listener ? listener.get() : -1, POLLIN, 0}};
            for (const Peer& peer : peers) fds.push_back({peer.fd, POLLIN, 0});
            if (::poll(fds.data(), fds.size(), -1) <= 0) continue;
            if (fds[0].revents & POLLIN) detail::drain(wake.get());
            if (stopping) break;
            if (fds[1].revents & POLLIN) {
                detail::UniqueFd client(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
                if (client) {
                    const int fd = client.get();
                    peers.push_back(Peer{fd, std::move(client), {}});
                }
            }
            std::size_t i = 2;
            for (auto peer = peers.begin(); peer != peers.end(); ++i) {
                const bool drop = i < fds.size() && fds[i].revents != 0 && !take_input(*peer, buffer);
                peer = drop ? peers.erase(peer) : std::next(peer);
            }
        }
    }
};

ControlServer::ControlServer(Control& control, Options options)
    : state_(std::make_unique<State>(control, std::move(options))) {
    State& s = *state_;
    if (!s.options.socket.empty()) s.listener = listen_on(s.options.socket);
    try {
        if (!s.options.link.empty()) {
            s.pty = detail::open_pty();
            detail::make_link(s.options.link, s.pty.slave_path);
            s.peers.push_back(State::Peer{s.pty.master.get(), {}, {}});
        }
    } catch (...) {
        if (s.listener) ::unlink(s.options.socket.c_str());
        throw;
    }
    s.thread = std::thread([state = state_.get()] { state->run(); });
}

ControlServer::~ControlServer() {
    state_->stopping = true;
    detail::wake(state_->wake.get());
    state_->thread.join();
    // Closing a pty discards what its host has not read yet, such as the answer to "quit": give the host
    // a moment to read it.
    for (int waited = 0; state_->pty.own_slave && waited < kLingerMs; waited += 10) {
        int unread = 0;
        if (::ioctl(state_->pty.own_slave.get(), FIONREAD, &unread) != 0 || unread == 0) break;
        ::poll(nullptr, 0, 10);
    }
    if (state_->listener) ::unlink(state_->options.socket.c_str());
    if (state_->pty.master) detail::remove_link(state_->options.link, state_->pty.slave_path);
}

std::string ControlServer::pty_path() const { return state_->pty.slave_path; }

}  // namespace vnrsim
