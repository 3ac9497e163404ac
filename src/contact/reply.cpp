// src/contact/reply.cpp: contact family. Slot states and card types from the reader's replies (see reply.h).
#include "contact/reply.h"

#include <array>

namespace vnr::contact {

namespace {

constexpr std::int16_t kLastLinkFailure = -49;  // -49 to -1: the library's and the link's own statuses

// A short reply holds at most the type and the size code.
constexpr std::size_t kShortReply = 2;

struct Head {
    std::uint8_t first, second;
    std::uint8_t type;
};
// In the order they are tried: type 4 (the SLE4442 class among them), type 3 (the SLE4428 class), type 8.
constexpr std::array<Head, 9> kHeads = {{
    {0x81, 0x15, 4}, {0x88, 0x15, 4}, {0xA0, 0x15, 4}, {0xA2, 0x13, 4},
    {0x92, 0x23, 3}, {0x81, 0x13, 3},
    {0x31, 0x3A, 8}, {0x69, 0x35, 8}, {0x16, 0x04, 8},
}};

}  // namespace

std::optional<std::uint16_t> slot_state(std::int16_t result) noexcept {
    if (result >= kLastLinkFailure && result <= -1) return std::nullopt;
    return static_cast<std::uint16_t>(-static_cast<std::int32_t>(result));
}

bool carries_size_code(std::uint8_t type) noexcept { return type == 1 || type == 5 || type == 10; }

std::optional<CardKind> identify_card(Bytes reply) noexcept {
    if (reply.size() <= kShortReply) {
        // The reply room is zero-filled: a byte the reader did not send reads 0.
        const std::uint8_t type = reply.empty() ? 0 : reply[0];
        const std::uint8_t code = reply.size() < 2 ? 0 : reply[1];
        return CardKind{type, carries_size_code(type) ? std::optional<std::uint8_t>(code) : std::nullopt};
    }
    for (const Head& head : kHeads)
        if (reply[0] == head.first && reply[1] == head.second) return CardKind{head.type, std::nullopt};
    return std::nullopt;
}

}  // namespace vnr::contact
