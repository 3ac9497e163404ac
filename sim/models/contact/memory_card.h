// sim/models/contact/memory_card.h: a contact memory card of the model "contact": a memory of a size
// its type gives, and for the types that have one a password (PSC) with an error counter.
//
// Types, as 32 31 settype names them and 32 32 identifytype answers them:
//   1, 5, 10  EEPROM cards of 128 x 2^size_code bytes (size_code 0 to 16); identify answers two bytes,
//             the type and the size code. No password unless the deck gives one.
//   4         256 bytes, a 3-byte password, 3 attempts; identify answers the card's ATR (A2 13 10 91).
//   3         1024 bytes, a 2-byte password, 8 attempts; identify answers its ATR (92 23 10 91).
// Type 8 is the 1604 card's (card_1604.h).
//
// The password: a wrong presentation takes one attempt and answers kWrongCode; at zero attempts the card
// is locked for good (kCodeLocked to every presentation and write); a right one gives all attempts back
// and unlocks the card until it loses power. A card with a password refuses writes and password
// changes (kCodeNeeded) until it is unlocked; a presentation or change of another length is kBadFields.
// Reads are free. A read or write past the card's size is kBeyondCard and changes nothing.
#pragma once

#include <cstdint>
#include <span>

#include "models/cards/cpu_card.h"
#include "vnrsim/model.h"

namespace vnrsim {

struct MemoryCardSetup {
    std::uint8_t type = 4;       // 1, 3, 4, 5 or 10
    std::uint8_t size_code = 0;  // types 1, 5, 10: the memory is 128 << size_code bytes
    CardBytes atr;               // types 3, 4: what identify answers
    CardBytes memory;            // the card's memory; its size is the card's
    CardBytes password;          // empty: the card has none
    std::uint8_t attempts = 0;   // presentations a card with a password allows, 1 to 8
};

// The setup of a factory card of `type` (size code `size_code` for types 1, 5, 10): memory all FF,
// password FF..FF where the type has one. Throws std::invalid_argument for a type outside the list.
MemoryCardSetup factory_memory_card(std::uint8_t type, std::uint8_t size_code = 1);

class MemoryCard {
public:
    explicit MemoryCard(MemoryCardSetup setup);

    std::uint8_t type() const noexcept { return setup_.type; }
    // The answer to 32 32: type and size code, or the ATR.
    CardBytes identify() const;
    // 32 33: a new password (the card must be unlocked).
    Answer change_password(std::span<const std::uint8_t> password);
    // 32 34: presents the password.
    Answer present(std::span<const std::uint8_t> password);
    // 32 35 and 32 36.
    Answer read(std::size_t address, std::size_t length) const;
    Answer write(std::size_t address, std::span<const std::uint8_t> data);
    // The card loses power: it forgets the presentation.
    void power_off() noexcept { unlocked_ = false; }

    std::uint8_t attempts_left() const noexcept { return left_; }
    bool unlocked() const noexcept { return unlocked_; }
    const MemoryCardSetup& setup() const noexcept { return setup_; }

private:
    MemoryCardSetup setup_;
    std::uint8_t left_;
    bool unlocked_ = false;
};

}  // namespace vnrsim
