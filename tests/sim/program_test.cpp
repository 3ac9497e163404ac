// tests/sim/program_test.cpp: the program vnr-sim as a script runs it: the ready file and line, a
// reader on the link, the control socket, and a clean stop on "quit".
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "vnrsim/deck.h"
#include "vnrsim/frame.h"

extern char** environ;

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;

std::string read_text(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Sends `line` on the control socket and gives the answer line.
std::string control_line(const std::filesystem::path& socket_path, const std::string& line) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, socket_path.c_str());
    std::string answer;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        ::send(fd, line.data(), line.size(), MSG_NOSIGNAL);
        char c = 0;
        while (::read(fd, &c, 1) == 1 && c != '\n') answer += c;
    }
    ::close(fd);
    return answer;
}

// Sends `command` to the reader on the pty `path`, opened raw as the library opens it, and reads
// `count` reply bytes or what came within two seconds.
Bytes exchange_on(const std::filesystem::path& path, const Bytes& command, std::size_t count) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios mode{};
    ::tcgetattr(fd, &mode);
    ::cfmakeraw(&mode);
    ::tcsetattr(fd, TCSANOW, &mode);
    Bytes got;
    if (::write(fd, command.data(), command.size()) == ssize_t(command.size())) {
        std::uint8_t buffer[256];
        pollfd watch{fd, POLLIN, 0};
        while (got.size() < count && ::poll(&watch, 1, 2000) > 0) {
            const ssize_t n = ::read(fd, buffer, std::min(sizeof buffer, count - got.size()));
            if (n <= 0) break;
            got.insert(got.end(), buffer, buffer + n);
        }
    }
    ::close(fd);
    return got;
}

TEST(Program, StartsServesAndStopsCleanlyOnQuit) {
    char pattern[] = "/tmp/vnrsim-program-XXXXXX";
    const std::filesystem::path dir = ::mkdtemp(pattern);
    const auto prefix = dir / "prefix", ready = dir / "ready", control = dir / "control";
    const auto com1 = prefix / "dosdevices" / "com1";
    std::vector<std::string> args{VNRSIM_PROGRAM, "--deck", VNRSIM_DECKS "/reader.json", "--port", "1", "--form",
                                  "plain", "--control", control.string(), "--ready-file", ready.string()};
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, (dir / "stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::setenv("VNR32_PREFIX", prefix.c_str(), 1);
    pid_t pid = -1;
    ASSERT_EQ(posix_spawn(&pid, VNRSIM_PROGRAM, &files, nullptr, argv.data(), environ), 0);
    ::unsetenv("VNR32_PREFIX");
    posix_spawn_file_actions_destroy(&files);
    const auto stop = [&] { ::kill(pid, SIGKILL), ::waitpid(pid, nullptr, 0); };
    for (int i = 0; i < 500 && read_text(ready).empty(); ++i) std::this_thread::sleep_for(10ms);

    std::error_code no_link;
    const std::string pty = std::filesystem::read_symlink(com1, no_link).string();
    if (no_link) stop();
    ASSERT_FALSE(no_link) << "no link to the reader";
    EXPECT_EQ(read_text(ready), pty + "\n");
    EXPECT_EQ(read_text(dir / "stdout"), "vnr-sim: serving " + pty + " as " + com1.string() + "\n");
    Bytes expected{0x00, 0x00};
    for (const char c : std::string("VNR-32 R1.08")) expected.push_back(std::uint8_t(c));
    expected = vnrsim::encode_frame(expected, vnrsim::Form::plain);
    EXPECT_EQ(exchange_on(com1, vnrsim::parse_hex("02 30 30 30 33 33 31 31 31 30 30 32 30 03"), expected.size()),
              expected) << "31 11 00 answered; --form plain overrides the deck";
    EXPECT_EQ(control_line(control, "history\r\n"), "ok 311100");
    EXPECT_EQ(control_line(control, "quit\n"), "ok bye");
    int status = -1;
    bool ended = false;
    for (int i = 0; i < 500 && !(ended = ::waitpid(pid, &status, WNOHANG) == pid); ++i)
        std::this_thread::sleep_for(10ms);
    if (!ended) stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(com1)));
    EXPECT_FALSE(std::filesystem::exists(control));
    EXPECT_FALSE(std::filesystem::exists(ready));
    std::filesystem::remove_all(dir);
}

}  // namespace
