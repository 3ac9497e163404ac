// src/idcard/module_reply.h: idcard. The reply of the identity card module as the exchange delivers
// it, read within the bytes that were received.
//
//   offset 0: length (2, big-endian: the whole reply), 2: SW1, 3: SW2, 4: SW3, 5: data.
//   A read's data, form A (32 50, D0 03): text_len (2), photo_len (2), text block, photo.
//   Form B (D0 04, D0 07): text_len, photo_len, fingerprint_len (2 each), text block, photo, fingerprint.
// The text block is read at its fixed offset and size whatever text_len says; text_len only locates
// what follows it. A reply whose lengths reach past the received bytes is refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace vnr::idcard {

inline constexpr std::size_t kTextBlockSize = 256;
inline constexpr std::size_t kFingerprintSize = 1024;  // taken from its offset whatever fingerprint_len says
inline constexpr std::uint8_t kSuccessSw3 = 0x90;
inline constexpr std::size_t kReplyHead = 5;           // length, SW1, SW2, SW3

enum class Form { a, b };

// Big-endian 16-bit number at `at`.
inline std::uint16_t be16(const std::uint8_t* at) noexcept { return static_cast<std::uint16_t>(at[0] << 8 | at[1]); }

struct Triple {
    std::uint8_t sw1 = 0, sw2 = 0, sw3 = 0;
    bool is(std::uint8_t want_sw3) const noexcept { return sw1 == 0 && sw2 == 0 && sw3 == want_sw3; }
};

inline Triple triple_of(const std::uint8_t* reply) noexcept { return Triple{reply[2], reply[3], reply[4]}; }

// The parts of a read's reply. Offsets count from the start of the reply.
struct ReadLayout {
    std::size_t block = 0;             // the text block (kTextBlockSize bytes)
    std::size_t text_len = 0;
    std::size_t photo = 0;             // the photo, photo_len bytes
    std::size_t photo_len = 0;
    std::size_t fingerprint = 0;       // form B: the fingerprint data
    std::size_t fingerprint_len = 0;
};

// The layout of a read's reply of `received` bytes in `reply` (which may be longer: the rest of the
// buffer). std::nullopt when the reply cannot hold its lengths, its length field or its declared parts
// reach past the received bytes, or the received bytes do not hold the whole fixed-size text block.
inline std::optional<ReadLayout> read_layout(std::span<const std::uint8_t> reply, std::size_t received, Form form) {
    const std::size_t head = form == Form::a ? 9 : 11;
    if (received > reply.size() || received < head) return std::nullopt;
    if (be16(reply.data()) > received) return std::nullopt;
    ReadLayout layout;
    layout.block = head;
    layout.text_len = be16(&reply[5]);
    layout.photo_len = be16(&reply[7]);
    layout.fingerprint_len = form == Form::b ? be16(&reply[9]) : 0;
    layout.photo = head + layout.text_len;
    layout.fingerprint = layout.photo + layout.photo_len;
    if (layout.fingerprint + layout.fingerprint_len > received) return std::nullopt;
    if (head + kTextBlockSize > received) return std::nullopt;
    return layout;
}

}  // namespace vnr::idcard
