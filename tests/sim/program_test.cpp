// tests/sim/program_test.cpp: the program vnr-sim as a script runs it: refusals with their exit
// status, the ready line and file, a reader on the link, and a clean stop on "quit" or SIGTERM.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "sim_test_util.h"

extern char** environ;

namespace {

using namespace std::chrono_literals;
using simtest::Bytes;
using simtest::hex;

std::string read_text(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// vnr-sim with `args`, its stdout and stderr going to files in `dir`.
class Program {
public:
    Program(const simtest::TempDir& dir, std::vector<std::string> args) : dir_(dir) {
        args.insert(args.begin(), VNRSIM_PROGRAM);
        std::vector<char*> argv;
        for (std::string& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 1, (dir / "stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&files, 2, (dir / "stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        EXPECT_EQ(posix_spawn(&pid_, VNRSIM_PROGRAM, &files, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&files);
    }
    ~Program() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    // The exit status, waiting at most `limit`; -1 when it is still running (or died of a signal).
    int exit_status(std::chrono::milliseconds limit = 5000ms) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < deadline) {
            int status = 0;
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(10ms);
        }
        return -1;
    }
    void signal(int number) const { ::kill(pid_, number); }
    std::string out() const { return read_text(dir_ / "stdout"); }
    std::string err() const { return read_text(dir_ / "stderr"); }

private:
    const simtest::TempDir& dir_;
    pid_t pid_ = -1;
};

bool wait_for_file(const std::filesystem::path& path) {
    for (int i = 0; i < 500; ++i) {
        std::error_code ignored;
        if (std::filesystem::file_size(path, ignored) > 0 && !ignored) return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

std::string control_line(const std::filesystem::path& socket_path, const std::string& line) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, socket_path.c_str());
    std::string answer;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        const std::string text = line + "\n";
        ::send(fd, text.data(), text.size(), MSG_NOSIGNAL);
        char c = 0;
        while (::read(fd, &c, 1) == 1 && c != '\n') answer += c;
    }
    ::close(fd);
    return answer;
}

TEST(Program, RefusesBadOptionsAndBadDecksWithAMessage) {
    simtest::TempDir dir;
    {
        Program p(dir, {"--deck"});
        EXPECT_EQ(p.exit_status(), 2);
        EXPECT_NE(p.err().find("--deck needs a value"), std::string::npos) << p.err();
    }
    {
        Program p(dir, {"--deck", VNRSIM_DECKS "/reader.json", "--bogus"});
        EXPECT_EQ(p.exit_status(), 2);
        EXPECT_NE(p.err().find("unknown option --bogus"), std::string::npos) << p.err();
    }
    {
        Program p(dir, {"--deck", VNRSIM_DECKS "/reader.json", "--port", "0"});
        EXPECT_EQ(p.exit_status(), 2);
    }
    std::ofstream(dir / "typo.json") << R"({"reader_version": "x", "buad": 9600})";
    {
        Program p(dir, {"--deck", (dir / "typo.json").string()});
        EXPECT_EQ(p.exit_status(), 1);
        EXPECT_NE(p.err().find("\"buad\""), std::string::npos) << p.err();
        EXPECT_TRUE(p.out().empty());
    }
    {
        Program p(dir, {"--help"});
        EXPECT_EQ(p.exit_status(), 0);
        EXPECT_NE(p.out().find("unknown_command_status"), std::string::npos);
        EXPECT_NE(p.out().find("fault cut"), std::string::npos);
    }
}

TEST(Program, ServesUntilQuitThenCleansUp) {
    simtest::TempDir dir;
    const auto prefix = dir / "prefix";
    ::setenv("VNR32_PREFIX", prefix.c_str(), 1);
    const auto com1 = prefix / "dosdevices" / "com1";
    const auto ready = dir / "ready";
    const auto control = dir / "control";
    Program p(dir, {"--deck", VNRSIM_DECKS "/reader.json", "--port", "1", "--form", "plain", "--baud", "0",
                    "--control", control.string(), "--ready-file", ready.string()});
    ::unsetenv("VNR32_PREFIX");
    ASSERT_TRUE(wait_for_file(ready)) << p.err();
    const std::string pty = std::filesystem::read_symlink(com1).string();
    EXPECT_EQ(read_text(ready), pty + "\n");
    EXPECT_EQ(p.out(), "vnr-sim: serving " + pty + " as " + com1.string() + "\n");

    simtest::Host host(com1);
    ASSERT_TRUE(host.send(hex("02 30 30 30 33 33 31 31 31 30 30 32 30 03")));  // 31 11 00
    const std::string text = "VNR-32 R1.08";
    Bytes payload{0, 0};
    payload.insert(payload.end(), text.begin(), text.end());
    const Bytes expected = vnrsim::encode_frame(payload, vnrsim::Form::plain);
    EXPECT_EQ(host.read(expected.size(), 2s), expected) << "--form plain overrides the deck";

    EXPECT_EQ(control_line(control, "history"), "ok 311100");
    EXPECT_EQ(control_line(control, "quit"), "ok bye");
    EXPECT_EQ(p.exit_status(), 0) << p.err();
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(com1)));
    EXPECT_FALSE(std::filesystem::exists(control));
    EXPECT_FALSE(std::filesystem::exists(ready));
}

TEST(Program, StopsCleanlyOnSigterm) {
    simtest::TempDir dir;
    const auto link = dir / "reader";
    const auto control_link = dir / "control";
    const auto ready = dir / "ready";
    Program p(dir, {"--deck", VNRSIM_DECKS "/plain_reader.json", "--link", link.string(), "--control-link",
                    control_link.string(), "--ready-file", ready.string()});
    ASSERT_TRUE(wait_for_file(ready)) << p.err();
    EXPECT_TRUE(std::filesystem::is_symlink(control_link));
    p.signal(SIGTERM);
    EXPECT_EQ(p.exit_status(), 0);
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(control_link)));
}

}  // namespace
