// fuzz/emv_card_data_fuzz.cpp: the EMV reader's pure part (emv/card_data.h) over any bytes: a card's
// answers (the input cut at each 0xFF 0xFE pair) searched for its number, expiry and name; the GPO answer
// of either format unpacked to its AIP and AFL; a PDOL filled with the terminal's values; the Luhn check.
#include "card_data.h"
#include "check.h"

#include <algorithm>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::emv;
    const View input(data, size);
    std::vector<std::vector<std::uint8_t>> sources;
    std::size_t start = 0;
    for (std::size_t i = 0; i + 1 < size; ++i) {
        if (data[i] != 0xFF || data[i + 1] != 0xFE) continue;
        sources.emplace_back(data + start, data + i);
        start = i + 2;
    }
    sources.emplace_back(data + start, data + size);

    const CardData card = card_data(sources);
    FUZZ_CHECK(card.pan.empty() || (card.pan.size() >= 12 && card.pan.size() <= 19));
    FUZZ_CHECK(std::all_of(card.pan.begin(), card.pan.end(), [](char c) { return c >= '0' && c <= '9'; }));
    (void)luhn_ok(card.pan);
    for (const auto& source : sources) {
        if (const auto processing = processing_options(source)) FUZZ_CHECK(processing->afl.size() % 4 == 0);
    }
    static constexpr std::uint8_t kRandom[] = {0x12, 0x34, 0x56, 0x78};
    if (const auto filled = pdol_data(input, "260101120000", kRandom)) FUZZ_CHECK(filled->size() <= 252);
    return 0;
}
