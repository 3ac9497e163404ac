// fuzz/frame_serial_fuzz.cpp: a command exchange on the serial link whose reply bytes are the fuzzer's,
// streamed through the link's receive a few bytes a read: start-byte search over noise, head, either
// form, end and check bytes, the reply status and the copy into a room of the command's size.
//   byte 0: bit 0 the form the command goes out in, bits 1-3 the room, bits 4-7 the bytes a read gives
//   (1 to 16); the rest: the bytes on the wire.
#include "core/exchange.h"
#include "check.h"
#include "fuzzed_link.h"
#include "vnr_32.h"

namespace {
constexpr std::size_t kRooms[] = {0, 1, 2, 16, 100, 256, 3096, 65525};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr;
    if (size < 1) return 0;
    const std::uint8_t config = data[0];
    fuzz::Incoming& in = fuzz::incoming();
    in.rest = fuzz::Bytes(data + 1, size - 1);
    in.chunk = 1 + (config >> 4);
    in.sent.clear();
    core::link_state().com_mode = core::kLinkSerial;
    core::link_state().trans_mode = config & 1 ? core::kSplitForm : 0;
    core::set_comm_timeout(2000, 0);

    static constexpr std::uint8_t kCommand[] = {0x31, 0x11, 0x01};
    std::vector<std::uint8_t> room(kRooms[(config >> 1) & 7]);
    std::uint32_t received = 0xEEEEEEEE;  // a failure leaves 0, a success no more than the room holds
    const std::int16_t status = core::send_cmd_vn3x(fuzz::fuzzed_port_handle(), sizeof kCommand, kCommand, &received, room);
    FUZZ_CHECK(status == VNR_OK || received == 0);
    FUZZ_CHECK(received <= room.size());
    fuzz::touch(std::span(room).first(received));
    return 0;
}
