// fuzz/frame_hid_fuzz.cpp: a command exchange on the HID link whose reply reports are the fuzzer's:
// the start byte anywhere in the first 255 bytes of up to ten reports, the head across two reports, the
// frame reassembled from slices of 254 (plain) or 253 (split) bytes, for any feature report length the
// device may declare, then the same checks and copy as on the serial link.
//   byte 0: bit 0 the form the command goes out in, bits 1-3 the room; byte 1: the report length (1 to
//   300); the rest: the bytes behind the id of each report, report after report (zeros when they run out).
#include "core/exchange.h"
#include "core/link/hid_link.h"
#include "check.h"
#include "fuzzed_link.h"
#include "vnr_32.h"

namespace {
constexpr std::size_t kRooms[] = {0, 1, 2, 16, 100, 256, 3096, 65525};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr;
    if (size < 2) return 0;
    const std::uint8_t config = data[0];
    fuzz::Incoming& in = fuzz::incoming();
    in.rest = fuzz::Bytes(data + 2, size - 2);
    in.sent.clear();
    core::link_state().com_mode = core::kLinkHid;
    core::link_state().trans_mode = config & 1 ? core::kSplitForm : 0;
    core::link_state().feature_report_length = static_cast<std::uint16_t>(1 + data[1] % link::kReportBufferSize);
    core::set_comm_timeout(2000, 0);

    static constexpr std::uint8_t kCommand[] = {0x31, 0x11, 0x01};
    std::vector<std::uint8_t> room(kRooms[(config >> 1) & 7]);
    std::uint32_t received = 0xEEEEEEEE;  // a failure leaves 0, a success no more than the room holds
    const std::int16_t status = core::send_cmd_vn3x(fuzz::fuzzed_hid_handle(), sizeof kCommand, kCommand, &received, room);
    FUZZ_CHECK(status == VNR_OK || received == 0);
    FUZZ_CHECK(received <= room.size());
    fuzz::touch(std::span(room).first(received));
    return 0;
}
