// src/contactless/values.cpp: contactless. The Mifare value reads and changes: rf_readval takes the
// value (4 bytes, high first) from its reply; rf_increment and rf_decrement read the value first and
// refuse a change whose result would not fit in 32 bits. The read and the change are two holds of the
// lock: another thread's command may fall between them.
#include "contactless/commands.h"
#include "core/boundary.h"
#include "core/call.h"
#include "vnr_32.h"

#include <array>

namespace vnr::contactless {

namespace {

constexpr std::size_t kValueReplyRoom = 20;
constexpr std::uint8_t kLastValueBlock = 64;

std::int16_t read_value(std::int32_t icdev, std::uint8_t addr, std::uint32_t* value) {
    core::Call call("---rf_readval 非接触式存储卡读值块--");
    if (const auto refused = call.refused({core::handle_check(icdev, "==>rf_readval(), 句柄无效 "),
                                           core::argument_check(addr <= kLastValueBlock, "==>rf_readval(),addr参数不合法  ")}))
        return *refused;
    if (value == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, "==>rf_readval(), 缓冲区参数为空 ");
    *value = 0;  // and so it stays when the read fails
    const std::array<std::uint8_t, 3> command{0x32, 0x45, addr};
    core::ReplyRoom room(kValueReplyRoom);
    const core::Reply reply = call.exchange(icdev, command, room);
    std::int16_t status = reply.status;
    if (reply.ok()) {
        core::ByteReader reader(reply.data);
        const std::optional<std::uint32_t> read = reader.be32();
        if (read) *value = *read;
        else status = VNR_E_END_BYTE;
    }
    return call.finish(status, "==>rf_readval(), return: %d ");
}

// The read by the exported rf_readval (its lock, checks and lines), then the row's own hold of the lock
// for the check against the value read and the command.
std::int16_t change_value(const core::Command& change, std::int32_t icdev, std::uint8_t addr, std::uint32_t amount) {
    std::uint32_t current = 0;
    const std::int16_t read = rf_readval(icdev, addr, &current);
    if (read != VNR_OK) return read;
    return core::run(change, {icdev, {addr, amount, current}});
}

}  // namespace

}  // namespace vnr::contactless

using vnr::core::guarded;
namespace cl = vnr::contactless;

extern "C" {

VNR_API int16_t VNR_CALL rf_readval(int32_t icdev, uint8_t addr, uint32_t* value) {
    return guarded<int16_t>([&] { return cl::read_value(icdev, addr, value); });
}

VNR_API int16_t VNR_CALL rf_increment(int32_t icdev, uint8_t addr, uint32_t value) {
    return guarded<int16_t>([&] { return cl::change_value(cl::kValueIncrement, icdev, addr, value); });
}

VNR_API int16_t VNR_CALL rf_decrement(int32_t icdev, uint8_t addr, uint32_t value) {
    return guarded<int16_t>([&] { return cl::change_value(cl::kValueDecrement, icdev, addr, value); });
}

}  // extern "C"
