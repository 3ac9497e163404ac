// tests/sim/control_test.cpp: control commands, judged by what the reader does afterwards; and the
// control socket and pty.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "sim_test_util.h"
#include "vnrsim/control.h"
#include "vnrsim/control_server.h"

namespace {

using simtest::Bytes;
using simtest::hex;
using vnrsim::Form;

Bytes reply(std::uint16_t status, std::string_view data = {}, Form form = Form::split) {
    Bytes payload{static_cast<std::uint8_t>(status >> 8), static_cast<std::uint8_t>(status & 0xFF)};
    payload.insert(payload.end(), data.begin(), data.end());
    return vnrsim::encode_frame(payload, form);
}

class ControlTest : public ::testing::Test {
protected:
    static vnrsim::Deck deck() {
        vnrsim::Deck d;
        d.contactless_version = "RF 2.05";
        return d;
    }
    Bytes ask() { return reader.receive(vnrsim::encode_frame(hex("31 11 01"), Form::split)); }
    bool ok(std::string_view line) {
        const std::string answer = control.execute(line);
        EXPECT_EQ(answer.rfind("ok", 0), 0u) << line << " -> " << answer;
        return answer.rfind("ok", 0) == 0;
    }
    bool refused(std::string_view line) {
        const std::string answer = control.execute(line);
        EXPECT_EQ(answer.rfind("error: ", 0), 0u) << line << " -> " << answer;
        return answer.rfind("error: ", 0) == 0;
    }

    const Bytes good = reply(0, "RF 2.05");
    vnrsim::Reader reader{deck()};
    int quits = 0;
    vnrsim::Control control{reader, [this] { ++quits; }};
};

using ControlCommands = ControlTest;

TEST_F(ControlCommands, FaultNoiseTakesItsLengthAndWhen) {
    ok("fault noise 9 once");
    EXPECT_EQ(ask().size(), good.size() + 9);
    EXPECT_EQ(ask(), good);
    ok("FAULT Noise 2 3");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(ask().size(), good.size() + 2) << i;
    EXPECT_EQ(ask(), good);
    refused("fault noise");
    refused("fault noise many");
    refused("fault noise 3 sometimes");
    refused("fault noise 3 0");
}

TEST_F(ControlCommands, FaultCutTakesAnOptionalLengthThenWhen) {
    ok("fault cut once");
    EXPECT_EQ(ask(), Bytes(good.begin(), good.begin() + good.size() / 2));
    ok("fault cut 3");
    EXPECT_EQ(ask(), Bytes(good.begin(), good.begin() + 3));
    EXPECT_EQ(ask(), good) << "a lone number after cut is the length, and the fault stands once";
    ok("fault cut 4 2");
    EXPECT_EQ(ask().size(), 4u);
    EXPECT_EQ(ask().size(), 4u);
    EXPECT_EQ(ask(), good);
}

TEST_F(ControlCommands, SilenceCheckAndEndDefaultToOnce) {
    ok("fault silence");
    EXPECT_TRUE(ask().empty());
    EXPECT_EQ(ask(), good);
    ok("fault end");
    EXPECT_EQ(ask().back(), vnrsim::kWrongEndByte);
    ok("fault check always");
    EXPECT_NE(ask(), good);
    EXPECT_NE(ask(), good);
    ok("clear check");
    EXPECT_EQ(ask(), good);
}

TEST_F(ControlCommands, HangupStandsUntilClearAndTakesNoCount) {
    refused("fault hangup once");
    refused("fault hangup 2");
    ok("fault hangup");
    EXPECT_TRUE(reader.hung_up());
    ok("clear");
    EXPECT_FALSE(reader.hung_up());
    ok("fault hangup always");
    ok("clear hangup");
    EXPECT_FALSE(reader.hung_up());
}

TEST_F(ControlCommands, ClearAndFaultsReportWhatStands) {
    ok("fault silence always");
    ok("fault noise 4 2");
    EXPECT_EQ(control.execute("faults"), "ok noise 4 for 2 replies, silence always");
    ok("clear noise");
    EXPECT_EQ(control.execute("faults"), "ok silence always");
    ok("clear");
    EXPECT_EQ(control.execute("faults"), "ok none");
    refused("clear everything");
}

TEST_F(ControlCommands, FormBaudAndVersionChangeTheReader) {
    ok("form plain");
    EXPECT_EQ(ask(), reply(0, "RF 2.05", Form::plain));
    refused("form compact");
    ok("baud 9600");
    EXPECT_EQ(reader.baud(), 9600u);
    refused("baud fast");
    ok("version 1   RF 3.00 beta  ");
    EXPECT_EQ(ask(), reply(0, "RF 3.00 beta", Form::plain)) << "the rest of the line, inner spaces kept";
    ok("version 0 读写器");
    EXPECT_EQ(reader.deck().reader_version, "\xB6\xC1\xD0\xB4\xC6\xF7");
    refused("version 2 x");
}

TEST_F(ControlCommands, ReplyAddsACannedReplyAheadOfTheOthers) {
    ok("reply 3111 6A82 times 1");
    EXPECT_EQ(ask(), reply(0x6A82));
    EXPECT_EQ(ask(), good);
    ok("reply 31 0 A0B1");
    EXPECT_EQ(ask(), reply(0, "\xA0\xB1"));
    ok("reply 3111 9000 - times 2");
    EXPECT_EQ(ask(), reply(0x9000));
    refused("reply 3111");
    refused("reply 31G1 0");
    refused("reply 3111 12345");
    refused("reply 3111 0 00 times 0");
    refused("reply 3111 0 00 extra");
}

TEST_F(ControlCommands, StatsAndHistoryReportWhatCameIn) {
    ask();
    reader.receive(vnrsim::encode_frame(hex("32 50"), Form::plain));
    EXPECT_EQ(control.execute("stats"), "ok received 2 sent 2 bad 0 unknown 1 silenced 0 skipped 0");
    EXPECT_EQ(control.execute("history"), "ok 311101 3250");
    EXPECT_EQ(control.execute("history 1"), "ok 3250");
    ok("clear history");
    EXPECT_EQ(control.execute("history"), "ok");
}

TEST_F(ControlCommands, QuitCallsBackAndBadLinesAreAnsweredNotThrown) {
    EXPECT_EQ(control.execute("quit"), "ok bye");
    EXPECT_EQ(quits, 1);
    refused("");
    refused("   ");
    refused("launch");
    refused("fault");
    refused("fault flood");
    refused("stats now");
}

// ---- The control channel's transports ------------------------------------------------------------

// Sends `text` on a connected stream and reads `lines` answer lines.
std::string exchange(int fd, const std::string& text, int lines) {
    EXPECT_EQ(::send(fd, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    std::string got;
    char c = 0;
    while (lines > 0) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 2000) <= 0 || ::read(fd, &c, 1) != 1) break;
        got += c;
        if (c == '\n') --lines;
    }
    return got;
}

using ControlChannel = ControlTest;

TEST_F(ControlChannel, TheSocketAnswersEachLineWhateverItsLineEnd) {
    simtest::TempDir dir;
    const auto path = dir / "control";
    {
        vnrsim::ControlServer server(control, {path, {}});
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, path.c_str());
        ASSERT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(exchange(fd, "fault silence\r\n\nfaul", 1), "ok fault silence once\n");
        EXPECT_EQ(exchange(fd, "ts\rbogus\n", 2), "ok silence once\nerror: unknown command \"bogus\" (try help)\n");
        ::close(fd);
        EXPECT_THROW(vnrsim::ControlServer(control, {path, {}}), std::runtime_error) << "a live socket is in use";
    }
    EXPECT_FALSE(std::filesystem::exists(path)) << "the socket file goes with the server";
}

TEST_F(ControlChannel, TheControlPtyServesAHostThatOpensItLikeAComPort) {
    simtest::TempDir dir;
    const auto link = dir / "ports" / "control";
    {
        vnrsim::ControlServer server(control, {{}, link});
        EXPECT_EQ(std::filesystem::read_symlink(link), server.pty_path());
        for (int session = 0; session < 2; ++session) {
            simtest::Host host(link);
            ASSERT_TRUE(host.is_open());
            ASSERT_TRUE(host.send(simtest::Bytes{'b', 'a', 'u', 'd', ' ', '1', '2', '\r', '\n'}));
            const Bytes answer = host.read(11, std::chrono::milliseconds(2000));
            EXPECT_EQ(std::string(answer.begin(), answer.end()), "ok baud 12\n") << "session " << session;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
}

}  // namespace
