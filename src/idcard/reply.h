// src/idcard/reply.h: idcard. The reply of the identity card module as the exchange delivers it, read
// within the bytes that came. Pure: no lock, no I/O.
//
//   offset 0: length (2, big-endian: the whole reply), 2: SW1, 3: SW2, 4: SW3, 5: data.
//   A read's data, text and photo (32 50, D0 03): text_len (2), photo_len (2), text block, photo.
//   With fingerprint data (D0 04, D0 07): text_len, photo_len, fingerprint_len (2 each), text block,
//   photo, fingerprint data.
// The text block is read at its fixed offset and size whatever text_len says; text_len only locates what
// follows it. A reply whose lengths reach past the received bytes is refused.
#pragma once

#include "core/bytes.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vnr::idcard {

using core::Bytes;

inline constexpr std::size_t kTextBlockSize = 256;
inline constexpr std::size_t kFingerprintSize = 1024;  // taken from its offset whatever fingerprint_len says
inline constexpr std::size_t kModuleHead = 5;          // length, SW1, SW2, SW3
inline constexpr std::uint8_t kDoneSw3 = 0x90;         // 00 00 90: a command other than find succeeded
inline constexpr std::uint8_t kFoundSw3 = 0x9F;        // 00 00 9F: find succeeded

struct Triple {
    std::uint8_t sw1 = 0, sw2 = 0, sw3 = 0;
    // 00 00 `sw3`.
    bool is(std::uint8_t sw3_wanted) const noexcept { return sw1 == 0 && sw2 == 0 && sw3 == sw3_wanted; }
};

// The triple at the head of a zero-filled reply room (or a caller's reply buffer): bytes 2 to 4, zeros
// where nothing came.
Triple triple_in(Bytes room) noexcept;

// The reply's length field (bytes 0 and 1 of the room).
std::uint16_t length_field(Bytes room) noexcept;

// The data of a module reply of `received` bytes: the length field minus 5 bytes behind the triple.
// nullopt when the reply is too short for its head, or its length field is below the head or reaches
// past the bytes received.
std::optional<Bytes> module_data(Bytes received) noexcept;

// The two forms of a read's reply.
enum class ReadForm { text_and_photo, with_fingerprint };

struct ReadLayout {
    Bytes block;                     // the text block, kTextBlockSize bytes
    Bytes text;                      // text_len bytes from the block's offset
    Bytes photo;                     // photo_len bytes
    Bytes fingerprint;               // fingerprint_len bytes (none in the text-and-photo form)
    std::size_t fingerprint_at = 0;  // the fingerprint data's offset from the start of the reply
};

// The layout of a read's reply of `received` bytes. nullopt when the reply cannot hold its lengths, its
// length field or its declared parts reach past the received bytes, or the received bytes do not hold the
// whole text block.
std::optional<ReadLayout> read_layout(Bytes received, ReadForm form) noexcept;

// The text block of a text-and-photo read at its fixed offset, when the received bytes hold it whole; the
// lengths in the reply are not looked at.
std::optional<Bytes> text_block_of(Bytes received) noexcept;

// What the record keeps of the fingerprint: kFingerprintSize bytes from the fingerprint's offset in the
// reply room, whatever fingerprint_len says, as far as the room goes.
Bytes fingerprint_block(Bytes room, const ReadLayout& layout) noexcept;

}  // namespace vnr::idcard
