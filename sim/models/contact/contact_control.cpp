// sim/models/contact/contact_control.cpp: the control words of the model "contact" and its help (see
// contact_model.h).
#include "models/cards/card_deck.h"
#include "models/contact/contact_model.h"

namespace vnrsim {
namespace {

constexpr std::string_view kAbout =
    "The card slot (0) and the SAM slots (1 to sam_slots). Status words of its replies: 1001 no card, 1002 "
    "no such slot, 1003 a card not powered, 1004 a card powered (32 21 answers the slot's state so), 1005 "
    "the card was pulled out during the APDU, 1006 a command for another kind of card, 1007 fields of the "
    "wrong length or value, 1010 a wrong password or code, 1011 the password or code is locked, 1012 the "
    "password or code must be presented first, 1013 beyond the card's memory, 1014 refused by the card's "
    "access rules, 1015 the 1604 card is personalised. 32 21 SLOT state; 32 22 WAIT(2) SLOT reset (data: "
    "the ATR's length, then the ATR); 32 27 SLOT BAUD reset at BAUD 0 to 2 (data: the ATR); 32 23 SLOT "
    "power down; 32 26 SLOT APDU (data: the card's answer with SW1 SW2; SLOT FF: the contactless CPU card, "
    "answered by the model contactless). Memory and 1604 cards: 32 31 SLOT TYPE settype (1006 unless the "
    "card is of TYPE), 32 32 SLOT identifytype (types 1, 5, 10: type and size code; 3, 4 and the 1604 "
    "card, type 8: the ATR), 32 35 SLOT ADDR(2) LEN(2) read, 32 36 SLOT ADDR(2) LEN(2) DATA write; a "
    "memory card's 32 33 SLOT LEN PASSWORD sets a new password once unlocked and 32 34 SLOT LEN PASSWORD "
    "presents it (a wrong one takes an attempt, at none left the card is locked for good; writes need it "
    "presented). The 1604 card: 32 33 SLOT NUMBER ADDR(2) LEN(2) DATA writes code NUMBER (0 the card's, 1 "
    "to 4 the zones' security codes, 5 to 8 their erase codes, at 10, 21, 1222, 1483, 1744, 24, 1224, "
    "1485, 1746), 32 34 SLOT 04 00|01 ZONE C1 C2 presents a security or erase code, 32 30 SLOT ADDR(2) "
    "LEN(2) [00] erases (bytes become FF; a write only turns bits from 1 to 0), 32 96 SLOT 00|01 fakes the "
    "fuse off or on, 33 39 SLOT personalises. Its rules: fabrication bytes 0-1 and the counters (12, 23, "
    "26, 1226, 1487, 1748) are the card's; codes read FF but before personalisation with the card's code; "
    "before personalisation every write and erase needs the card's code; after it, issuer bytes 2-9 and "
    "the codes are fixed, bytes 13-20 need the card's code, a zone's data its security code to write and "
    "its erase code to erase; zone 5 (2005-2006) is free. A reset, a power-down and a power failure end "
    "every presentation.";

// The section's example around the bank card of kCpuCardExample.
constexpr std::string_view kDeckExampleHead = R"("contact": {
  "sam_slots": 4,
  "slots": {"0": "bank", "1": "sam"},
  "cards": {
)";
constexpr std::string_view kDeckExampleTail = R"(,
    "sam": {"kind": "cpu", "atr": "3B 6A 00 00 56 4E 52 53 41 4D 2D 30 30 31",
            "master": {"files": [{"fid": "0015", "binary": "'SAM-0001'"}]}},
    "mem": {"kind": "memory", "type": 4, "password": "FF FF FF", "attempts": 3,
            "memory": {"0": "A2 13 10 91", "0x40": "'SAMPLE'"}},
    "eeprom": {"kind": "memory", "type": 1, "size_code": 4},
    "c1604": {"kind": "1604", "codes": {"0": "12 34", "1": "11 11", "5": "55 55"}, "attempts": 4,
              "personalised": true, "read_protected": [2], "memory": {"27": "'ZONE ONE'"}}
  }
})";

constexpr std::string_view kDeckKeys =
    "\"sam_slots\": how many SAM slots the reader has, 0 to 31 (default 4). \"slots\": which card lies in "
    "which slot at start (default: none). \"cards\": the cards, by name (letters, digits, -, _ and .), each "
    "with its \"kind\": cpu, memory or 1604; a card lies in one slot at a time and keeps what is written "
    "to it. A memory card: \"type\" 1, 5 or 10 with \"size_code\" 0 to 16 (128 << code bytes, default 1), "
    "or 4 (256 bytes, a 3-byte password, 3 attempts) or 3 (1024 bytes, 2-byte password, 8 attempts) with "
    "\"atr\" (defaults A2 13 10 91 and 92 23 10 91); \"password\" (default FF.., none for types 1, 5, 10 "
    "unless given), \"attempts\" 1 to 8, \"memory\": {\"ADDRESS\": bytes} over a memory of FF. A 1604 card: "
    "\"atr\" (default 16 04 10 91), \"memory\": {\"ADDRESS\": bytes} over FF (bytes 0-1: 16 04), \"codes\": "
    "{\"NUMBER\": two bytes} (default FF FF), \"attempts\" of every code 1 to 8 (default 4), "
    "\"personalised\" (default false), \"read_protected\": zones 1 to 4 read only with their security "
    "code. A CPU card: \"atr\" (default 3B 68 00 00 56 4E 52 53 49 4D 30 31) and the keys below. "
    "Addresses are decimal, or hex after 0x. ";

constexpr CommandHelp kCommands[] = {
    {"contact", "each slot with its card, powered or not, and the cards out of the reader"},
    {"contact insert SLOT CARD", "puts the deck's card CARD, not powered, into the empty slot SLOT"},
    {"contact remove SLOT", "takes the card out of SLOT"},
    {"contact poweroff SLOT",
     "the reader cuts the card's power, as a power failure would: its session ends, "
     "and an APDU gets 1003 until the next reset"},
    {"contact pull SLOT",
     "the card is pulled out during the next APDU to SLOT: no answer from it (1005), "
     "and the slot is empty"},
    {"clear contact", "drops a pull that has not happened yet (\"clear\" does so too)"},
};

}  // namespace

const ModelHelp& ContactModel::help() const {
    static const std::string keys = std::string(kDeckKeys) + std::string(kCpuCardHelp);
    static const std::string example =
        std::string(kDeckExampleHead) + indent_lines(kCpuCardExample, 4) + std::string(kDeckExampleTail);
    static const ModelHelp help{
        "contact", "the contact card slot, the SAM slots and their cards", kAbout, example, keys, kCommands};
    return help;
}

std::optional<std::uint8_t> ContactModel::slot_named(std::string_view word) const {
    const auto n = number(word);
    if (!n || *n >= kContactSlots || !slot_exists(static_cast<std::uint8_t>(*n))) return std::nullopt;
    return static_cast<std::uint8_t>(*n);
}

std::string ContactModel::control(const ControlLine& line) {
    const std::string what = line.keyword(1);
    if (what.empty()) {
        std::string out = "ok contact";
        for (std::uint8_t slot = 0; slot <= sam_slots_; ++slot) {
            const ContactSlot& here = slots_[slot];
            out += (slot == 0 ? " " : ", ") + std::to_string(slot) + ": ";
            out += here.card ? cards_[*here.card].name + (here.powered ? " powered" : "") : "empty";
        }
        std::string out_of_reader;
        for (std::size_t i = 0; i < cards_.size(); ++i) {
            bool in_slot = false;
            for (const ContactSlot& here : slots_) in_slot = in_slot || here.card == i;
            if (!in_slot) out_of_reader += (out_of_reader.empty() ? "" : " ") + cards_[i].name;
        }
        return out + "; out: " + (out_of_reader.empty() ? "none" : out_of_reader);
    }
    if (what != "insert" && what != "remove" && what != "poweroff" && what != "pull")
        throw Refusal("contact takes insert, remove, poweroff or pull; got \"" + std::string(line.word(1)) + "\"");
    const auto slot = slot_named(line.word(2));
    if (!slot)
        throw Refusal("the reader's slots are 0 to " + std::to_string(sam_slots_) + "; got \"" +
                      std::string(line.word(2)) + "\"");
    try {
        if (what == "insert") {
            if (line.size() < 4) throw Refusal("contact insert SLOT CARD");
            line.no_more(4);
            insert(*slot, std::string(line.word(3)));
            return "ok contact " + std::to_string(*slot) + ": " + std::string(line.word(3));
        }
        line.no_more(3);
        if (what == "remove") {
            remove(*slot);
            return "ok contact " + std::to_string(*slot) + ": empty";
        }
        if (what == "poweroff") {
            if (!card_present(*slot)) throw std::invalid_argument("slot " + std::to_string(*slot) + " holds no card");
            power_off(*slot);
            return "ok contact " + std::to_string(*slot) + " powered off";
        }
        pull_during_apdu(*slot);
        return "ok contact " + std::to_string(*slot) + " pulled during the next APDU";
    } catch (const std::invalid_argument& e) {
        throw Refusal(e.what());
    }
}

void ContactModel::clear_failures() {
    for (ContactSlot& slot : slots_) slot.pull = false;
}

std::vector<std::string> ContactModel::failures() const {
    std::vector<std::string> out;
    for (std::uint8_t slot = 0; slot < kContactSlots; ++slot)
        if (slots_[slot].pull) out.push_back("slot " + std::to_string(slot) + " pulled during the next APDU");
    return out;
}

}  // namespace vnrsim
