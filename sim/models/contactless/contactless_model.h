// sim/models/contactless/contactless_model.h: the model "contactless", the reader's RF field and the
// cards in it: contactless CPU cards (type A and B), Mifare Classic 1K and 4K cards (mifare_card.h),
// Ultralight, Ultralight C and NTAG215 tags (page_tag.h). The control channel puts the deck's cards
// into the field and takes them out; a card keeps what was written to it. Its deck section
// (contactless_deck.cpp) and control words (contactless_control.cpp) stand in its help().
//
// The field is on at start unless the deck says otherwise. A card in the field is ready, active (the
// one card that the commands after an activation reach) or halted. An activation ends the session of
// the card active before it (which is ready again) and takes the first card put into the field, of
// those that are ready, of the kind it looks for; a halted card stays out of reach until it leaves the
// field or the field goes off and on. Switching the field off ends every session and makes the halted
// cards ready once the field is on again.
//
// Commands (S1 S2 of the reply; statuses in contactless_status.h):
//   32 28 / 32 29          field on / off
//   32 24 WAIT(2)          activates a CPU card: data = type (0A type A, 0B type B), U, UID (U bytes), A,
//                          ATS (A bytes); for type B the UID is the PUPI and the ATS what the deck gives
//   32 41 WAIT(2)          activates a Mifare card or a tag: data = type (the card's SAK; 00 for the
//                          tags) and the UID (4 or 7 bytes; always 7 for the tags)
//   32 25 WAIT(2)          halts the active card
//   32 26 FF APDU          the active CPU card's answer, SW1 SW2 included
//   32 42 SECTOR MODE KEY(6), 32 43 BLOCK, 32 44 BLOCK DATA(16), 32 45 BLOCK, 32 46 BLOCK VALUE(4),
//   32 47 / 32 48 BLOCK AMOUNT(4), 32 49 BLOCK: the Mifare card's authentication (MODE 0 key A, 1 key
//                          B), block read and write, value read (4 bytes, most significant first),
//                          value init, increment and decrement into the transfer register, transfer
//   32 43 PAGE             a tag's four pages from PAGE
//   32 4C PAGE DATA(4), 32 4D LEN KEY   an Ultralight's page write, an Ultralight C's key
//   C1 4C PAGE DATA(4), C1 4F PASSWORD(4), C1 50 FIRST LAST   the NTAG215's page write, password
//                          (data: the PACK) and fast read
// With the field off an activation answers kRfFieldOff; without an active card a card command answers
// kRfNotActive, and for another kind of card kRfWrongCardKind. 32 52 is not this model's.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "models/cards/cpu_card.h"
#include "models/cards/late_answer.h"
#include "models/contactless/contactless_status.h"
#include "models/contactless/mifare_card.h"
#include "models/contactless/page_tag.h"
#include "vnrsim/model.h"

namespace vnrsim {

// A contactless CPU card: its activation data and its APDU behaviour.
struct RfCpuCard {
    bool type_b = false;
    CardBytes uid{0x5A, 0x10, 0x20, 0x30};        // type A: 4, 7 or 10 bytes; type B: the 4-byte PUPI
    CardBytes ats{0x05, 0x78, 0x80, 0x70, 0x02};  // type A: the ATS; type B: what the deck gives
    CpuCard cpu;
};

using RfCardKind = std::variant<RfCpuCard, MifareCard, PageTag>;

// One card of the deck, by its name.
struct RfCard {
    std::string name;
    RfCardKind card;
    bool halted = false;
};

class ContactlessModel : public Model {
public:
    ContactlessModel() = default;

    const ModelHelp& help() const override;
    void load(const nlohmann::json& section, const std::filesystem::path& folder) override;
    std::optional<Answer> answer(std::span<const std::uint8_t> command) override;
    // An APDU to a CPU card with an answer time is answered that much later.
    std::optional<Answer> answer_at(std::span<const std::uint8_t> command, Clock::time_point now) override;
    Answer settle(Clock::time_point now) override { return late_.settle(now); }
    void abandon() override { late_.drop(); }
    std::string control(const ControlLine& line) override;
    void clear_failures() override { pull_ = false; }
    std::vector<std::string> failures() const override;
    // kFieldSlot: whether any card lies in the field, whatever the field's state.
    bool card_present(std::uint8_t slot) const override { return slot == kFieldSlot && !field_.empty(); }

    // Puts the card `name` into the field, behind those already there. Throws std::invalid_argument
    // when it is unknown or already in the field.
    void put(const std::string& name);
    // Takes the card `name` out of the field. Throws std::invalid_argument when it is not there.
    void take(const std::string& name);
    // The active card leaves the field during the next command to it: no answer (kRfCardGone).
    void pull_during_command();

    bool field_on() const noexcept { return field_on_; }
    // The names of the cards in the field, in the order they were put there.
    std::vector<std::string> in_field() const;
    // The active card's name, if a card is active.
    std::optional<std::string> active() const;
    const std::vector<RfCard>& cards() const noexcept { return cards_; }
    RfCard* card(const std::string& name);

private:
    Answer activate(bool cpu);
    // Ends the active card's session, which is ready again.
    void deactivate();
    // The active card when it is of kind `Kind`, or the refusal.
    template <typename Kind>
    std::variant<Kind*, std::uint16_t> active_as();
    Answer card_command(std::span<const std::uint8_t> command);

    std::vector<RfCard> cards_;
    std::vector<std::size_t> field_;     // the cards in the field, indexes into cards_, first put first
    std::optional<std::size_t> active_;  // index into cards_
    bool field_on_ = true;
    bool pull_ = false;
    LateAnswer late_;  // an APDU's answer held back for the card's answer time
};

}  // namespace vnrsim
