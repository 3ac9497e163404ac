// tests/robust/robust_support.h: what the robustness tests share: the simulated reader opened on the link
// a test asks for, canned raw replies, and the scale of the long runs.
#pragma once

#include "support/sim_session.h"
#include "vnr_32.h"

#include <cstdlib>
#include <string>

namespace robust {

// A number from the environment, or `fallback` when it is not set or not a number.
inline double env_number(const char* name, double fallback) {
    const char* text = std::getenv(name);
    char* end = nullptr;
    const double value = text != nullptr ? std::strtod(text, &end) : 0;
    return text != nullptr && end != text ? value : fallback;
}

// A count of a long run, multiplied by VNR_ROBUST_SCALE (default 1), at least 1.
inline int scaled(int full, double default_scale = 1) {
    const double value = full * env_number("VNR_ROBUST_SCALE", default_scale);
    return value < 1 ? 1 : static_cast<int>(value);
}

// The identity card module's reply to a read (32 50, or D0 07 `with_fingerprint`): triple 00 00 90, a text
// block of spaces with the card's number, and WLT data that the test decoder turns into a bitmap.
inline vnr::test::Bytes identity_reply(bool with_fingerprint = false) {
    vnr::test::Bytes text;
    for (int i = 0; i < 128; ++i) text.insert(text.end(), {0x20, 0x00});
    const char number[] = "11010119800101123X";
    for (std::size_t i = 0; i + 1 < sizeof number; ++i) text[122 + 2 * i] = static_cast<std::uint8_t>(number[i]);
    text[30] = '1', text[32] = '0', text[34] = '1';  // sex 1, nation 01
    vnr::test::Bytes photo{'W', 'L', 'T', '\n'};
    photo.resize(1024, 0x5A);
    vnr::test::Bytes fingerprint(with_fingerprint ? 1024 : 0, 0x46);
    vnr::test::Bytes out{0, 0, 0x00, 0x00, 0x90, 0x01, 0x00, 0x04, 0x00};
    if (with_fingerprint) out.insert(out.end(), {0x04, 0x00});
    for (const auto* part : {&text, &photo, &fingerprint}) out.insert(out.end(), part->begin(), part->end());
    out[0] = static_cast<std::uint8_t>(out.size() >> 8), out[1] = static_cast<std::uint8_t>(out.size() & 0xFF);
    return out;
}

// The simulated reader, opened by each test on the link it names (open_on).
class Session : public vnr::test::SimSessionBase {
public:
    // Closes the session's handle and forgets it, keeping the reader where it is, so that a test can
    // open it again as it stands.
    void drop_handle() {
        if (icdev > 1) device_close(icdev);
        icdev = 0;
    }
    // The reader answers commands that begin with `command` with these bytes instead of a frame.
    void raw_reply(const vnr::test::Bytes& command, const vnr::test::Bytes& raw) {
        reader.add_reply(vnrsim::CannedReply{command, 0, {}, raw, std::nullopt});
    }
};

}  // namespace robust
