// src/magstripe/commands.cpp: magstripe. The exported functions of the stripe head: the two reads and
// set_magnetic_mode, whose command depends on the mode.
#include "core/boundary.h"
#include "core/call.h"
#include "magstripe/read.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>

namespace vnr::magstripe {

namespace {

constexpr StripeRead kRead{"------magnetic_read -------!!!", "----magnetic_read end---[st == %d]-[len = %d]-%d-%d-%d!!!",
                           "==>magnetic_read(), 缓冲区参数为空 "};
constexpr StripeRead kReadMs{"------magnetic_read_ms -------!!!",
                             "----magnetic_read_ms end---[st == %d]-[len = %d]-%d-%d-%d!!!",
                             "==>magnetic_read_ms(), 缓冲区参数为空 "};

constexpr std::size_t kModeReplyRoom = 100;  // the reply carries no data
constexpr std::array<std::uint8_t, 8> kModes{0x00, 0x01, 0x40, 0x41, 0x80, 0x81, 0xC0, 0xC1};

// Mode 0 is 32 61 and mode 1 is 32 62, two bytes each; the others are 32 63 and the mode.
std::int16_t set_mode(std::int32_t icdev, std::uint8_t mode) {
    core::Call call("-----set_magnetic_mode()----- ");
    if (const auto refused = call.refused({core::argument_check(std::ranges::find(kModes, mode) != kModes.end(), nullptr)}))
        return *refused;
    const std::array<std::uint8_t, 3> command{0x32, static_cast<std::uint8_t>(mode == 0 ? 0x61 : mode == 1 ? 0x62 : 0x63), mode};
    core::ReplyRoom room(kModeReplyRoom);
    const core::Reply reply = call.exchange(icdev, core::Bytes(command).first(mode <= 1 ? 2 : 3), room);
    call.leave();
    log::line("set_magnetic_mode-----mode = %d,return = %d", mode, reply.status);
    return reply.status;
}

}  // namespace

}  // namespace vnr::magstripe

using vnr::core::guarded;
namespace ms = vnr::magstripe;

extern "C" {

VNR_API int16_t VNR_CALL magnetic_read(int32_t icdev, uint8_t wait, uint8_t* tracks) {
    return guarded<int16_t>([&] { return ms::read_stripe(ms::kRead, icdev, {wait, ms::read_wait_ms(wait)}, tracks); });
}

VNR_API int16_t VNR_CALL magnetic_read_ms(int32_t icdev, int32_t wait, uint8_t* tracks) {
    return guarded<int16_t>([&] { return ms::read_stripe(ms::kReadMs, icdev, ms::stripe_wait_of_ms(wait), tracks); });
}

VNR_API int16_t VNR_CALL set_magnetic_mode(int32_t icdev, uint8_t mode) {
    return guarded<int16_t>([&] { return ms::set_mode(icdev, mode); });
}

}  // extern "C"
