// src/contactless/block_read.cpp: contactless. rf_read reads a Mifare block straight into the caller's
// buffer: the buffer is the exchange's reply room, so its first byte is 0 after any failed exchange, and
// a reply longer than the documented room is refused before anything lands in it.
#include "contactless/commands.h"
#include "core/boundary.h"
#include "core/call.h"
#include "core/exchange.h"
#include "vnr_32.h"

#include <array>

namespace vnr::contactless {

namespace {

std::int16_t read_block(std::int32_t icdev, std::uint8_t addr, std::uint8_t* data) {
    core::Call call("---rf_read 非接触式存储卡读块--");
    if (const auto refused = call.refused({core::handle_check(icdev, "==>rf_read(), 句柄无效 ")})) return *refused;
    if (data == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, "==>rf_read(), 缓冲区参数为空 ");
    const std::array<std::uint8_t, 3> command{0x32, 0x43, addr};
    std::uint32_t received = 0;  // not reported: the caller knows a block's size
    const std::int16_t status = core::send_cmd_vn3x(icdev, static_cast<std::int32_t>(command.size()), command.data(),
                                                    &received, core::room_at(data, kBlockRoom));
    return call.finish(status, "==>rf_read(), return: %d ");
}

}  // namespace

}  // namespace vnr::contactless

extern "C" VNR_API int16_t VNR_CALL rf_read(int32_t icdev, uint8_t addr, uint8_t* data) {
    return vnr::core::guarded<int16_t>([&] { return vnr::contactless::read_block(icdev, addr, data); });
}
