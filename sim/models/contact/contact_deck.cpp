// sim/models/contact/contact_deck.cpp: the deck section "contact": the SAM slots, the cards and which
// slot holds which (see contact_model.h; the keys are told in its help, contact_control.cpp).
#include <nlohmann/json.hpp>

#include "models/cards/card_deck.h"
#include "models/contact/contact_model.h"
#include "vnrsim/deck_json.h"

namespace vnrsim {
namespace {

using namespace deck_json;

ContactCpuCard cpu_card(const Json& value, const std::string& where) {
    check_keys(value, where, keys_with(kCpuCardKeys, {"kind", "atr", "comment"}));
    ContactCpuCard card;
    if (value.contains("atr")) {
        card.atr = hex_of(value["atr"], where + ".atr");
        if (card.atr.size() < 2 || card.atr.size() > 33) fail(where + ".atr", "an ATR is 2 to 33 bytes");
    }
    card.cpu = CpuCard(cpu_card_of(value, where));
    return card;
}

MemoryCard memory_card(const Json& value, const std::string& where) {
    check_keys(value, where, {"kind", "type", "size_code", "atr", "memory", "password", "attempts", "comment"});
    if (!value.contains("type")) fail(where, "\"type\" is missing: 1, 3, 4, 5 or 10");
    const auto type = static_cast<std::uint8_t>(count_of(value["type"], where + ".type", 1, 10));
    const bool sized = type == 1 || type == 5 || type == 10;
    if (!sized && type != 3 && type != 4)
        fail(where + ".type", type == 8 ? "type 8 is the 1604 card's: kind \"1604\"" : "expected 1, 3, 4, 5 or 10");
    if (value.contains("size_code") && !sized) fail(where + ".size_code", "only types 1, 5 and 10 have a size code");
    if (value.contains("atr") && sized) fail(where + ".atr", "types 1, 5 and 10 answer their size code, not an ATR");
    const auto size_code = value.contains("size_code")
                               ? static_cast<std::uint8_t>(count_of(value["size_code"], where + ".size_code", 0, 16))
                               : std::uint8_t{1};
    MemoryCardSetup setup = factory_memory_card(type, size_code);
    if (value.contains("atr")) {
        setup.atr = hex_of(value["atr"], where + ".atr");
        if (setup.atr.size() < 3 || setup.atr.size() > 33)
            fail(where + ".atr", "identify answers 3 to 33 bytes of ATR");
    }
    if (value.contains("memory")) place_bytes(value["memory"], where + ".memory", setup.memory, 1);
    if (value.contains("password")) {
        const CardBytes password = hex_of(value["password"], where + ".password");
        if (!setup.password.empty() && password.size() != setup.password.size())
            fail(where + ".password", "a type " + std::to_string(type) + " card's password is " +
                                          std::to_string(setup.password.size()) + " bytes");
        if (password.empty() || password.size() > 8) fail(where + ".password", "a password is 1 to 8 bytes");
        if (setup.password.empty()) setup.attempts = 3;
        setup.password = password;
    }
    if (value.contains("attempts")) {
        if (setup.password.empty()) fail(where + ".attempts", "this card has no password");
        setup.attempts = static_cast<std::uint8_t>(count_of(value["attempts"], where + ".attempts", 1, 8));
    }
    return MemoryCard(std::move(setup));
}

Card1604 card_1604(const Json& value, const std::string& where) {
    check_keys(value, where,
               {"kind", "atr", "memory", "codes", "attempts", "personalised", "read_protected", "comment"});
    Card1604Setup setup;
    if (value.contains("atr")) {
        setup.atr = hex_of(value["atr"], where + ".atr");
        if (setup.atr.size() < 3 || setup.atr.size() > 33)
            fail(where + ".atr", "identify answers 3 to 33 bytes of ATR");
    }
    if (value.contains("memory")) place_bytes(value["memory"], where + ".memory", setup.memory, 1);
    if (value.contains("codes")) {
        for (const auto& [number, at, code] : addressed_of(value["codes"], where + ".codes", k1604Codes)) {
            const CardBytes bytes = hex_of(*code, at);
            if (bytes.size() != 2) fail(at, "a code is two bytes");
            std::copy(bytes.begin(), bytes.end(),
                      setup.memory.begin() + static_cast<std::ptrdiff_t>(k1604CodeAddress[number]));
        }
    }
    if (value.contains("attempts"))
        setup.attempts = static_cast<std::uint8_t>(count_of(value["attempts"], where + ".attempts", 1, 8));
    if (value.contains("personalised")) setup.personalised = flag_of(value["personalised"], where + ".personalised");
    if (value.contains("read_protected")) {
        const Json& zones = value["read_protected"];
        if (!zones.is_array()) fail(where + ".read_protected", "expected a list of zones, got " + kind_of(zones));
        for (std::size_t i = 0; i < zones.size(); ++i)
            setup.read_protected[count_of(zones[i], where + ".read_protected[" + std::to_string(i) + "]", 1, 4)] = true;
    }
    return Card1604(std::move(setup));
}

}  // namespace

void ContactModel::load(const Json& value, const std::filesystem::path&) {
    const std::string where(name());
    expect_object(value, where);
    check_keys(value, where, {"sam_slots", "slots", "cards", "comment"});
    ContactModel loaded;
    if (value.contains("sam_slots"))
        loaded.sam_slots_ =
            static_cast<std::uint8_t>(count_of(value["sam_slots"], where + ".sam_slots", 0, kContactSlots - 1));
    if (value.contains("cards")) {
        const Json& cards = value["cards"];
        expect_object(cards, where + ".cards");
        for (const auto& item : cards.items()) {
            const std::string at = where + ".cards." + item.key();
            check_card_name(item.key(), at);
            const Json& card = item.value();
            expect_object(card, at);
            if (!card.contains("kind")) fail(at, "\"kind\" is missing: cpu, memory or 1604");
            const std::string& kind = text_of(card["kind"], at + ".kind");
            if (kind == "cpu") {
                loaded.cards_.push_back({item.key(), cpu_card(card, at)});
            } else if (kind == "memory") {
                loaded.cards_.push_back({item.key(), memory_card(card, at)});
            } else if (kind == "1604") {
                loaded.cards_.push_back({item.key(), card_1604(card, at)});
            } else {
                fail(at + ".kind", "expected cpu, memory or 1604, got \"" + kind + "\"");
            }
        }
    }
    if (value.contains("slots")) {
        for (const auto& [slot, at, card] : addressed_of(value["slots"], where + ".slots", kContactSlots)) {
            const std::string& card_name = text_of(*card, at);
            try {
                loaded.insert(static_cast<std::uint8_t>(slot), card_name);
            } catch (const std::invalid_argument& e) {
                fail(at, e.what());
            }
        }
    }
    cards_ = std::move(loaded.cards_);
    slots_ = loaded.slots_;
    sam_slots_ = loaded.sam_slots_;
}

}  // namespace vnrsim
