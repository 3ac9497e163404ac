// src/contact/commands.h: contact family. What the family's files share: the command group, the slot
// bounds, and the two inner commands of the AT88SC1604 family that wsc_1604 strings together.
#pragma once

#include <cstdint>

namespace vnr::contact {

// The group byte of the contact commands (the 1604 personalisation alone is in group 0x33).
inline constexpr std::uint8_t kContactGroup = 0x32;
// Slots 0 (the contact slot) to 31; 0xFF names the activated contactless CPU card, for card_APDU only.
inline constexpr std::uint8_t kLastSlot = 31;
inline constexpr std::uint8_t kContactlessCard = 0xFF;
// The wait of each piece of a long memory card transfer, and of every memory card write.
inline constexpr std::uint32_t kPieceTimeoutMs = 15000;

// The inner erase of a code: the erase command (32 30) with one zero byte more, `zone` 0 to 8 bounded
// like a read of zone_of_code(zone). Waits 30000 ms with a 10 ms delay, which stands afterwards.
std::int16_t neibu_ser_1604(std::int32_t icdev, std::int32_t zone, std::int32_t offset, std::int32_t len);

// The inner write of a code (32 33): `zone` goes as its low byte, `len` bytes of `data`; no bound is
// checked but the handle.
std::int16_t swrSC_1604(std::int32_t icdev, std::int32_t zone, std::int32_t offset, std::int32_t len,
                        const std::uint8_t* data);

}  // namespace vnr::contact
