// src/contactless/reply.h: contactless. Pure parsers of the reply layouts of card activation: what
// open_card, rf_card and the tag activations get back. No lock, no I/O: bounded views over the reply's
// data, so that a layout that claims more than arrived is refused, never read past.
#pragma once

#include "core/bytes.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vnr::contactless {

using core::Bytes;

// The reply of open_card: card type byte, U, U bytes of identifier, A, A bytes of ATS. Bytes behind
// the ATS are not looked at.
struct CpuCardReply {
    std::uint8_t card_type = 0;
    Bytes uid;
    Bytes ats;
};
std::optional<CpuCardReply> parse_cpu_card(Bytes data) noexcept;

// The reply of the memory card and tag activation (32 41): the card type byte, then the identifier
// (`id_size` bytes: 4 for a Mifare-class card's serial number, 7 for a tag). Bytes behind it are not
// looked at.
struct SerialReply {
    std::uint8_t card_type = 0;
    Bytes id;
};
std::optional<SerialReply> parse_serial(Bytes data, std::size_t id_size) noexcept;

}  // namespace vnr::contactless
