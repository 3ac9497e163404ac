// The program vnr-sim as a script runs it: ready file and line, pty link, control socket, "quit", help.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "vnrsim/control.h"
#include "vnrsim/help.h"

extern char** environ;

namespace {

using namespace std::chrono_literals;

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

TEST(Program, StartsServesAndStopsCleanlyOnQuit) {
    char pattern[] = "/tmp/vnrsim-program-XXXXXX";
    const std::filesystem::path dir = ::mkdtemp(pattern);
    const auto prefix = dir / "prefix", ready = dir / "ready", control = dir / "control";
    const auto com1 = prefix / "dosdevices" / "com1";
    std::vector<std::string> args{VNRSIM_PROGRAM,  "--deck", VNRSIM_DECKS "/reader.json", "--port", "1",
                                  "--control",     control.string(), "--ready-file", ready.string()};
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
    // The deck's portraits are packed at start, which takes seconds in a sanitizer build on a busy machine.
    for (int i = 0; i < 6000 && read_text(ready).empty(); ++i) std::this_thread::sleep_for(10ms);

    std::error_code no_link;
    const std::string pty = std::filesystem::read_symlink(com1, no_link).string();
    if (no_link) stop();
    ASSERT_FALSE(no_link) << "no link to the reader";
    EXPECT_EQ(read_text(ready), pty + "\n");
    EXPECT_EQ(read_text(dir / "stdout"), "vnr-sim: serving " + pty + " as " + com1.string() + "\n");
    EXPECT_EQ(control_line(control, "faults\r\n"), "ok none");
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

// vnr-sim --help ends with the help of the reader and its models, in which every model's help stands
// whole; the control command "help" names every model's commands.
TEST(Program, HelpHoldsEveryModelsHelp) {
    FILE* pipe = ::popen(VNRSIM_PROGRAM " --help", "r");
    ASSERT_TRUE(pipe);
    std::string usage;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) usage.append(buffer, n);
    EXPECT_EQ(::pclose(pipe), 0);
    const vnrsim::ModelSet models;
    const std::string text = vnrsim::help_text(models);
    EXPECT_TRUE(usage.ends_with(text));

    // The help reflows prose and indents examples: compare with every run of blanks made one space.
    const auto squeezed = [](std::string_view in) {
        std::string out;
        for (const char c : in) {
            const bool blank = c == ' ' || c == '\n';
            if (!blank || (!out.empty() && out.back() != ' ')) out += blank ? ' ' : c;
        }
        return out;
    };
    const std::string flat = squeezed(text);
    vnrsim::Reader reader;
    const std::string line = vnrsim::Control(reader).execute("help");
    for (const vnrsim::Model& model : models.all()) {
        const vnrsim::ModelHelp& help = model.help();
        for (const std::string_view part : {help.title, help.about, help.deck_example, help.deck_keys})
            EXPECT_NE(flat.find(squeezed(part)), std::string::npos) << model.name() << ": " << part;
        for (const vnrsim::CommandHelp& command : help.commands) {
            EXPECT_NE(flat.find(squeezed(std::string(command.syntax) + " " + std::string(command.what))),
                      std::string::npos) << command.syntax;
            EXPECT_NE(line.find(command.syntax), std::string::npos) << command.syntax;
        }
    }
}

}  // namespace
