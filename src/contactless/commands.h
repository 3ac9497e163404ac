// src/contactless/commands.h: contactless. What the family's composite functions share with its rows:
// the rooms of the caller's buffers, the rows that composite functions run directly (the fast read of a
// page range, the password page write, the value change after its read), and the waits of activation.
#pragma once

#include "core/command.h"
#include "core/wait.h"

#include <cstddef>
#include <cstdint>

namespace vnr::contactless {

// The rooms the header documents for the caller's buffers; a reply that does not fit is refused.
inline constexpr std::size_t kUidRoom = 10;         // open_card, CLCard_Open: the longest card identifier
inline constexpr std::size_t kAtsRoom = 64;         // open_card, CLCard_Open
inline constexpr std::size_t kSerialSize = 4;       // rf_card: the serial number
inline constexpr std::size_t kTagIdSize = 7;        // MF_OpenCard, NTAG215_OpenCard
inline constexpr std::size_t kBlockRoom = 16;       // rf_read: one block
inline constexpr std::size_t kPageReadRoom = 100;   // MF_Read, NTAG215_Read
inline constexpr std::size_t kFastReadRoom = 512;   // NTAG215_FastRead
inline constexpr std::size_t kBaseInfoRoom = 193;   // NTAG215_ReadBaseInfo: 192 bytes and the terminator

// The reply rooms of the activation commands.
inline constexpr std::size_t kCpuCardReplyRoom = 100;   // open_card: U + A + 3 at most 100
inline constexpr std::size_t kActivationReplyRoom = 300;

// The wait of a command that carries `delaytime` for the reader: open_card waits it and 1000 ms more,
// always; rf_card and rf_halt wait it and 200 ms more when that is longer than the standing wait.
// 0xFFFF means no limit for all three.
inline std::optional<std::uint32_t> cpu_card_wait(std::uint16_t delaytime) noexcept {
    return core::carried_wait(delaytime, 1000, core::CarriedWait::always, true);
}
inline std::optional<std::uint32_t> memory_card_wait(std::uint16_t delaytime) noexcept {
    return core::carried_wait(delaytime, 200, core::CarriedWait::when_longer, true);
}

// Tag activation waits a flat 200 ms, whatever delaytime would say.
inline constexpr std::uint32_t kTagActivationWaitMs = 200;

// Rows that composite functions run (each takes the library lock for itself):
//   kNtagFastRead    {icdev, {first, last}, {}, {out}}: pages first to last into out (kFastReadRoom)
//   kNtagWrite       {icdev, {page}, {data}}: NTAG215_Write_4bytes
//   kValueIncrement  {icdev, {addr, amount, current}}: the check and command after rf_readval
//   kValueDecrement  the same for a decrement
extern const core::Command kNtagFastRead;
extern const core::Command kNtagWrite;
extern const core::Command kValueIncrement;
extern const core::Command kValueDecrement;

}  // namespace vnr::contactless
