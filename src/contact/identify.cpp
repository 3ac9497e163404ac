// src/contact/identify.cpp: contact family. contact_identifytype: the reader names the memory card in the
// slot, or hands over its answer to reset, from which the library tells the type; a short answer may
// carry the card's size code, which then bounds every read and write.
#include "contact/commands.h"
#include "contact/reply.h"
#include "contact/state.h"
#include "core/boundary.h"
#include "core/call.h"
#include "core/exchange.h"
#include "vnr_32.h"

#include <array>

namespace vnr::contact {

namespace {

constexpr std::size_t kIdentifyRoom = 100;
constexpr std::uint8_t kLastMemorySlot = 1;
// A card whose answer to reset names no known type: status word 0x1001.
constexpr std::int16_t kUnknownCard = core::reader_status(0x10, 0x01);

std::int16_t identify_type(std::int32_t icdev, std::uint8_t cardno, std::uint8_t* cardtype) {
    core::Call call(nullptr);
    if (auto refused = call.refused({core::handle_check(icdev, nullptr),
                                     core::argument_check(cardno <= kLastMemorySlot, nullptr)}))
        return *refused;
    if (cardtype == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);
    const std::array<std::uint8_t, 3> command{kContactGroup, 0x32, cardno};
    core::ReplyRoom room(kIdentifyRoom);
    const core::Reply reply = call.exchange(icdev, command, room);
    if (!reply.ok()) return call.finish(reply.status, nullptr);
    const std::optional<CardKind> kind = identify_card(reply.data);
    if (!kind) return call.finish(kUnknownCard, nullptr);
    *cardtype = kind->type;
    if (kind->size_code) contact_size_code(call.guard()) = *kind->size_code;
    return call.finish(VNR_OK, nullptr);
}

}  // namespace

}  // namespace vnr::contact

extern "C" VNR_API int16_t VNR_CALL contact_identifytype(int32_t icdev, uint8_t cardno, uint8_t* cardtype) {
    return vnr::core::guarded<int16_t>([&] { return vnr::contact::identify_type(icdev, cardno, cardtype); });
}
