// sim/models/contact/contact_model.h: the model "contact", the reader's contact slots: the card slot
// (number 0) and the SAM slots (1 to sam_slots, at most 31), each empty or holding one of the deck's
// cards, which the control channel inserts and removes. A card keeps what was written to it while it
// is out of the reader; it lies in one slot at a time. Its deck section (contact_deck.cpp) and control
// words (contact_control.cpp) stand in its help().
//
// Commands (S1 S2 of the reply; statuses in contact_status.h):
//   32 21 SLOT                 the slot's state as the status: 1001 no card, 1002 no such slot, 1003 a
//                              card not powered, 1004 a card powered (memory cards are powered by their
//                              first command)
//   32 22 WAIT(2) SLOT         powers a CPU card up: data = the ATR's length, then the ATR
//   32 27 SLOT BAUD            the same at BAUD 0, 1 or 2: data = the ATR
//   32 23 SLOT                 powers the card down
//   32 26 SLOT APDU            the CPU card's answer, SW1 SW2 included; SLOT FF is the contactless CPU
//                              card, which the sibling "contactless" answers
//   32 31 SLOT TYPE            settype: 0 when the card is of TYPE, else 1006
//   32 32 SLOT                 identifytype: type and size code, or the card's ATR (memory_card.h)
//   32 33, 32 34, 32 35, 32 36 password change, password check, read ADDR(2) LEN(2), write ADDR(2) LEN(2)
//                              DATA of a memory card (memory_card.h), or the code write, code
//                              presentation, read and write of a 1604 card (card_1604.h)
//   32 30 SLOT ADDR(2) LEN(2) [00]  the 1604 card's erase
//   32 96 SLOT MODE, 33 39 SLOT     the 1604 card's faked fuse and personalisation
// A slot beyond the reader's answers 1002, an empty one 1001; a command for another kind of card 1006;
// fields of the wrong length or value 1007. A reset, a power-down and a loss of power end what a card
// holds of its session (selection, presented passwords and codes).
#pragma once

#include <array>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "models/cards/cpu_card.h"
#include "models/cards/late_answer.h"
#include "models/contact/card_1604.h"
#include "models/contact/contact_status.h"
#include "models/contact/memory_card.h"
#include "vnrsim/model.h"

namespace vnrsim {

constexpr std::uint8_t kContactSlots = 32;    // slot 0 and SAM slots 1 to 31 at most
constexpr std::uint8_t kDefaultSamSlots = 4;  // SAM slots of a reader whose deck does not say

// A contact CPU card: its ATR and its APDU behaviour.
struct ContactCpuCard {
    CardBytes atr{0x3B, 0x68, 0x00, 0x00, 0x56, 0x4E, 0x52, 0x53, 0x49, 0x4D, 0x30, 0x31};
    CpuCard cpu;
};

using ContactCardKind = std::variant<ContactCpuCard, MemoryCard, Card1604>;

// One card of the deck, by its name.
struct ContactCard {
    std::string name;
    ContactCardKind card;
};

struct ContactSlot {
    std::optional<std::size_t> card;  // the card in it, an index into cards()
    bool powered = false;
    bool pull = false;  // the next APDU finds the card pulled out
};

class ContactModel : public Model {
public:
    ContactModel() = default;

    const ModelHelp& help() const override;
    void load(const nlohmann::json& section, const std::filesystem::path& folder) override;
    std::optional<Answer> answer(std::span<const std::uint8_t> command) override;
    // An APDU to a CPU card with an answer time is answered that much later; the contactless card's
    // APDUs (slot FF) are left to the sibling "contactless", which the reader asks next.
    std::optional<Answer> answer_at(std::span<const std::uint8_t> command, Clock::time_point now) override;
    Answer settle(Clock::time_point now) override { return late_.settle(now); }
    void abandon() override { late_.drop(); }
    std::string control(const ControlLine& line) override;
    void clear_failures() override;
    std::vector<std::string> failures() const override;
    bool card_present(std::uint8_t slot) const override;

    // Puts the card `name` into `slot`. Throws std::invalid_argument when the slot is missing or full,
    // or the card is unknown or in a slot.
    void insert(std::uint8_t slot, const std::string& name);
    // Takes the card out of `slot`. Throws std::invalid_argument when there is none.
    void remove(std::uint8_t slot);
    // The reader cuts the card's power in `slot`, as a power failure would.
    void power_off(std::uint8_t slot);
    // The next APDU to `slot` finds its card pulled out: no answer (kCardMute), and the slot empty.
    void pull_during_apdu(std::uint8_t slot);

    std::uint8_t sam_slots() const noexcept { return sam_slots_; }
    const ContactSlot& slot(std::uint8_t slot) const { return slots_.at(slot); }
    const std::vector<ContactCard>& cards() const noexcept { return cards_; }
    // The card named `name`, or nullptr.
    ContactCard* card(const std::string& name);

private:
    bool slot_exists(std::uint8_t slot) const noexcept { return slot <= sam_slots_; }
    // The card in `slot`, or the status that refuses a command to it.
    std::variant<ContactCardKind*, std::uint16_t> card_in(std::uint8_t slot);
    Answer state(std::uint8_t slot) const;
    Answer reset(std::uint8_t slot, bool with_length);
    Answer apdu(std::uint8_t slot, std::span<const std::uint8_t> apdu);
    Answer memory_command(std::span<const std::uint8_t> command);
    std::optional<std::uint8_t> slot_named(std::string_view word) const;

    std::vector<ContactCard> cards_;
    std::array<ContactSlot, kContactSlots> slots_{};
    std::uint8_t sam_slots_ = kDefaultSamSlots;
    LateAnswer late_;  // an APDU's answer held back for the card's answer time
};

}  // namespace vnrsim
