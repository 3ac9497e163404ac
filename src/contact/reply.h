// src/contact/reply.h: contact family. Pure readings of what the reader answers about a contact slot:
// the slot's state from the exchange's result, and a memory card's type from its identification reply.
// No lock, no I/O.
#pragma once

#include "core/bytes.h"

#include <cstdint>
#include <optional>

namespace vnr::contact {

using core::Bytes;

// The state of a slot, which the reader gives as its status word: the result of the exchange is the
// 16-bit negative of it. Results from -49 to -1 are failures of the library or the link (nullopt); 0
// and every other result is a state, all 16 bits of it (a status word above 0x7FFF included).
std::optional<std::uint16_t> slot_state(std::int16_t result) noexcept;

// A memory card's type, and its size code when the reply carries one.
struct CardKind {
    std::uint8_t type;
    std::optional<std::uint8_t> size_code;
};

// The types that carry a size code in the second byte of a short reply.
bool carries_size_code(std::uint8_t type) noexcept;

// The type that an identification reply names. A reply of at most 2 bytes is the reader's own word:
// byte 0 is the type (whatever its value; a missing byte reads 0), and for types 1, 5 and 10 byte 1 is
// the size code. A longer reply is the card's answer to reset, told by its first two bytes: 81 15,
// 88 15, A0 15, A2 13 give type 4; 92 23, 81 13 type 3; 31 3A, 69 35, 16 04 type 8 (checked in that
// order). Any other head: nullopt, a card the library does not know.
std::optional<CardKind> identify_card(Bytes reply) noexcept;

}  // namespace vnr::contact
