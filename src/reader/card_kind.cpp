// src/reader/card_kind.cpp: reader. Get_CardType: looks for a card of any kind in a fixed order, by way of
// the exported functions of the contact, contactless and stripe families, as an application could: a
// contact CPU card in slot 0, then a card in the RF field, then a swipe. It takes no lock of its own and
// writes no line of its own; each step locks and logs for itself.
#include "core/boundary.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace vnr::reader {

namespace {

// The slot states in which a card lies in the contact slot, ready to be powered up.
constexpr std::uint16_t kCardInSlot = 0x1003;
constexpr std::uint16_t kCardPowered = 0x1004;
constexpr std::uint8_t kContactSlot = 0;
constexpr std::size_t kAnswerRoom = 300;  // the ATR or ATS of the card found

// The kinds of card that CLCard_Open tells apart.
constexpr std::int16_t kIdentityCard = 1;
constexpr std::int16_t kContactlessCpu = 2;

std::int16_t card_type(std::int32_t icdev, std::uint32_t* contactless_cpu, std::uint32_t* contact_cpu,
                       std::uint8_t* atr_length, std::uint8_t* atr, std::uint32_t* identity_card,
                       std::uint32_t* magnetic, std::uint8_t* tracks) {
    if (contactless_cpu == nullptr || contact_cpu == nullptr || atr_length == nullptr || atr == nullptr ||
        identity_card == nullptr || magnetic == nullptr || tracks == nullptr)
        return VNR_E_BAD_ARGUMENT;
    std::array<std::uint8_t, kAnswerRoom> answer{};
    std::uint8_t length = 0;
    const auto found = [&] {  // the answer of the card found goes to the caller
        std::memcpy(atr, answer.data(), length);
        *atr_length = length;
        return static_cast<std::int16_t>(VNR_OK);
    };

    std::uint16_t state = 0;
    if (sam_slt_getstate(icdev, kContactSlot, &state) == VNR_OK && (state == kCardInSlot || state == kCardPowered) &&
        sam_slt_reset(icdev, 0, kContactSlot, &length, answer.data()) == VNR_OK) {
        *contact_cpu = 1;
        return found();
    }

    std::uint8_t cardtype = 0, uid_length = 0;
    std::array<std::uint8_t, kAnswerRoom> uid{};
    length = 0;
    const std::int16_t kind = CLCard_Open(icdev, 0, &cardtype, &uid_length, uid.data(), &length, answer.data());
    if (kind == kContactlessCpu) {
        *contactless_cpu = 1;
        return found();
    }
    if (kind == kIdentityCard) {
        *identity_card = 1;
        return VNR_OK;
    }
    // A contactless memory card (3) is no hit here: the search goes on to the stripe.
    const std::int16_t swiped = magnetic_read_ms(icdev, 0, tracks);
    if (swiped == VNR_OK) *magnetic = 1;
    return swiped;
}

}  // namespace

}  // namespace vnr::reader

extern "C" VNR_API int16_t VNR_CALL Get_CardType(int32_t icdev, uint32_t* contactless_cpu, uint32_t* contact_cpu,
                                                uint8_t* atr_length, uint8_t* atr, uint32_t* identity_card,
                                                uint32_t* magnetic, uint8_t* tracks) {
    return vnr::core::guarded<int16_t>([&] {
        return vnr::reader::card_type(icdev, contactless_cpu, contact_cpu, atr_length, atr, identity_card, magnetic,
                                      tracks);
    });
}
