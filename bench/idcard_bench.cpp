// bench/idcard_bench.cpp: reading an identity card, measured against the wire in the same run.
//
// ReadCardExtraAt115200: IDCard_ReadCard_Extra on the demo deck's card at an emulated 115200 baud in
// the split form: a 1289-byte reply, 2590 bytes on the wire, 224.83 ms. Reported: the wall time of
// the whole call (exchange, record, .wlt file, decoder loaded, photo decoded, bitmap written) as a
// ratio to the wire time, and what the call spends beyond the wire.
// PhotoDecode: iWlttoBmp on the card's photo: the decoder loaded and unloaded, 1024 bytes decoded to a
// 102 x 126 bitmap and written. Reported: milliseconds a photo.
// MakePictureBothSides: the card's picture, both sides on one sheet (343 x 436), with all its texts and
// the photo just read, composed and written to a file. Reported: milliseconds a picture.
#include "support/sim_reader.h"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace {

constexpr std::uint32_t kBaud = 115200;
constexpr std::size_t kReplyData = 1289;

// The demo deck's card on a reader at an emulated 115200 baud, opened on the serial link.
struct CardBench : vnr::test::SimReader {
    CardBench() : SimReader(deck()) { open(vnr::test::Link::serial); }
    static vnrsim::Deck deck() {
        vnrsim::Deck deck = vnrsim::Deck::load(std::filesystem::path(VNR_DECKS) / "reader.json");
        deck.baud = kBaud;
        return deck;
    }
};

// Reads the card once with its photo, which the benchmarks after the read work on. False when it failed.
bool read_card_once(CardBench& bench, const std::string& photo) {
    char errtext[32] = {};
    return bench.icdev > 1 && IDCard_ReadCard_Extra(bench.icdev, photo.c_str(), errtext) == VNR_OK;
}

void ReadCardExtraAt115200(benchmark::State& state) {
    CardBench bench;
    if (bench.icdev <= 1) {
        state.SkipWithError("the simulated reader did not open");
        return;
    }
    const double wire_seconds = static_cast<double>(2 * (kReplyData + 2) + 8) * 10.0 / kBaud;
    const std::string photo = (bench.prefix.root() / "card.bmp").string();
    double wall = 0;
    for (auto _ : state) {
        char errtext[32] = {};
        const auto start = std::chrono::steady_clock::now();
        const std::int32_t status = IDCard_ReadCard_Extra(bench.icdev, photo.c_str(), errtext);
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (status != VNR_OK || !std::filesystem::exists(photo)) {
            state.SkipWithError("the card was not read with its photo");
            return;
        }
    }
    const double calls = static_cast<double>(state.iterations());
    state.counters["wire_ms"] = wire_seconds * 1e3;
    state.counters["call_ms"] = wall / calls * 1e3;
    state.counters["beyond_wire_ms"] = (wall / calls - wire_seconds) * 1e3;
    state.counters["ratio"] = wall / calls / wire_seconds;
}
BENCHMARK(ReadCardExtraAt115200)->Iterations(10)->Unit(benchmark::kMillisecond)->UseRealTime();

void PhotoDecode(benchmark::State& state) {
    CardBench bench;
    const std::string photo = (bench.prefix.root() / "card.bmp").string();
    if (!read_card_once(bench, photo)) {
        state.SkipWithError("the card was not read");
        return;
    }
    const std::string wlt = (bench.prefix.root() / "card.wlt").string();
    double wall = 0;
    for (auto _ : state) {
        char message[64] = {};
        const auto start = std::chrono::steady_clock::now();
        const std::int16_t status = iWlttoBmp(wlt.c_str(), message);
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (status != VNR_OK) {
            state.SkipWithError("the photo was not decoded");
            return;
        }
    }
    state.counters["decode_ms"] = wall / static_cast<double>(state.iterations()) * 1e3;
}
BENCHMARK(PhotoDecode)->Iterations(50)->Unit(benchmark::kMillisecond)->UseRealTime();

void MakePictureBothSides(benchmark::State& state) {
    CardBench bench;
    const std::string photo = (bench.prefix.root() / "card.bmp").string();
    if (!read_card_once(bench, photo)) {
        state.SkipWithError("the card was not read");
        return;
    }
    std::array<std::array<char, 80>, 9> fields{};  // name to valid_to, as IDCard_GetCardInfo gives them
    const int sources[9] = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    for (int i = 0; i < 9; ++i) IDCard_GetCardInfo(bench.icdev, sources[i], fields[i].data());
    const std::string out = (bench.prefix.root() / "picture.bmp").string();
    double wall = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        MakePicture(out.c_str(), photo.c_str(), fields[0].data(), fields[1].data(), fields[2].data(), fields[3].data(),
                    fields[4].data(), fields[5].data(), fields[6].data(), fields[7].data(), fields[8].data());
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (std::filesystem::file_size(out) != 450006) {
            state.SkipWithError("the picture was not written");
            return;
        }
    }
    state.counters["picture_ms"] = wall / static_cast<double>(state.iterations()) * 1e3;
}
BENCHMARK(MakePictureBothSides)->Iterations(200)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
