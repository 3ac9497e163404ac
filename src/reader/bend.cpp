// src/reader/bend.cpp: reader. tf_bend: the reader's bend value (50 00), a number it gives in four bytes
// that the library reads by its own arithmetic (reader/reply.h).
#include "core/boundary.h"
#include "core/call.h"
#include "reader/reply.h"
#include "vnr_32.h"

#include <array>

namespace vnr::reader {

namespace {

constexpr std::size_t kBendRoom = 300;

std::int16_t read_bend(std::int32_t icdev, double* value) {
    core::Call call("-----tf_bend()----- ");
    if (const auto refused = call.refused({core::handle_check(icdev, "==>tf_bend(), 句柄无效 "),
                                           core::argument_check(value != nullptr, "==>tf_bend(), 缓冲区参数为空 ")}))
        return *refused;
    core::ReplyRoom room(kBendRoom);
    const std::array<std::uint8_t, 2> command{0x50, 0x00};
    const core::Reply reply = call.exchange(icdev, command, room);
    if (!reply.ok()) return call.finish(reply.status, "==>tf_bend(), 状态码：%d。 ");
    // A reply without its four bytes is refused rather than read as the zeros of the room.
    const std::optional<double> bend = bend_value(reply.data);
    if (!bend) return call.finish(VNR_E_END_BYTE, "==>tf_bend(), 状态码：%d。 ");
    *value = *bend;
    return call.finish(VNR_OK, "==>tf_bend(), 状态码：%d。 ");
}

}  // namespace

}  // namespace vnr::reader

extern "C" VNR_API int16_t VNR_CALL tf_bend(int32_t icdev, double* value) {
    return vnr::core::guarded<int16_t>([&] { return vnr::reader::read_bend(icdev, value); });
}
