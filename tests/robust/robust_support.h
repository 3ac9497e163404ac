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
