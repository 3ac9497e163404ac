// src/idcard/commands.h: idcard. The commands of the identity card module that other parts of the
// family reuse.
#pragma once

#include <cstdint>

namespace vnr::idcard {

// The read wait of the module's read commands, and the exchange's standing wait behind them.
inline constexpr std::uint32_t kReadTimeoutMs = 5000;

// IDCard_Read: command 32 50 into a buffer of its own; the whole reply (at most 2000 bytes) to `data`
// and its length to *len once the exchange succeeded. Takes the library lock for itself.
std::int16_t read_text_and_photo(std::int32_t icdev, std::uint32_t* len, std::uint8_t* data);

// The room IDCard_Read's reply needs.
inline constexpr std::uint32_t kReadReplySize = 2000;

}  // namespace vnr::idcard
