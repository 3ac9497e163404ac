// src/contactless/clcard_open.cpp: contactless. CLCard_Open probes for the three kinds of card the
// library knows, in a fixed order, through the exported functions of each: an identity card, a
// contactless CPU card, a Mifare-class memory card. It takes no lock of its own: each probe locks for
// itself, so another thread's command may fall between two probes.
#include "core/boundary.h"
#include "core/log.h"
#include "vnr_32.h"

#include <array>

namespace vnr::contactless {

namespace {

// The room of the identity card's id, which is only looked at for its status.
constexpr std::size_t kCardIdRoom = 100;

std::int16_t open_any_card(std::int32_t icdev, std::uint32_t delaytime, std::uint8_t* cardtype, std::uint8_t* uidlen,
                           std::uint8_t* uid, std::uint8_t* atslen, std::uint8_t* ats) {
    log::text("-----CLCard_Open-----");
    std::array<std::uint8_t, kCardIdRoom> card_id{};
    std::uint32_t card_id_length = 0;
    if (IDCard_Read_IDNUM(icdev, &card_id_length, card_id.data()) == VNR_OK) {
        log::text("==> CLCard_Open() 激活卡片成功，卡类型：身份证 ");
        return VNR_CL_IDCARD;
    }
    // Only the low 16 bits of the wait count.
    const auto wait = static_cast<std::uint16_t>(delaytime);
    if (open_card(icdev, wait, cardtype, uidlen, uid, atslen, ats) == VNR_OK) {
        log::text("==> CLCard_Open() 激活卡片成功，卡类型：非接CPU ");
        return VNR_CL_CPU_CARD;
    }
    const std::int16_t status = rf_card(icdev, wait, cardtype, uid);
    if (status == VNR_OK) {
        log::text("==> CLCard_Open() 激活卡片成功，卡类型：mifare卡 ");
        return VNR_CL_MIFARE;
    }
    // The earlier probes' statuses are dropped: a failure reports the last probe only.
    log::line("==> CLCard_Open() 激活卡片失败，状态码: %d ", static_cast<int>(status));
    return status;
}

}  // namespace

}  // namespace vnr::contactless

extern "C" VNR_API int16_t VNR_CALL CLCard_Open(int32_t icdev, uint32_t delaytime, uint8_t* cardtype, uint8_t* uidlen,
                                               uint8_t* uid, uint8_t* atslen, uint8_t* ats) {
    return vnr::core::guarded<int16_t>(
        [&] { return vnr::contactless::open_any_card(icdev, delaytime, cardtype, uidlen, uid, atslen, ats); });
}
