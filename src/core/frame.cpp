// src/core/frame.cpp: core. The frame codec.
#include "core/frame.h"

#include <algorithm>

#include "vnr_32.h"

namespace vnr::core {

namespace {
constexpr std::uint8_t kNibbleBase = 0x30;

bool is_nibble_byte(std::uint8_t byte) noexcept { return byte >= 0x30 && byte <= 0x3F; }

// Two wire bytes of the split form back into one byte; a nibble outside 0x30-0x3F is not refused
// here, the check byte shows it.
std::uint8_t join(std::uint8_t high, std::uint8_t low) noexcept {
    return static_cast<std::uint8_t>((high - kNibbleBase) * 16 + (low - kNibbleBase));
}
}  // namespace

std::uint8_t frame_xor(int length, const std::uint8_t* bytes) noexcept {
    std::uint8_t check = 0;
    for (int i = 0; i < length; ++i) check ^= bytes[i];
    return check;
}

std::int16_t frame_xor_verify(int length, const std::uint8_t* bytes) noexcept {
    return frame_xor(length, bytes) == 0 ? VNR_OK : VNR_E_CHECK_BYTE;
}

void hex_text(const std::uint8_t* bytes, char* text, int length) noexcept {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    for (std::size_t i = 0; i < static_cast<std::size_t>(length > 0 ? length : 0); ++i) {
        text[2 * i] = kDigits[bytes[i] >> 4];
        text[2 * i + 1] = kDigits[bytes[i] & 0x0F];
    }
    text[length > 0 ? 2 * length : 0] = '\0';
}

std::size_t encode_frame(std::span<const std::uint8_t> payload, FrameForm form, std::span<std::uint8_t> out) noexcept {
    const std::size_t size = wire_length(form, payload.size());
    if (payload.size() > 0xFFFF || size > out.size()) return 0;
    const std::uint8_t check = frame_xor(static_cast<int>(payload.size()), payload.data());
    std::size_t at = 0;
    out[at++] = kStartByte;
    auto put = [&](std::uint8_t byte) {
        if (form == FrameForm::split) {
            out[at++] = static_cast<std::uint8_t>(kNibbleBase + (byte >> 4));
            out[at++] = static_cast<std::uint8_t>(kNibbleBase + (byte & 0x0F));
        } else {
            out[at++] = byte;
        }
    };
    put(static_cast<std::uint8_t>(payload.size() >> 8));
    put(static_cast<std::uint8_t>(payload.size() & 0xFF));
    for (const std::uint8_t byte : payload) put(byte);
    put(check);
    out[at++] = kEndByte;
    return at;
}

FrameHead read_frame_head(std::span<const std::uint8_t, kFrameHeadSize> head) noexcept {
    if (is_nibble_byte(head[1]) && is_nibble_byte(head[2]))
        return FrameHead{FrameForm::split, join(head[1], head[2]) * 256u + join(head[3], head[4])};
    return FrameHead{FrameForm::plain, head[1] * 256u + head[2]};
}

std::int16_t finish_frame(std::span<const std::uint8_t> wire, const FrameHead& head, std::span<std::uint8_t> plain,
                          std::size_t& total) noexcept {
    total = 0;
    const std::size_t plain_size = head.payload_length + 5;
    if (wire.size() != wire_length(head.form, head.payload_length) || plain_size > plain.size()) return VNR_E_END_BYTE;
    if (head.form == FrameForm::split) {
        plain[0] = wire[0];
        for (std::size_t i = 1; i + 1 < plain_size; ++i) plain[i] = join(wire[2 * i - 1], wire[2 * i]);
        plain[plain_size - 1] = wire.back();
    } else {
        std::copy(wire.begin(), wire.end(), plain.begin());
    }
    if (plain[plain_size - 1] != kEndByte) return VNR_E_END_BYTE;
    if (frame_xor_verify(static_cast<int>(head.payload_length + 1), plain.data() + 3) != VNR_OK) return VNR_E_CHECK_BYTE;
    // A reply without room for S1 and S2 cannot be taken.
    if (head.payload_length < 2) return VNR_E_END_BYTE;
    total = plain_size;
    return VNR_OK;
}

}  // namespace vnr::core
