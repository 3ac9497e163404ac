// src/core/frame.h: core. The frame codec: pure functions over byte spans, shared by both links.
//
// Plain form: 02, LEN high, LEN low, LEN payload bytes, XOR of the payload, 03 (LEN+5 bytes).
// Split form: 02 and 03 stay single bytes; every other byte of the plain frame goes as two bytes,
// high nibble first, each nibble plus 0x30 (2*LEN+8 bytes). A command's payload is its two command
// bytes and fields; a reply's payload is S1, S2 and the data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vnr::core {

inline constexpr std::uint8_t kStartByte = 0x02;
inline constexpr std::uint8_t kEndByte = 0x03;
// Every frame, sent or received, is assembled in a buffer of this size, which bounds LEN to 65525 in
// the plain form and 32761 in the split form.
inline constexpr std::size_t kFrameBufferSize = 65530;
// The start byte and the four bytes that carry LEN in either form.
inline constexpr std::size_t kFrameHeadSize = 5;

enum class FrameForm { plain, split };

// XOR of `length` bytes; 0 for a length below 1.
std::uint8_t frame_xor(int length, const std::uint8_t* bytes) noexcept;

// 0 when the XOR of the bytes is 0, else -36.
std::int16_t frame_xor_verify(int length, const std::uint8_t* bytes) noexcept;

// Upper-case hexadecimal, two characters a byte, and a terminating zero: `text` holds 2*length+1.
void hex_text(const std::uint8_t* bytes, char* text, int length) noexcept;

// Wire length of a frame with `payload_length` payload bytes.
constexpr std::size_t wire_length(FrameForm form, std::size_t payload_length) noexcept {
    return form == FrameForm::split ? 2 * payload_length + 8 : payload_length + 5;
}

// Builds the frame of `payload` in `form` into `out`. Returns its length, or 0 when it does not fit
// in `out` (nothing meaningful is left there then).
std::size_t encode_frame(std::span<const std::uint8_t> payload, FrameForm form, std::span<std::uint8_t> out) noexcept;

// What the five head bytes (start byte and the next four) of a received frame say: its form (split
// when the two bytes after the start byte both lie in 0x30 to 0x3F) and LEN.
struct FrameHead {
    FrameForm form = FrameForm::plain;
    std::size_t payload_length = 0;
};
FrameHead read_frame_head(std::span<const std::uint8_t, kFrameHeadSize> head) noexcept;

// Turns a whole received frame (`wire`, exactly its wire length) into the plain form in `plain` and
// checks it. Sets `total` to LEN+5 on success, 0 on failure. Returns 0, -35 (the last byte is not the
// end byte, or the frame cannot hold a status pair or does not fit `plain`) or -36 (check byte).
std::int16_t finish_frame(std::span<const std::uint8_t> wire, const FrameHead& head, std::span<std::uint8_t> plain,
                          std::size_t& total) noexcept;

}  // namespace vnr::core
