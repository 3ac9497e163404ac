// sim/models/cards/card_deck.h: how the card models read their cards from a deck section: the names
// of cards, byte strings with TLV groups (tlv.h), and a CPU card's keys with their help text, shared by
// the models "contact" and "contactless", which each add the keys of their own card kinds. Every
// reader throws std::runtime_error "PATH: what" as deck_json does.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "models/cards/cpu_card.h"

namespace vnrsim {

// A CPU card's keys in a card object, beside "kind" and the keys of the model that holds it.
inline constexpr std::string_view kCpuCardKeys[] = {"master",         "applications", "answers",   "answers_by_61",
                                                    "response_chunk", "wrong_le_6c",  "endless_61", "answer_ms"};

// What the CPU card's keys mean, for the help of the models that hold such cards.
extern const std::string_view kCpuCardHelp;

// A deck's example of a CPU card with the applications of a bank card, "bank": {...}, for the same help.
extern const std::string_view kCpuCardExample;

// `text` with `count` blanks before each line: an example set into a section's example.
std::string indent_lines(std::string_view text, std::size_t count);

// Bytes from a text of hex digits with TLV groups and quoted ASCII (tlv_hex).
CardBytes card_bytes_of(const nlohmann::json& value, const std::string& where);

// true or false.
bool flag_of(const nlohmann::json& value, const std::string& where);

// The CPU card keys of the card object `card` (whose keys the caller has checked).
CpuCardSetup cpu_card_of(const nlohmann::json& card, const std::string& where);

// The items of {"ADDRESS": value, ...}, where an address (decimal, or hex after 0x) is below `limit`:
// how a deck places bytes in a memory, pages in a tag or blocks in a card. In the order of the addresses.
struct Addressed {
    std::size_t address;
    std::string where;  // the item's path
    const nlohmann::json* value;
};
std::vector<Addressed> addressed_of(const nlohmann::json& object, const std::string& where, std::size_t limit);

// Places the bytes of {"ADDRESS": bytes, ...} (card_bytes_of) in `memory`, each run of them in a multiple
// of `unit` bytes (the address counts units) and inside the memory.
void place_bytes(const nlohmann::json& object, const std::string& where, CardBytes& memory, std::size_t unit);

// A card's name, the key under "cards": letters, digits, "-", "_" and ".", as control lines take it.
void check_card_name(const std::string& name, const std::string& where);

// `base` and then `more`, for check_keys.
std::vector<std::string_view> keys_with(std::span<const std::string_view> base,
                                        std::initializer_list<std::string_view> more);

}  // namespace vnrsim
