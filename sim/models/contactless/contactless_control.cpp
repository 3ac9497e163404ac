// sim/models/contactless/contactless_control.cpp: the control words of the model "contactless" and its
// help (see contactless_model.h).
#include <algorithm>

#include "models/cards/card_deck.h"
#include "models/contactless/contactless_model.h"

namespace vnrsim {
namespace {

constexpr std::string_view kAbout =
    "The RF field and the cards in it. The field is on at start unless the deck says off; 32 28 and 32 29 "
    "switch it on and off (off ends every card's session and wakes the halted ones). An activation takes "
    "the first card put into the field, of those ready (not halted), of the kind it looks for: 32 24 "
    "WAIT(2) a CPU card (data: type 0A for A or 0B for B, U, UID, A, ATS), 32 41 WAIT(2) a Mifare card or "
    "a tag (data: the SAK, 00 for tags, and the UID, 4 or 7 bytes); it ends the session of the card "
    "active before. 32 25 WAIT(2) halts the active card, which stays out of reach until it leaves the "
    "field or the field goes off. 32 26 FF APDU: the active CPU card's answer. Mifare: 32 42 SECTOR MODE "
    "KEY(6) (MODE 0 key A, 1 key B), 32 43 BLOCK, 32 44 BLOCK DATA(16), 32 45 BLOCK (the value, 4 bytes "
    "most significant first), 32 46 BLOCK VALUE(4), 32 47 and 32 48 BLOCK AMOUNT(4) into the transfer "
    "register, 32 49 BLOCK transfer; access bits, keys and the value format are the card's (a trailer's "
    "inverses that do not match make its sector unusable). Tags: 32 43 PAGE (four pages), 32 4C PAGE "
    "DATA(4) and 32 4D LEN KEY (Ultralight C) for the Ultralight kinds, C1 4C PAGE DATA(4), C1 4F "
    "PASSWORD(4) (data: the PACK) and C1 50 FIRST LAST for the NTAG215; the one-time page and lock bits "
    "only ever set, locked pages refuse writes, pages from AUTH0 on need the key or password. "
    "Status words: 2001 no card of that kind ready, 2002 the "
    "field is off, 2003 no active card, 2004 a command for another kind of card, 2005 fields of the wrong "
    "length, 2006 the card left the field during the command, 2010 authentication failed, 2011 not "
    "authenticated, 2012 refused by access bits, lock bits or configuration, 2013 not a value block, 2014 "
    "value out of range, 2015 nothing to transfer, 2016 no such block or page, 2017 password attempts "
    "used up.";

// The section's example around the CPU card; its applications are those of kCpuCardExample.
constexpr std::string_view kDeckExample = R"("contactless": {
  "field": "on",
  "in_field": ["wallet", "tag"],
  "cards": {
    "pay": {"kind": "cpu", "type": "A", "uid": "5A 10 20 30", "ats": "05 78 80 70 02",
            "applications": [...]},
    "wallet": {"kind": "mifare_1k", "uid": "5A 2B 3C 4D",
               "sectors": {"1": {"key_a": "A0A1A2A3A4A5", "key_b": "B0B1B2B3B4B5",
                                 "conditions": ["000", "000", "110", "011"]}},
               "blocks": {"4": "'SAMPLE WALLET 01'", "6": {"value": 100}}},
    "tag": {"kind": "ntag215", "uid": "1D 5A 6B 7C 8D 9E AF", "password": "12345678", "pack": "AB CD",
            "auth0": 16, "access": 0, "pages": {"0x50": "'base information'"}},
    "label": {"kind": "ultralight_c", "key": "00112233445566778899AABBCCDDEEFF", "auth0": 48, "auth1": 1}
  }
})";

constexpr std::string_view kDeckKeys =
    "\"field\": \"on\" (default) or \"off\" at start. \"in_field\": the cards in the field at start, first "
    "put first (default: none). \"cards\": the cards, by name (letters, digits, -, _ and .), each with its "
    "\"kind\"; a card keeps what is written to it. A Mifare card, kind mifare_1k or mifare_4k: \"uid\" 4 or "
    "7 bytes (default 5A 2B 3C 4D), \"sak\" (default 08, 18 for 4K), \"blocks\": {\"BLOCK\": 16 bytes, or "
    "{\"value\": V, \"address\": A (default the block)} for a value block}, \"sectors\": {\"SECTOR\": "
    "{\"key_a\", \"key_b\": 6 bytes, \"access\": bytes 6 to 8 (or 9) of the trailer, or \"conditions\": "
    "four \"C1C2C3\" of data groups 0, 1, 2 and the trailer}} over a factory card (keys FF.., access "
    "FF 07 80 69, block 0 from the UID). A tag, kind ultralight (16 pages), ultralight_c (48) or ntag215 "
    "(135): \"uid\" 7 bytes (default 1D 5A 6B 7C 8D 9E AF), \"pages\": {\"PAGE\": whole pages of bytes}; "
    "ultralight_c: \"key\" 16 bytes (default zeros), \"auth0\" (default 48: nothing protected), \"auth1\" "
    "(bit 0: 1 protects writes only, 0 reads too); ntag215: \"password\" 4 bytes (default FF FF FF FF), "
    "\"pack\" 2 bytes (00 00), \"auth0\" (default FF), \"access\" (bit 7 protects reads too, bit 6 locks "
    "the configuration, bits 0-2 AUTHLIM). A CPU card: \"type\" A (default) or B, \"uid\" (A: 4, 7 or 10 "
    "bytes, default 5A 10 20 30; B: the 4-byte PUPI, default 5B 10 20 30), \"ats\" 1 to 64 bytes (default "
    "05 78 80 70 02; for B 00 00 00 00 00 81 81), and the keys of a CPU card as the section contact has "
    "them. Addresses are decimal, or hex after 0x. ";

constexpr CommandHelp kCommands[] = {
    {"contactless",
     "the field on or off, the cards in it in their order (the active one marked), the cards "
     "out of it"},
    {"contactless put CARD", "puts the deck's card CARD into the field, behind the cards there"},
    {"contactless take CARD", "takes CARD out of the field"},
    {"contactless pull",
     "the active card leaves the field during the next command to it: no answer from it "
     "(2006)"},
    {"clear contactless", "drops a pull that has not happened yet (\"clear\" does so too)"},
};

}  // namespace

const ModelHelp& ContactlessModel::help() const {
    static const std::string keys = std::string(kDeckKeys) + std::string(kCpuCardHelp);
    static const ModelHelp help{"contactless", "the RF field and the cards and tags in it", kAbout, kDeckExample, keys,
                                kCommands};
    return help;
}

std::string ContactlessModel::control(const ControlLine& line) {
    const std::string what = line.keyword(1);
    if (what.empty()) {
        std::string out = std::string("ok contactless field ") + (field_on_ ? "on" : "off") + "; in field:";
        for (const std::size_t i : field_)
            out += (i == field_.front() ? " " : ", ") + cards_[i].name + (active_ == i ? " active" : "") +
                   (cards_[i].halted ? " halted" : "");
        if (field_.empty()) out += " none";
        std::string out_of_field;
        for (std::size_t i = 0; i < cards_.size(); ++i)
            if (std::find(field_.begin(), field_.end(), i) == field_.end())
                out_of_field += (out_of_field.empty() ? "" : " ") + cards_[i].name;
        return out + "; out: " + (out_of_field.empty() ? "none" : out_of_field);
    }
    try {
        if (what == "put" || what == "take") {
            if (line.size() < 3) throw Refusal("contactless " + what + " CARD");
            line.no_more(3);
            const std::string card_name(line.word(2));
            if (what == "put") {
                put(card_name);
            } else {
                take(card_name);
            }
            return "ok contactless " + what + " " + card_name;
        }
        if (what == "pull") {
            line.no_more(2);
            pull_during_command();
            return "ok contactless " + cards_[*active_].name + " leaves during the next command";
        }
    } catch (const std::invalid_argument& e) {
        throw Refusal(e.what());
    }
    throw Refusal("contactless takes put, take or pull; got \"" + std::string(line.word(1)) + "\"");
}

std::vector<std::string> ContactlessModel::failures() const {
    if (!pull_ || !active_) return {};
    return {cards_[*active_].name + " leaves the field during the next command"};
}

}  // namespace vnrsim
