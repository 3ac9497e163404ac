// bench/card_bench.cpp: a full Mifare 1K dump (16 sector authentications, 64 block reads: 80 exchanges)
// of the wallet card of decks/cards.json through the simulated reader, measured against the link's own
// time in the same run.
//
// MifareDumpHid: on the USB HID road, the reader making the first report of each reply ready 1 ms after
// the command's report was set and each later one 1 ms after the one before (the report interval of a
// full-speed device polled every frame), with the default 256-byte feature report. The link's own time
// is what the device takes to make its reports ready (1 ms per reply here, every reply being one
// report), counted from the HID reader's stats. Reported: wall time (mean and best), exchanges, the
// link's time, the ratio of the best wall time to it, and the delay from a reply's report being ready
// to the call's return, as a median (which the rest of the machine disturbs least) and a mean.
// MifareDumpSerial115200: on the serial road at an emulated 115200 baud (10 bits a byte), split-form
// frames. The link's own time is the wire time of all frames, commands and replies, from their bytes
// and the baud; the simulator paces the replies only (a command reaches it at once), so the ratio to the
// replies' wire time is given too, and the median time a call takes beyond its reply's wire time, with
// the same for the exchanges written and read straight on the reader's pty, without the library.
#include "support/sim_reader.h"
#include "vnrsim/control.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <numeric>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kBaud = 115200;
constexpr auto kLatency = std::chrono::milliseconds(1), kReportInterval = std::chrono::milliseconds(1);
constexpr int kSectors = 16, kBlocksPerSector = 4;
constexpr std::size_t kBlockSize = 16;
const std::array<std::uint8_t, 6> kFactoryKey{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
const std::array<std::uint8_t, 6> kWalletKey{0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5};  // sector 1's key A

// Split-form wire bytes of a frame with `payload` bytes.
constexpr std::size_t wire_bytes(std::size_t payload) { return 2 * payload + 8; }
// The dump's frames: per sector one authentication (command 10 bytes, reply its status) and four reads
// (command 3 bytes, reply status and 16 bytes).
constexpr std::size_t kCommandWire = kSectors * (wire_bytes(10) + kBlocksPerSector * wire_bytes(3));
constexpr std::size_t kReplyWire = kSectors * (wire_bytes(2) + kBlocksPerSector * wire_bytes(2 + kBlockSize));

const std::array<std::uint8_t, 6>& key_of(int sector) { return sector == 1 ? kWalletKey : kFactoryKey; }

// The wallet card in the field of a reader loaded with decks/cards.json, activated through `link`.
struct DumpBench : vnr::test::SimReader {
    DumpBench(vnr::test::Link link, std::uint32_t baud, vnrsim::HidOptions options = {}) : SimReader(deck(baud)) {
        vnrsim::Control(reader).execute("contactless put wallet");
        std::uint8_t type = 0, serial[4] = {};
        if (open(link, options) && rf_card(icdev, 0, &type, serial) != VNR_OK) close();
    }
    static vnrsim::Deck deck(std::uint32_t baud) {
        vnrsim::Deck deck = vnrsim::Deck::load(std::filesystem::path(VNR_DECKS) / "cards.json");
        deck.baud = baud;
        return deck;
    }
    // The dump through the library; false when a call failed. Each call's time beyond the link goes to
    // `late`: on HID from its reply's last report being ready to its return, on the serial road its
    // time less its reply's wire time.
    bool dump(std::vector<double>& late) {
        const auto step = [&](auto call, std::size_t reply_payload) {
            const auto start = Clock::now();
            const bool done = call() == VNR_OK;
            const auto end = Clock::now();
            const double seconds = hid ? std::chrono::duration<double>(end - *hid->last_report_ready()).count()
                                       : std::chrono::duration<double>(end - start).count() -
                                             static_cast<double>(wire_bytes(reply_payload)) * 10.0 / kBaud;
            late.push_back(seconds);
            return done;
        };
        for (int sector = 0; sector < kSectors; ++sector) {
            const auto s = static_cast<std::uint8_t>(sector);
            if (!step([&] { return rf_authentication(icdev, 0, s, key_of(sector).data()); }, 2)) return false;
            for (int i = 0; i < kBlocksPerSector; ++i) {
                std::uint8_t block[kBlockSize];
                const auto b = static_cast<std::uint8_t>(sector * kBlocksPerSector + i);
                if (!step([&] { return rf_read(icdev, b, block); }, 2 + kBlockSize)) return false;
            }
        }
        return true;
    }
};

// The dumps of a benchmark: the mean and the best wall time (the dump least disturbed by the rest of
// the machine), the exchanges of one dump, and each call's time beyond the link.
struct Timing {
    double mean = 0, best = 1e9;
    std::uint64_t exchanges = 0;
    std::vector<double> late;
    void add(double seconds) { mean += seconds, best = std::min(best, seconds); }
};

// Runs the dumps `state` asks for, `between` after each one, outside the time.
bool time_dumps(benchmark::State& state, DumpBench& bench, Timing& timing,
                const std::function<void()>& between = [] {}) {
    for (auto _ : state) {
        bench.reader.clear_history();
        if (bench.hid) bench.hid->clear_history();
        const auto start = Clock::now();
        const bool done = bench.dump(timing.late);
        timing.add(std::chrono::duration<double>(Clock::now() - start).count());
        timing.exchanges = bench.reader.stats().frames_received;
        if (!done) {
            state.SkipWithError("the dump failed");
            return false;
        }
        state.PauseTiming();
        between();
        state.ResumeTiming();
    }
    timing.mean /= static_cast<double>(state.iterations());
    return true;
}

// The dump's commands, in order.
std::vector<std::vector<std::uint8_t>> dump_commands() {
    std::vector<std::vector<std::uint8_t>> commands;
    for (int sector = 0; sector < kSectors; ++sector) {
        commands.push_back({0x32, 0x42, static_cast<std::uint8_t>(sector), 0x00});
        commands.back().insert(commands.back().end(), key_of(sector).begin(), key_of(sector).end());
        for (int i = 0; i < kBlocksPerSector; ++i)
            commands.push_back({0x32, 0x43, static_cast<std::uint8_t>(sector * kBlocksPerSector + i)});
    }
    return commands;
}

// The dump without the library on the serial road: each command's frame written to the reader's pty,
// its reply read as it comes until all of it is there. Each exchange's time beyond its reply's wire
// time goes to `over`; false when the line failed.
bool raw_serial_dump(const std::filesystem::path& port, std::vector<double>& over) {
    const int fd = ::open(port.c_str(), O_RDWR | O_NOCTTY);
    if (fd < 0) return false;
    bool done = true;
    std::vector<std::uint8_t> reply(64);
    for (const auto& command : dump_commands()) {
        const std::vector<std::uint8_t> frame = vnrsim::encode_frame(command, vnrsim::Form::split);
        const std::size_t expected = wire_bytes(2 + (command[1] == 0x43 ? kBlockSize : 0));
        const auto start = Clock::now();
        done = ::write(fd, frame.data(), frame.size()) == static_cast<ssize_t>(frame.size());
        for (std::size_t got = 0; done && got < expected;) {
            // The line is set to answer a read at once, with what there is: wait for bytes first.
            pollfd ready{fd, POLLIN, 0};
            const ssize_t count = ::poll(&ready, 1, 1000) == 1 ? ::read(fd, reply.data() + got, expected - got) : -1;
            done = count > 0;
            got += done ? static_cast<std::size_t>(count) : 0;
        }
        if (!done) break;
        over.push_back(std::chrono::duration<double>(Clock::now() - start).count() -
                       static_cast<double>(expected) * 10.0 / kBaud);
    }
    ::close(fd);
    return done;
}

void MifareDumpHid(benchmark::State& state) {
    DumpBench bench(vnr::test::Link::hid, 0, vnrsim::HidOptions{vnrsim::kHidDefaultReportLength, kLatency, kReportInterval, {}});
    if (bench.icdev <= 1) {
        state.SkipWithError("the simulated HID reader did not open or the card was not activated");
        return;
    }
    Timing library;
    vnrsim::HidStats stats;
    if (!time_dumps(state, bench, library, [&] { stats = bench.hid->stats(); })) return;
    // The device's time: each reply's first report `latency` after its command, each further one an
    // interval later.
    const double latency = std::chrono::duration<double>(kLatency).count();
    const double interval = std::chrono::duration<double>(kReportInterval).count();
    const double link = static_cast<double>(stats.reports_set) * latency +
                        static_cast<double>(stats.gets_answered - stats.reports_set) * interval;
    state.counters["exchanges"] = static_cast<double>(library.exchanges);
    state.counters["link_ms"] = link * 1e3;
    state.counters["wall_ms"] = library.mean * 1e3;
    state.counters["best_ms"] = library.best * 1e3;
    state.counters["best_to_link"] = library.best / link;
    std::sort(library.late.begin(), library.late.end());
    state.counters["median_late_us"] = library.late[library.late.size() / 2] * 1e6;
    state.counters["mean_late_us"] = std::accumulate(library.late.begin(), library.late.end(), 0.0) /
                                     static_cast<double>(library.late.size()) * 1e6;
}
BENCHMARK(MifareDumpHid)->Iterations(20)->Unit(benchmark::kMillisecond)->UseRealTime();

void MifareDumpSerial115200(benchmark::State& state) {
    DumpBench bench(vnr::test::Link::serial, kBaud);
    if (bench.icdev <= 1) {
        state.SkipWithError("the simulated reader did not open or the card was not activated");
        return;
    }
    Timing library;
    std::vector<double> raw_over;
    const auto raw_dump = [&] {
        if (!raw_serial_dump(bench.prefix.com(1), raw_over)) raw_over.assign(1, -1);
    };
    if (!time_dumps(state, bench, library, raw_dump)) return;
    const double wire = static_cast<double>(kCommandWire + kReplyWire) * 10.0 / kBaud;
    const double replies = static_cast<double>(kReplyWire) * 10.0 / kBaud;
    state.counters["exchanges"] = static_cast<double>(library.exchanges);
    state.counters["wire_ms"] = wire * 1e3;
    state.counters["reply_wire_ms"] = replies * 1e3;
    state.counters["wall_ms"] = library.mean * 1e3;
    state.counters["best_ms"] = library.best * 1e3;
    state.counters["best_to_wire"] = library.best / wire;
    state.counters["best_to_reply_wire"] = library.best / replies;
    std::sort(library.late.begin(), library.late.end());
    state.counters["median_over_us"] = library.late[library.late.size() / 2] * 1e6;
    std::sort(raw_over.begin(), raw_over.end());
    state.counters["raw_median_over_us"] = raw_over[raw_over.size() / 2] * 1e6;
}
BENCHMARK(MifareDumpSerial115200)->Iterations(10)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
