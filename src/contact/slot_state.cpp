// src/contact/slot_state.cpp: contact family. sam_slt_getstate: the reader answers with the slot's state
// in its status word, so the exchange's result is read as a state unless it is a failure of the link.
#include "contact/commands.h"
#include "contact/reply.h"
#include "core/boundary.h"
#include "core/call.h"
#include "vnr_32.h"

#include <array>

namespace vnr::contact {

namespace {

constexpr std::size_t kStateRoom = 100;

std::int16_t get_state(std::int32_t icdev, std::uint8_t cardno, std::uint16_t* state) {
    core::Call call("---sam_slt_getstate 获取接触式卡片状态---");
    if (icdev < 1) return call.refuse(VNR_E_BAD_HANDLE, "==>sam_slt_getstate(), 句柄无效 ");
    if (state != nullptr) *state = 0;  // once the handle has passed, before the slot is looked at
    if (cardno > kLastSlot) return call.refuse(VNR_E_BAD_ARGUMENT, "==>sam_slt_getstate(), cardno参数不合法 ");
    if (state == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);
    const std::array<std::uint8_t, 3> command{kContactGroup, 0x21, cardno};
    core::ReplyRoom room(kStateRoom);
    const core::Reply reply = call.exchange(icdev, command, room);
    const std::optional<std::uint16_t> found = slot_state(reply.status);
    if (!found) return call.finish(reply.status, "==>sam_slt_getstate(), 命令错误，return: %d ");
    *state = *found;
    call.leave();
    log::line("==>sam_slt_getstate(), cardstate: %d ", static_cast<int>(*found));
    return VNR_OK;
}

}  // namespace

}  // namespace vnr::contact

extern "C" VNR_API int16_t VNR_CALL sam_slt_getstate(int32_t icdev, uint8_t cardno, uint16_t* state) {
    return vnr::core::guarded<int16_t>([&] { return vnr::contact::get_state(icdev, cardno, state); });
}
