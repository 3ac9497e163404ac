// src/contactless/open_card.cpp: contactless. open_card activates a contactless CPU card: its reply
// carries two lengths of its own (identifier and ATS), and five out-parameters are written together or
// not at all.
#include "contactless/commands.h"
#include "contactless/reply.h"
#include "core/boundary.h"
#include "core/call.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>

namespace vnr::contactless {

namespace {

struct CpuCardOut {
    std::uint8_t* cardtype;
    std::uint8_t* uidlen;
    std::uint8_t* uid;
    std::uint8_t* atslen;
    std::uint8_t* ats;
};

// All five fields, or none when the reply's layout cannot be taken or its identifier or ATS is longer
// than the room the header promises.
std::int16_t deliver(core::Bytes data, const CpuCardOut& out) {
    const std::optional<CpuCardReply> reply = parse_cpu_card(data);
    if (!reply || reply->uid.size() > kUidRoom || reply->ats.size() > kAtsRoom) return VNR_E_END_BYTE;
    *out.cardtype = reply->card_type;
    *out.uidlen = static_cast<std::uint8_t>(reply->uid.size());
    std::copy(reply->uid.begin(), reply->uid.end(), out.uid);
    *out.atslen = static_cast<std::uint8_t>(reply->ats.size());
    std::copy(reply->ats.begin(), reply->ats.end(), out.ats);
    return VNR_OK;
}

std::int16_t open_cpu_card(std::int32_t icdev, std::uint16_t delaytime, const CpuCardOut& out) {
    core::Call call("---open_card 激活非接触式卡---");
    if (const auto refused = call.refused({core::handle_check(icdev, "==>open_card(), 句柄无效 ")})) return *refused;
    if (!out.cardtype || !out.uidlen || !out.uid || !out.atslen || !out.ats)
        return call.refuse(VNR_E_BAD_ARGUMENT, "==>open_card(), 缓冲区参数为空 ");
    const std::array<std::uint8_t, 4> command{0x32, 0x24, core::high_byte(delaytime), core::low_byte(delaytime)};
    core::ReplyRoom room(kCpuCardReplyRoom);
    const core::Reply reply = call.exchange_waiting(icdev, command, room, cpu_card_wait(delaytime));
    const std::int16_t status = reply.ok() ? deliver(reply.data, out) : reply.status;
    return call.finish(status, "==>open_card(), return: %d ");
}

}  // namespace

}  // namespace vnr::contactless

extern "C" VNR_API int16_t VNR_CALL open_card(int32_t icdev, uint16_t delaytime, uint8_t* cardtype, uint8_t* uidlen,
                                              uint8_t* uid, uint8_t* atslen, uint8_t* ats) {
    return vnr::core::guarded<int16_t>(
        [&] { return vnr::contactless::open_cpu_card(icdev, delaytime, {cardtype, uidlen, uid, atslen, ats}); });
}
