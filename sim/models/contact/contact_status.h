// sim/models/contact/contact_status.h: the reader's statuses (a reply's S1 S2) for the contact slots
// and their cards, as the model "contact" answers them (contact_model.h). The state query 32 21 answers
// a slot's state in the same place, so a state is one of these too.
#pragma once

#include <cstdint>

namespace vnrsim {

// States, answered by 32 21; the first two also refuse a command.
constexpr std::uint16_t kSlotNoCard = 0x1001;     // no card in the slot
constexpr std::uint16_t kSlotMissing = 0x1002;    // the reader has no slot of that number
constexpr std::uint16_t kSlotUnpowered = 0x1003;  // a card, not powered (and the refusal of an APDU to it)
constexpr std::uint16_t kSlotPowered = 0x1004;    // a card, powered (state only)

// Refusals.
constexpr std::uint16_t kCardMute = 0x1005;       // the card gave no answer: it was pulled out during the APDU
constexpr std::uint16_t kWrongCardKind = 0x1006;  // the command is not for the card in the slot
constexpr std::uint16_t kBadFields = 0x1007;      // the command's fields do not hold together
constexpr std::uint16_t kWrongCode = 0x1010;      // a wrong password or code: one attempt fewer is left
constexpr std::uint16_t kCodeLocked = 0x1011;     // no attempts left: the password or code is locked for good
constexpr std::uint16_t kCodeNeeded = 0x1012;     // the password or code must be presented first
constexpr std::uint16_t kBeyondCard = 0x1013;     // an address range beyond the card's memory
constexpr std::uint16_t kAccessDenied = 0x1014;   // the card's access rules refuse it
constexpr std::uint16_t kFuseBlown = 0x1015;      // the card is personalised (or its fuse is faked so)

}  // namespace vnrsim
