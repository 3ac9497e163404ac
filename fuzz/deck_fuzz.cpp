// fuzz/deck_fuzz.cpp: the simulator's deck parser (vnrsim::Deck::parse) over any text as JSON, with
// every model's section; file names in the deck are taken from the decks folder, where the portraits
// lie. A deck it cannot take is refused with std::runtime_error; nothing else may come out of it.
#include "vnrsim/deck.h"

#include <stdexcept>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const vnrsim::Deck deck = vnrsim::Deck::parse(text, "fuzz", VNR_FUZZ_DECKS);
    } catch (const std::runtime_error&) {
        // refused, with what is wrong and where
    }
    return 0;
}
