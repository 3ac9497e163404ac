// bench/bank_bench.cpp: reading a bank card's number and holder name (iReadICCardNoAndName), measured
// against the link in the same run.
//
// ContactAt115200: the T=0 debit card of decks/bank/pboc.json (61xx answers in parts of 48 bytes, 20 ms
// of the card's own time per APDU) in the contact slot of a reader at an emulated 115200 baud on the
// serial link; the first way reads it: 1 power-up and 9 APDUs.
// ContactlessOnHid: the contactless card of the same deck (5 ms per APDU) on the simulated HID reader
// (1 ms to the first report of a reply, 1 ms between reports); the first way fails at the PSE and the
// second reads it through the PPSE and GPO: 2 activations and 5 APDUs.
// Reported: the wall time of the call (the benchmark's time); the link's own time, the same commands (the power-up or
// activation and each APDU, as the reader received them during the call) sent again through sam_slt_reset,
// open_card and card_APDU in the same run; their ratio, and what the bank layer adds beyond the link
// (text conversions, tag searches, messages and the log) as a share of the link's time.
#include "support/sim_reader.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>

namespace {

using Clock = std::chrono::steady_clock;
using vnr::test::Bytes;

constexpr std::uint32_t kBaud = 115200;

vnrsim::Deck bank_deck(std::uint32_t baud) {
    vnrsim::Deck deck = vnrsim::Deck::load(std::filesystem::path(VNR_DECKS) / "bank" / "pboc.json");
    deck.baud = baud;
    return deck;
}

// The commands of one read sent again as an application would send them; false when one failed.
bool replay(std::int32_t icdev, const std::vector<Bytes>& commands) {
    std::uint8_t answer[3073], length8 = 0, type = 0, uid_length = 0, ats_length = 0, uid[10], ats[64];
    std::uint32_t length = 0;
    for (const Bytes& c : commands) {
        if (c.size() < 2 || c[0] != 0x32) continue;
        std::int16_t status = 0;
        if (c[1] == 0x22 && c.size() == 5) status = sam_slt_reset(icdev, static_cast<std::uint16_t>(c[2] << 8 | c[3]), c[4], &length8, answer);
        if (c[1] == 0x24 && c.size() == 4)
            status = open_card(icdev, static_cast<std::uint16_t>(c[2] << 8 | c[3]), &type, &uid_length, uid, &ats_length, ats);
        if (c[1] == 0x26 && c.size() > 3)
            status = card_APDU(icdev, c[2], static_cast<std::int32_t>(c.size() - 3), c.data() + 3, &length, answer);
        if (status != VNR_OK) return false;
    }
    return true;
}

void measure(benchmark::State& state, vnr::test::SimReader& bench, std::int32_t card_type) {
    if (bench.icdev <= 1) {
        state.SkipWithError("the simulated reader did not open");
        return;
    }
    double call = 0, link = 0;
    std::size_t apdus = 0;
    for (auto _ : state) {
        char card_no[40] = {}, name[64] = {}, message[52] = {};
        bench.reader.clear_history();
        auto start = Clock::now();
        const std::int32_t result = iReadICCardNoAndName(bench.icdev, card_type, card_no, name, message);
        const double this_call = std::chrono::duration<double>(Clock::now() - start).count();
        call += this_call;
        state.SetIterationTime(this_call);
        const std::vector<Bytes> commands = bench.reader.commands_received();
        apdus = 0;
        for (const Bytes& c : commands) apdus += c.size() > 3 && c[0] == 0x32 && c[1] == 0x26;
        start = Clock::now();
        const bool replayed = replay(bench.icdev, commands);
        link += std::chrono::duration<double>(Clock::now() - start).count();
        if (result != 0 || card_no[0] == '\0' || !replayed) {
            state.SkipWithError("the card was not read");
            return;
        }
    }
    const double calls = static_cast<double>(state.iterations());
    state.counters["apdus"] = static_cast<double>(apdus);
    state.counters["call_ms"] = call / calls * 1e3;
    state.counters["link_ms"] = link / calls * 1e3;
    state.counters["ratio"] = call / link;
    state.counters["added_pct"] = (call - link) / link * 100;
}

void ContactAt115200(benchmark::State& state) {
    vnr::test::SimReader bench(bank_deck(kBaud));
    bench.open(vnr::test::Link::serial);
    measure(state, bench, 0);
}
BENCHMARK(ContactAt115200)->Iterations(10)->Unit(benchmark::kMillisecond)->UseManualTime();

void ContactlessOnHid(benchmark::State& state) {
    vnr::test::SimReader bench(bank_deck(0));
    vnrsim::HidOptions options;
    options.latency = std::chrono::milliseconds(1);
    options.report_interval = std::chrono::milliseconds(1);
    bench.open(vnr::test::Link::hid, options);
    measure(state, bench, 255);
}
BENCHMARK(ContactlessOnHid)->Iterations(30)->Unit(benchmark::kMillisecond)->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
