// tests/sim/pty_test.cpp: the reader served on a pseudo-terminal, seen from a host that opens it as the
// client library does: round trips, links, pacing at a baud rate, and hangup.
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "sim_test_util.h"
#include "vnrsim/pty_server.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using simtest::Bytes;
using simtest::hex;
using vnrsim::Fault;
using vnrsim::Form;

const Bytes kQuerySplit = hex("02 30 30 30 33 33 31 31 31 30 31 32 31 03");  // 31 11 01

Bytes reply(std::uint16_t status, const Bytes& data, Form form = Form::split) {
    Bytes payload{static_cast<std::uint8_t>(status >> 8), static_cast<std::uint8_t>(status & 0xFF)};
    payload.insert(payload.end(), data.begin(), data.end());
    return vnrsim::encode_frame(payload, form);
}

vnrsim::Deck deck(std::uint32_t baud = 0) {
    vnrsim::Deck d;
    d.contactless_version = "VNR-32 RF 2.05";
    d.baud = baud;
    return d;
}

const Bytes kVersion(std::string_view("VNR-32 RF 2.05").begin(), std::string_view("VNR-32 RF 2.05").end());
const Bytes kVersionReply = reply(0, kVersion);

TEST(PtyServing, AHostGetsTheVersionReplyAndCanComeBackLater) {
    vnrsim::Reader reader(deck());
    vnrsim::PtyServer server(reader);
    ASSERT_FALSE(server.slave_path().empty());
    {
        // Before any host sets it, the line is already raw: no echo, no line editing, no translation.
        const int fd = ::open(server.slave_path().c_str(), O_RDWR | O_NOCTTY);
        termios mode{};
        ASSERT_EQ(::tcgetattr(fd, &mode), 0);
        EXPECT_EQ(mode.c_lflag & (ICANON | ECHO | ISIG), 0u);
        EXPECT_EQ(mode.c_iflag & (ICRNL | IXON), 0u);
        EXPECT_EQ(mode.c_oflag & OPOST, 0u);
        ::close(fd);
    }
    const Bytes expected = reply(0, kVersion);
    for (int session = 0; session < 3; ++session) {
        simtest::Host host(server.slave_path());
        ASSERT_TRUE(host.is_open());
        EXPECT_TRUE(host.locked()) << "the simulator's own slave descriptor must hold no lock";
        ASSERT_TRUE(host.send(kQuerySplit));
        EXPECT_EQ(host.read(expected.size(), 2s), expected) << "session " << session;
    }
    EXPECT_EQ(reader.commands_received().size(), 3u);
}

TEST(PtyServing, TheReplyWaitsForTheWholeCommand) {
    vnrsim::Reader reader(deck());
    vnrsim::PtyServer server(reader);
    simtest::Host host(server.slave_path());
    ASSERT_TRUE(host.send(Bytes(kQuerySplit.begin(), kQuerySplit.begin() + 6)));
    EXPECT_TRUE(host.read(1, 100ms).empty());
    ASSERT_TRUE(host.send_more(Bytes(kQuerySplit.begin() + 6, kQuerySplit.end())));
    EXPECT_EQ(host.read(kVersionReply.size(), 2s).size(), kVersionReply.size());
}

TEST(PtyServing, LinksAreMadeReplacedAndRemoved) {
    simtest::TempDir dir;
    const auto link = dir / "prefix" / "dosdevices" / "com1";
    const auto stale = dir / "com2";
    std::filesystem::create_symlink("/dev/pts/does-not-exist", stale);
    {
        vnrsim::Reader reader(deck());
        vnrsim::PtyServer server(reader, {{link, stale}, {}});
        EXPECT_EQ(std::filesystem::read_symlink(link), server.slave_path());
        EXPECT_EQ(std::filesystem::read_symlink(stale), server.slave_path()) << "a stale link is replaced";
        simtest::Host host(link);
        ASSERT_TRUE(host.send(kQuerySplit));
        EXPECT_EQ(host.read(kVersionReply.size(), 2s), kVersionReply);
    }
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(stale)));

    const auto file = dir / "com3";
    { std::ofstream(file) << "not a link"; }
    vnrsim::Reader reader(deck());
    EXPECT_THROW(vnrsim::PtyServer(reader, {{file}, {}}), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_regular_file(file)) << "a file that is no link is left alone";
}

TEST(PtyServing, ComPortLinksLiveUnderThePrefix) {
    const char* old = std::getenv("VNR32_PREFIX");
    const std::string saved = old ? old : "";
    ::setenv("VNR32_PREFIX", "/tmp/some-prefix", 1);
    EXPECT_EQ(vnrsim::com_port_link(1), "/tmp/some-prefix/dosdevices/com1");
    ::unsetenv("VNR32_PREFIX");
    if (const char* home = std::getenv("HOME")) {
        EXPECT_EQ(vnrsim::com_port_link(10), std::filesystem::path(home) / ".vnr32/dosdevices/com10");
    }
    if (old) ::setenv("VNR32_PREFIX", saved.c_str(), 1);
    EXPECT_THROW(vnrsim::com_port_link(0), std::runtime_error);
}

// Time from the end of the command to the last byte of a reply of `data_bytes` data bytes.
Clock::duration time_reply(std::uint32_t baud, std::size_t data_bytes, std::size_t* frame_size) {
    vnrsim::Deck d = deck(baud);
    d.replies.push_back({hex("32 50"), 0, Bytes(data_bytes, 0x5A), std::nullopt, std::nullopt});
    vnrsim::Reader reader(d);
    vnrsim::PtyServer server(reader);
    simtest::Host host(server.slave_path());
    const Bytes expected = reply(0, Bytes(data_bytes, 0x5A));
    *frame_size = expected.size();
    const auto start = Clock::now();
    EXPECT_TRUE(host.send(vnrsim::encode_frame(hex("32 50"), Form::split)));
    EXPECT_EQ(host.read(expected.size(), 10s), expected);
    return Clock::now() - start;
}

TEST(PtyPacing, ARepliesBytesTakeTenBitTimesEachAt9600) {
    std::size_t size = 0;
    const auto took = time_reply(9600, 494, &size);  // 2 * (494 + 2) + 8 = 1000 bytes
    ASSERT_EQ(size, 1000u);
    const auto wire = std::chrono::duration<double>(1000 * 10 / 9600.0);
    EXPECT_GE(took, wire - 1ms);
    EXPECT_LT(took, wire + 150ms);
}

TEST(PtyPacing, The1289ByteReplyTakes224Point8MsAt115200) {
    std::size_t size = 0;
    const auto took = time_reply(115200, 1289, &size);
    ASSERT_EQ(size, 2590u);
    const double ms = std::chrono::duration<double, std::milli>(took).count();
    EXPECT_GE(ms, 2590 * 10 / 115.2 - 0.5);
    EXPECT_LT(ms, 2590 * 10 / 115.2 + 40);
}

TEST(PtyPacing, NoPacingAtBaudZero) {
    std::size_t size = 0;
    EXPECT_LT(time_reply(0, 5000, &size), 200ms);
}

// Waits until `done` holds, up to `limit`.
template <typename Done>
bool eventually(Done done, Clock::duration limit = 2s) {
    const auto deadline = Clock::now() + limit;
    while (!done()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

TEST(PtyHangup, TheLineDiesWhileItStandsAndComesBackOnANewPtyWhenCleared) {
    simtest::TempDir dir;
    const auto link = dir / "com1";
    vnrsim::Reader reader(deck());
    vnrsim::PtyServer server(reader, {{link}, {}});
    simtest::Host before(link);
    ASSERT_TRUE(before.send(kQuerySplit));
    ASSERT_EQ(before.read(kVersionReply.size(), 2s), kVersionReply);

    reader.inject(Fault::hangup, vnrsim::Times::always);
    ASSERT_TRUE(eventually([&] { return server.slave_path().empty(); }));
    EXPECT_FALSE(before.send(kQuerySplit)) << "writes fail on a hung-up line";
    EXPECT_TRUE(before.read(1, 50ms).empty());
    EXPECT_FALSE(simtest::Host(link).is_open()) << "the link dangles while the line is down";

    reader.clear(Fault::hangup);
    ASSERT_TRUE(eventually([&] { return !server.slave_path().empty(); }));
    EXPECT_EQ(std::filesystem::read_symlink(link), server.slave_path());
    simtest::Host after(link);
    ASSERT_TRUE(after.is_open());
    ASSERT_TRUE(after.send(kQuerySplit));
    EXPECT_EQ(after.read(kVersionReply.size(), 2s), kVersionReply);
}

TEST(PtyHangup, AHangupCutsAPacedReplyShort) {
    vnrsim::Deck d = deck(9600);
    d.replies.push_back({hex("32 50"), 0, Bytes(2000, 0), std::nullopt, std::nullopt});
    vnrsim::Reader reader(d);
    vnrsim::PtyServer server(reader);
    simtest::Host host(server.slave_path());
    ASSERT_TRUE(host.send(vnrsim::encode_frame(hex("32 50"), Form::split)));
    std::thread puller([&] {
        std::this_thread::sleep_for(50ms);
        reader.inject(Fault::hangup, vnrsim::Times::always);
    });
    const Bytes got = host.read(4008, 1s);
    puller.join();
    EXPECT_GT(got.size(), 20u) << "about 48 bytes go out in 50 ms";
    EXPECT_LT(got.size(), 200u) << "the 4008-byte reply stops at the hangup";
}

}  // namespace
