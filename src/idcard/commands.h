// src/idcard/commands.h: idcard. The commands of the identity card module that other parts of the
// family reuse.
#pragma once

#include "idcard/module_reply.h"

#include <cstdint>
#include <optional>
#include <span>

namespace vnr::idcard {

// The read wait of the module's read commands, and the exchange's standing wait behind them.
inline constexpr std::uint32_t kReadTimeoutMs = 5000;

// IDCard_Read: command 32 50 into a buffer of its own; the whole reply (at most 2000 bytes) to `data`
// and its length to *len once the exchange succeeded. Takes the library lock for itself.
std::int16_t read_text_and_photo(std::int32_t icdev, std::uint32_t* len, std::uint8_t* data);

// Sends the two-byte command on the wait of a card read and restores the standing wait behind it.
// Called with the library lock held.
std::int16_t read_exchange(std::int32_t icdev, std::uint8_t first, std::uint8_t second, std::uint32_t* received,
                           std::span<std::uint8_t> reply);

// A card read's reply as the family judges it: the exchange's status (VNR_E_END_BYTE when the triple
// is success but the reply's lengths cannot be taken), the triple, and the layout when both are good.
struct CardReply {
    std::int16_t status = 0;
    Triple triple;
    std::optional<ReadLayout> layout;
    bool read() const noexcept { return status == 0 && layout.has_value(); }
};

// Reads with the command into `reply` and judges the reply in `form`.
CardReply read_card_reply(std::int32_t icdev, std::uint8_t first, std::uint8_t second, std::span<std::uint8_t> reply,
                          Form form);

// The room IDCard_Read's reply needs.
inline constexpr std::uint32_t kReadReplySize = 2000;

}  // namespace vnr::idcard
