// src/magstripe/read.cpp: magstripe. magnetic_read and magnetic_read_ms: the reader waits for a swipe for
// the seconds the command carries, and the library waits as long and a margin more for its answer,
// holding the library lock all the while; the tracks go into the caller's record without their
// sentinels (magstripe/reply.h).
#include "magstripe/read.h"

#include "core/call.h"
#include "magstripe/reply.h"
#include "vnr_32.h"

#include <array>

namespace vnr::magstripe {

namespace {

constexpr std::size_t kReadRoom = 300;
constexpr std::uint8_t kReadGroup = 0x32;
constexpr std::uint8_t kRead = 0x60;

}  // namespace

std::uint32_t read_wait_ms(std::uint8_t wait_s) noexcept {
    constexpr std::uint32_t kNoWaitMs = 1000;
    constexpr std::uint32_t kShortWaitMs = 5000;  // for a wait of 1 to 3 seconds
    constexpr std::uint8_t kLastShortWait = 3;
    if (wait_s == 0) return kNoWaitMs;
    if (wait_s <= kLastShortWait) return kShortWaitMs;
    return (wait_s + 1u) * 1000u;
}

StripeWait stripe_wait_of_ms(std::int32_t wait_ms) noexcept {
    constexpr std::uint32_t kNoWaitMs = 1000;
    constexpr std::uint32_t kMarginMs = 1000;
    if (wait_ms <= 0) return {0, kNoWaitMs};
    return {static_cast<std::uint8_t>(wait_ms / 1000), static_cast<std::uint32_t>(wait_ms) + kMarginMs};
}

std::int16_t read_stripe(const StripeRead& read, std::int32_t icdev, StripeWait wait, std::uint8_t* tracks) {
    core::Call call(read.entry_line);
    if (const auto refused = call.refused({core::handle_check(icdev, nullptr),
                                           core::argument_check(tracks != nullptr, read.missing_record_line)}))
        return *refused;
    core::ReplyRoom room(kReadRoom);
    const std::array<std::uint8_t, 3> command{kReadGroup, kRead, wait.reader_s};
    const core::Reply reply = call.exchange_waiting(icdev, command, room, wait.library_ms);
    // Both reads write this same text.
    static constexpr char kFailed[] = "==> magnetic_read fail, 状态码：%d.";
    if (!reply.ok()) return call.finish(reply.status, kFailed);
    const std::optional<TrackLengths> lengths =
        fill_track_record(reply.data, std::span<std::uint8_t, kTrackRecordSize>(tracks, kTrackRecordSize));
    if (!lengths) return call.finish(VNR_E_END_BYTE, kFailed);
    call.leave();
    log::line(read.end_format, VNR_OK, static_cast<int>(reply.data.size()), (*lengths)[0], (*lengths)[1], (*lengths)[2]);
    return VNR_OK;
}

}  // namespace vnr::magstripe
