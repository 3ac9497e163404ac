// bench/exchange_bench.cpp: the serial exchange measured against the physical limit.
//
// SplitReplyAt115200: command 32 50 answered with 1289 data bytes in the split form (a 2590-byte frame)
// by the simulated reader at an emulated 115200 baud. Reported: the wall time of the exchange as a ratio
// to the frame's wire time (2590 * 10 bits / 115200 = 224.83 ms), and the read system calls the
// calling thread made per frame (one a byte: each byte is read by itself, so that its time is known).
// WaitForSilentReader: a reply that never comes, waited for 2 s. Reported: the CPU time the calling
// thread spent, as a share of the wait.
// HidWaitForSilentReader: the same on the HID link, waited for 5 s, where the wait asks the device for
// its report again and again; also reported: how many times it asked.
// HidReadyToReturn: a reply whose report becomes ready 20 ms after the command; reported: the time from
// the moment the report is ready to the return of the exchange.
// HidLongReply: 2315 data bytes in the split form (4642 wire bytes, 19 reports) from a device that
// makes a report ready every millisecond; reported: the wall time as a ratio to the time the reports
// take (the first report's latency and 18 intervals).
#include "core/exchange.h"
#include "core/library_lock.h"
#include "core/state.h"
#include "support/sim_reader.h"

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t kBaud = 115200;
constexpr std::size_t kReplyData = 1289;
constexpr std::size_t kReplyRoom = 2000;

// Read-type system calls made by the calling thread so far (the simulator's own thread not counted).
std::uint64_t thread_read_calls() {
    std::ifstream io("/proc/thread-self/io");
    std::string key;
    std::uint64_t value = 0;
    while (io >> key >> value)
        if (key == "syscr:") return value;
    return 0;
}

double thread_cpu_seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Command 32 50 through the exchange, with the library lock held as an exported function holds it.
std::int16_t exchange_32_50(std::int32_t icdev, std::uint32_t& length, std::span<std::uint8_t> reply) {
    const std::array<std::uint8_t, 2> command{0x32, 0x50};
    const vnr::core::LibraryGuard guard;
    return vnr::core::send_cmd_vn3x(icdev, 2, command.data(), &length, reply);
}

// Waits `timeout_ms` for a reply that never comes, as often as the benchmark runs, and reports the
// processor time the calling thread spent as a share of the wait.
void measure_silent_wait(benchmark::State& state, std::int32_t icdev, std::uint32_t timeout_ms) {
    std::array<std::uint8_t, kReplyRoom> reply{};
    double cpu = 0, wall = 0;
    for (auto _ : state) {
        std::uint32_t length = 0;
        vnr::core::set_comm_timeout(timeout_ms, 0);
        const double cpu_before = thread_cpu_seconds();
        const auto start = std::chrono::steady_clock::now();
        const std::int16_t status = exchange_32_50(icdev, length, reply);
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        cpu += thread_cpu_seconds() - cpu_before;
        vnr::core::set_comm_timeout(vnr::core::kStandingTimeoutMs, vnr::core::kStandingDelayMs);
        if (status != VNR_E_NO_REPLY) {
            state.SkipWithError("the silent reader answered");
            return;
        }
    }
    const double waits = static_cast<double>(state.iterations());
    state.counters["wait_ms"] = wall / waits * 1e3;
    state.counters["cpu_ms"] = cpu / waits * 1e3;
    state.counters["cpu_share"] = cpu / wall;
}

// A simulated reader at `baud` on a pty mapped as COM1 answering 32 50 with kReplyData bytes, and a
// session opened on it.
struct Bench : vnr::test::SimReader {
    explicit Bench(std::uint32_t baud) : SimReader(deck(baud)) { open(vnr::test::Link::serial); }
    static vnrsim::Deck deck(std::uint32_t baud) {
        vnrsim::Deck deck;
        deck.baud = baud;
        deck.replies.push_back({{0x32, 0x50}, 0, std::vector<std::uint8_t>(kReplyData, 0x5A), std::nullopt, std::nullopt});
        return deck;
    }
};

void SplitReplyAt115200(benchmark::State& state) {
    Bench bench(kBaud);
    if (bench.icdev <= 1) {
        state.SkipWithError("the simulated reader did not open");
        return;
    }
    const double wire_seconds = static_cast<double>(2 * (kReplyData + 2) + 8) * 10.0 / kBaud;
    std::array<std::uint8_t, kReplyRoom> reply{};
    std::uint64_t reads = 0;
    double wall = 0;
    for (auto _ : state) {
        std::uint32_t length = 0;
        const std::uint64_t reads_before = thread_read_calls();
        const auto start = std::chrono::steady_clock::now();
        const std::int16_t status = exchange_32_50(bench.icdev, length, reply);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        reads += thread_read_calls() - reads_before;
        if (status != VNR_OK || length != kReplyData) {
            state.SkipWithError("the exchange failed");
            return;
        }
        wall += seconds;
        state.SetIterationTime(seconds);
    }
    const double frames = static_cast<double>(state.iterations());
    state.counters["wire_ms"] = wire_seconds * 1e3;
    state.counters["wall_ms"] = wall / frames * 1e3;
    state.counters["wall_to_wire"] = wall / frames / wire_seconds;
    state.counters["reads_per_frame"] = static_cast<double>(reads) / frames;
    state.counters["wire_bytes"] = static_cast<double>(2 * (kReplyData + 2) + 8);
}
BENCHMARK(SplitReplyAt115200)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

void WaitForSilentReader(benchmark::State& state) {
    Bench bench(0);
    if (bench.icdev <= 1) {
        state.SkipWithError("the simulated reader did not open");
        return;
    }
    bench.reader.inject(vnrsim::Fault::silence, vnrsim::Times::always);
    measure_silent_wait(state, bench.icdev, 2000);
}
BENCHMARK(WaitForSilentReader)->Unit(benchmark::kMillisecond)->Iterations(2);

// A simulated reader on the HID bus answering 32 50 with `reply_data` bytes, and a session opened on it.
struct HidBench : vnr::test::SimReader {
    HidBench(std::chrono::microseconds latency, std::chrono::microseconds interval, std::size_t reply_data) {
        reader.add_reply({{0x32, 0x50}, 0, std::vector<std::uint8_t>(reply_data, 0x5A), std::nullopt, std::nullopt});
        open(vnr::test::Link::hid, vnrsim::HidOptions{vnrsim::kHidDefaultReportLength, latency, interval, {}});
    }
};

void HidWaitForSilentReader(benchmark::State& state) {
    HidBench bench(std::chrono::microseconds(0), std::chrono::microseconds(0), 10);
    if (bench.icdev <= 1) {
        state.SkipWithError("the simulated HID reader did not open");
        return;
    }
    bench.reader.inject(vnrsim::Fault::silence, vnrsim::Times::always);
    bench.hid->clear_history();
    measure_silent_wait(state, bench.icdev, 5000);
    state.counters["gets_per_wait"] =
        static_cast<double>(bench.hid->stats().gets_refused) / static_cast<double>(state.iterations());
}
BENCHMARK(HidWaitForSilentReader)->Unit(benchmark::kMillisecond)->Iterations(1);

void HidReadyToReturn(benchmark::State& state) {
    HidBench bench(std::chrono::milliseconds(20), std::chrono::microseconds(0), 10);
    if (bench.icdev <= 1) {
        state.SkipWithError("the simulated HID reader did not open");
        return;
    }
    std::vector<std::uint8_t> reply(100);
    std::vector<double> latencies;
    for (auto _ : state) {
        std::uint32_t length = 0;
        const std::int16_t status = exchange_32_50(bench.icdev, length, reply);
        const auto returned = std::chrono::steady_clock::now();
        const auto ready = bench.hid->last_report_ready();
        if (status != VNR_OK || !ready) {
            state.SkipWithError("the exchange failed");
            return;
        }
        latencies.push_back(std::chrono::duration<double>(returned - *ready).count() * 1e6);
    }
    std::sort(latencies.begin(), latencies.end());
    auto at = [&](double share) { return latencies[static_cast<std::size_t>(share * (latencies.size() - 1))]; };
    state.counters["median_us"] = at(0.5);
    state.counters["p95_us"] = at(0.95);
    state.counters["worst_us"] = latencies.back();
}
BENCHMARK(HidReadyToReturn)->Unit(benchmark::kMillisecond)->Iterations(50);

void HidLongReply(benchmark::State& state) {
    constexpr std::size_t kData = 2315;
    constexpr std::size_t kWire = 2 * (kData + 2) + 8;
    constexpr std::size_t kReports = (kWire + vnrsim::kHidSliceSplit - 1) / vnrsim::kHidSliceSplit;
    const auto interval = std::chrono::milliseconds(1);
    HidBench bench(interval, interval, kData);
    if (bench.icdev <= 1) {
        state.SkipWithError("the simulated HID reader did not open");
        return;
    }
    const double reports_seconds = std::chrono::duration<double>(interval * kReports).count();
    std::vector<std::uint8_t> reply(3000);
    double wall = 0;
    for (auto _ : state) {
        std::uint32_t length = 0;
        const auto start = std::chrono::steady_clock::now();
        const std::int16_t status = exchange_32_50(bench.icdev, length, reply);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (status != VNR_OK || length != kData) {
            state.SkipWithError("the exchange failed");
            return;
        }
        wall += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["reports"] = static_cast<double>(kReports);
    state.counters["reports_ms"] = reports_seconds * 1e3;
    state.counters["wall_ms"] = wall / static_cast<double>(state.iterations()) * 1e3;
    state.counters["wall_to_reports"] = wall / static_cast<double>(state.iterations()) / reports_seconds;
}
BENCHMARK(HidLongReply)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace

BENCHMARK_MAIN();
