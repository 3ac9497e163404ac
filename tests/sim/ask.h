// tests/sim/ask.h: one command to a simulated reader, and its one reply's status and data.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "vnrsim/frame.h"
#include "vnrsim/reader.h"

namespace vnrsim::test {

using Bytes = std::vector<std::uint8_t>;

// The split-form frame of the command in hex.
inline Bytes command(const char* hex) { return encode_frame(parse_hex(hex), Form::split); }

// The status and data of the one reply frame to the command in hex; status FFFF when there is not one.
inline std::pair<std::uint16_t, Bytes> ask(Reader& reader, const char* hex) {
    FrameDecoder decoder;
    const auto frames = decoder.feed(reader.receive(command(hex)));
    if (frames.size() != 1 || frames[0].payload.size() < 2) return {0xFFFF, {}};
    const Bytes& payload = frames[0].payload;
    return {std::uint16_t(payload[0] << 8 | payload[1]), Bytes(payload.begin() + 2, payload.end())};
}

}  // namespace vnrsim::test
