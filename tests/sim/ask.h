// One command to a simulated reader, and its one reply's status and data.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "vnrsim/deck_json.h"
#include "vnrsim/frame.h"
#include "vnrsim/reader.h"

namespace vnrsim::test {

using Bytes = std::vector<std::uint8_t>;

// The split-form frame of the command in hex.
inline Bytes command(const char* hex) { return encode_frame(parse_hex(hex), Form::split); }

// The status and data of the one reply frame in `wire`; status FFFF when there is not one.
inline std::pair<std::uint16_t, Bytes> reply_of(const Bytes& wire) {
    FrameDecoder decoder;
    const auto frames = decoder.feed(wire);
    if (frames.size() != 1 || frames[0].payload.size() < 2) return {0xFFFF, {}};
    const Bytes& payload = frames[0].payload;
    return {std::uint16_t(payload[0] << 8 | payload[1]), Bytes(payload.begin() + 2, payload.end())};
}

// The status and data of the one reply frame to the command in hex, received now or at `at`;
// status FFFF when there is not one (a reply left pending among them).
inline std::pair<std::uint16_t, Bytes> ask(Reader& reader, const char* hex) { return reply_of(reader.receive(command(hex))); }
inline std::pair<std::uint16_t, Bytes> ask(Reader& reader, const char* hex, Reader::Clock::time_point at) {
    return reply_of(reader.receive(command(hex), at));
}

// What `load` throws when it refuses a deck; "" when it takes it.
template <typename Load>
std::string refusal(Load&& load) {
    try {
        load();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "";
}

}  // namespace vnrsim::test
