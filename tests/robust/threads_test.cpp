// Many threads at once (counts times VNR_ROBUST_SCALE). Opening: the reader is held exclusively, so every
// open while another thread holds it is refused as the link refuses a held device; never two handles.
// Sharing: threads share one handle across the families; each call gives what it gives alone, commands
// arrive whole, and two bank reads never overlap (their header forbids it).
#include "robust/robust_support.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using robust::FamilyCall;
using robust::Session;
using vnr::test::Link;

class Threads : public Session, public ::testing::WithParamInterface<Link> {};

TEST_P(Threads, OpensOfOneReaderFromManyThreadsTakeTurns) {
    open_on(GetParam());
    drop_handle();
    const int threads = robust::scaled(100), opens = 10;
    const bool serial = GetParam() == Link::serial;
    const int refused = serial ? VNR_E_PORT_DENIED : 0;
    std::atomic<int> holding{0}, most_holding{0};
    std::vector<std::map<int, int>> results(threads);  // per thread: result class -> count
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            for (int i = 0; i < opens; ++i) {
                const std::int32_t handle = serial ? device_open(0, 115200) : device_open_name("USB", 0, 0);
                if (handle > 1) {
                    const int now = ++holding;
                    int seen = most_holding;
                    while (now > seen && !most_holding.compare_exchange_weak(seen, now)) {
                    }
                    --holding;
                    ++results[t][device_close(handle) == VNR_OK ? 1 : 2];  // 1: opened and closed
                } else {
                    ++results[t][handle];
                }
            }
        });
    for (auto& thread : pool) thread.join();
    int opened = 0, denied = 0;
    for (const auto& r : results) {
        for (const auto& [result, count] : r)
            EXPECT_TRUE(result == 1 || result == refused) << "an open or close gave " << result;
        opened += r.count(1) ? r.at(1) : 0, denied += r.count(refused) ? r.at(refused) : 0;
    }
    EXPECT_EQ(opened + denied, threads * opens);
    EXPECT_GE(opened, 1);
    EXPECT_EQ(most_holding.load(), 1);
    EXPECT_EQ(reader.stats().bad_frames, 0u);
}

TEST_P(Threads, SixteenThreadsShareOneHandleAcrossTheFamilies) {
    open_on(GetParam());
    answer_family_calls();
    const auto& calls = robust::family_calls();
    // Each call once by itself first: it works alone, and the commands it sends are counted.
    std::vector<std::uint64_t> commands_of(calls.size(), 0);
    for (std::size_t c = 0; c < calls.size(); ++c) {
        const std::uint64_t before = reader.stats().frames_received;
        robust::OutBuffer out;
        ASSERT_EQ(calls[c].call(icdev, out.bytes), VNR_OK) << calls[c].family;
        ASSERT_TRUE(out.holds(calls[c].written)) << calls[c].family;
        commands_of[c] = reader.stats().frames_received - before;
    }
    reader.clear_history();
    const int threads = 16, per_thread = robust::scaled(10000) / threads;
    std::vector<std::vector<int>> wrong(threads, std::vector<int>(calls.size(), 0));
    std::mutex one_at_a_time;  // for the calls whose header forbids two at once
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            for (int i = 0; i < per_thread; ++i) {
                const std::size_t which = static_cast<std::size_t>(t + i) % calls.size();
                robust::OutBuffer out;
                std::unique_lock<std::mutex> alone(one_at_a_time, std::defer_lock);
                if (calls[which].one_at_a_time) alone.lock();
                if (calls[which].call(icdev, out.bytes) != VNR_OK || !out.holds(calls[which].written)) ++wrong[t][which];
            }
        });
    for (auto& thread : pool) thread.join();
    std::uint64_t expected_commands = 0;
    for (std::size_t c = 0; c < calls.size(); ++c) {
        int failed = 0, made = 0;
        for (int t = 0; t < threads; ++t) {
            failed += wrong[t][c];
            for (int i = 0; i < per_thread; ++i) made += static_cast<std::size_t>(t + i) % calls.size() == c;
        }
        expected_commands += commands_of[c] * static_cast<std::uint64_t>(made);
        EXPECT_EQ(failed, 0) << calls[c].family << ": of " << made;
    }
    // Every command the reader took is one of those sent, whole: no frame of one call ran into another's.
    const vnrsim::Stats stats = reader.stats();
    EXPECT_EQ(stats.frames_received, expected_commands);
    EXPECT_EQ(stats.bad_frames, 0u);
    for (const auto& command : sent())
        EXPECT_TRUE(std::any_of(calls.begin(), calls.end(), [&](const FamilyCall& c) {
            return std::any_of(c.sends.begin(), c.sends.end(), [&](const vnr::test::Bytes& head) {
                return command.size() >= head.size() && std::equal(head.begin(), head.end(), command.begin());
            });
        }));
}

// The log hides a key load's key bytes and a plain PIN read's PIN. Each call marks its exchange as
// secret; with two threads at once, one call's mark must not be undone by the other's.
TEST_P(Threads, SecretsStayOutOfTheLogWhileThreadsInterleave) {
    prefix.enable_log();
    open_on(GetParam());
    answer_family_calls();
    answer({0xC5, 0x03}, {});
    const int calls = robust::scaled(200);
    std::thread pins([&] {
        for (int i = 0; i < calls; ++i) {
            std::uint8_t pin[50] = {};
            EXPECT_EQ(mw_kb_getpin(icdev, 1, pin), VNR_OK);
        }
    });
    for (int i = 0; i < calls; ++i) EXPECT_EQ(mw_kb_downloadmainkey(icdev, 0, 1, "0123456789ABCDEF"), VNR_OK);
    pins.join();
    const std::string log = vnr::test::log_text(prefix);
    EXPECT_NE(log.find("Send: C503000001****************."), std::string::npos) << "no key load was logged";
    for (const char* secret : {"0123456789ABCDEF", "313233343536"}) {
        const std::size_t at = log.find(secret);
        EXPECT_EQ(at, std::string::npos) << "a secret went into the log: " << log.substr(at - std::min<std::size_t>(at, 120), 160);
    }
}

INSTANTIATE_TEST_SUITE_P(OnEachLink, Threads, ::testing::Values(Link::serial, Link::hid), vnr::test::link_name);

}  // namespace
