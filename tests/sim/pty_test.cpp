// tests/sim/pty_test.cpp: the reader on a pseudo-terminal paces its replies at the deck's baud rate.
#include <gtest/gtest.h>

#include "sim_test_util.h"
#include "vnrsim/pty_server.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using simtest::Bytes;
using simtest::hex;

TEST(PtyPacing, EachReplyByteTakesTenBitTimesAndBaudZeroIsUnpaced) {
    struct Case {
        std::uint32_t baud;
        std::size_t data;   // the frame is 2 * (data + 2) + 8 bytes
        double at_least_ms;
        double below_ms;
    };
    const Case cases[] = {
        {9600, 494, 1000 * 10 / 9.6 - 1, 1000 * 10 / 9.6 + 150},
        {115200, 1289, 2590 * 10 / 115.2 - 0.5, 2590 * 10 / 115.2 + 40},
        {0, 5000, 0, 200},
    };
    for (const Case& c : cases) {
        vnrsim::Deck deck;
        deck.baud = c.baud;
        deck.replies.push_back({hex("32 50"), 0, Bytes(c.data, 0x5A), std::nullopt, std::nullopt});
        vnrsim::Reader reader(deck);
        vnrsim::PtyServer server(reader);
        simtest::Host host(server.slave_path());
        const Bytes expected = simtest::reply(0, Bytes(c.data, 0x5A));
        const auto start = Clock::now();
        ASSERT_TRUE(host.send(vnrsim::encode_frame(hex("32 50"), vnrsim::Form::split)));
        EXPECT_EQ(host.read(expected.size(), 10s), expected);
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        EXPECT_GE(ms, c.at_least_ms) << c.baud;
        EXPECT_LT(ms, c.below_ms) << c.baud;
    }
}

}  // namespace
