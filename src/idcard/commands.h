// src/idcard/commands.h: idcard. The module's read, as the read-card family and the foreign card's line
// use it, and the one judgement of a card read's reply.
#pragma once

#include "core/call.h"
#include "idcard/reply.h"

#include <cstdint>
#include <optional>

namespace vnr::idcard {

// The wait of the module's read commands.
inline constexpr std::uint32_t kReadTimeoutMs = 5000;

// The module's commands, after their group byte.
inline constexpr std::uint8_t kReadGroup = 0x32;
inline constexpr std::uint8_t kRead = 0x50;              // 32 50: text and photo
inline constexpr std::uint8_t kModuleGroup = 0xD0;
inline constexpr std::uint8_t kReadWithFingerprint = 0x07;  // D0 07

// A card read's reply as the family judges it: the exchange's status (VNR_E_END_BYTE when the triple is
// success but the reply's lengths cannot be taken), the triple at the head of the room, and the layout
// when both are good.
struct CardRead {
    std::int16_t status = VNR_OK;
    Triple triple;
    std::optional<ReadLayout> layout;
    bool read() const noexcept { return status == VNR_OK && layout.has_value(); }
    bool refused_by_card() const noexcept { return status == VNR_OK && !triple.is(kDoneSw3); }
};

// Sends the two-byte read command (`group`, `code`) on the wait of a card read, into `room`, and judges
// the reply in `form`. Called within a Call, with the lock held.
CardRead read_card_reply(core::Call& call, std::int32_t icdev, std::uint8_t group, std::uint8_t code,
                         core::ReplyRoom& room, ReadForm form);

// IDCard_Read: 32 50 into a room of its own; the whole reply (at most 2000 bytes) to `data` and its length
// to *len once the exchange succeeded. Takes the library lock for itself.
std::int16_t read_text_and_photo(std::int32_t icdev, std::uint32_t* len, std::uint8_t* data);

// The room IDCard_Read's reply needs.
inline constexpr std::size_t kReadReplySize = 2000;

}  // namespace vnr::idcard
