// fuzz/frame_codec_fuzz.cpp: the frame codec alone (core/frame.h). Any bytes as a received frame: its
// head read, then finished into a plain buffer of the size its head asks or of a size the fuzzer picks.
// And any payload as a command: encoded in either form, it must come back whole from its own head and
// finish, unless its plain length bytes look like nibbles (such a frame is read as split, as the links do).
//   byte 0: bit 0 the form to encode in, bits 1-7 how many bytes (0 to 4) the plain buffer lacks; the rest:
//   the frame, and the payload.
#include "check.h"
#include "core/frame.h"
#include "vnr_32.h"

#include <algorithm>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::core;
    if (size < 1) return 0;
    const std::span<const std::uint8_t> bytes(data + 1, size - 1);

    if (bytes.size() >= kFrameHeadSize) {
        const FrameHead head = read_frame_head(bytes.first<kFrameHeadSize>());
        const std::size_t shortfall = (data[0] >> 1) % 5;
        std::vector<std::uint8_t> plain(head.payload_length + 5 - shortfall);
        std::size_t total = 1;
        const std::int16_t status = finish_frame(bytes, head, plain, total);
        FUZZ_CHECK(status == VNR_OK ? total == head.payload_length + 5 && total <= plain.size() : total == 0);
    }

    const FrameForm form = data[0] & 1 ? FrameForm::split : FrameForm::plain;
    std::vector<std::uint8_t> wire(wire_length(form, bytes.size()));
    const std::size_t length = encode_frame(bytes, form, wire);
    FUZZ_CHECK(length == wire.size());
    const FrameHead head = read_frame_head(std::span(wire).first<kFrameHeadSize>());
    if (head.form != form) return 0;
    FUZZ_CHECK(head.payload_length == bytes.size());
    std::vector<std::uint8_t> plain(bytes.size() + 5);
    std::size_t total = 0;
    const std::int16_t status = finish_frame(wire, head, plain, total);
    if (bytes.size() < 2) {
        FUZZ_CHECK(status == VNR_E_END_BYTE && total == 0);
    } else {
        FUZZ_CHECK(status == VNR_OK && total == plain.size());
        FUZZ_CHECK(std::equal(bytes.begin(), bytes.end(), plain.begin() + 3));
    }
    return 0;
}
