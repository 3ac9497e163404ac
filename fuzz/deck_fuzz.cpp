// fuzz/deck_fuzz.cpp: the simulator's deck parser (vnrsim::Deck::parse) over any text as JSON, with
// every model's section. File names in a deck are looked for below a folder that cannot exist, so that
// a portrait is refused at once rather than packed (packing is no parsing, and slow). A deck it cannot
// take is refused with std::runtime_error; nothing else may come out of it.
#include "vnrsim/deck.h"

#include <stdexcept>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const vnrsim::Deck deck = vnrsim::Deck::parse(text, "fuzz", "/dev/null/decks");
    } catch (const std::runtime_error&) {
        // refused, with what is wrong and where
    }
    return 0;
}
