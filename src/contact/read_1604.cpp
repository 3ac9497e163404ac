// src/contact/read_1604.cpp: contact family. srd_1604 reads an AT88SC1604 card within one zone; the line
// of a bound it refuses depends on the zone, so its checks are written out here.
#include "contact/commands.h"
#include "contact/memory_map.h"
#include "core/boundary.h"
#include "core/call.h"
#include "core/command.h"
#include "vnr_32.h"

#include <algorithm>

namespace vnr::contact {

namespace {

constexpr std::uint8_t kRead = 0x35;

const char* bounds_line(std::int32_t zone) noexcept {
    if (zone == 0) return "==>srd_1604(), offfset参数不合法。";
    if (zone == 1) return "==>srd_1604(), offset参数不合法。";
    return "==>srd_1604(), offset参数不合法";
}

std::int16_t read_1604(std::int32_t icdev, std::int32_t zone, std::int32_t offset, std::int32_t len, std::uint8_t* out) {
    core::Call call("-----srd_1604()----- ");
    if (auto refused = call.refused({core::handle_check(icdev, "==>srd_1604(), 句柄无效"),
                                     core::argument_check(zone >= 0 && zone <= kLastZone, "==>srd_1604(), zone参数不合法"),
                                     core::argument_check(may_read(zone, offset, len), bounds_line(zone))}))
        return *refused;
    if (out == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);
    core::CommandBytes command;
    command.push(kContactGroup), command.push(kRead), command.push(0x00);
    command.push_be16(static_cast<std::uint32_t>(offset)), command.push_be16(static_cast<std::uint32_t>(len));
    // `out` holds `len` bytes: a reply longer than that is refused by the exchange.
    core::ReplyRoom room(static_cast<std::size_t>(len));
    const core::Reply reply = call.exchange(icdev, command.view(), room);
    if (reply.ok()) std::copy(reply.data.begin(), reply.data.end(), out);
    return call.finish(reply.status, "==>srd_1604(), 状态码：%d");
}

}  // namespace

}  // namespace vnr::contact

extern "C" VNR_API int32_t VNR_CALL srd_1604(int32_t icdev, int32_t zone, int32_t offset, int32_t len, uint8_t* out) {
    return vnr::core::guarded<int32_t>([&] { return vnr::contact::read_1604(icdev, zone, offset, len, out); });
}
