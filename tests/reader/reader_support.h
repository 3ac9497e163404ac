// tests/reader/reader_support.h: what the reader control, stripe and PIN pad tests share: sessions with
// the PIN pad's state as at load, and byte strings.
#pragma once

#include "core/library_lock.h"
#include "pinpad/state.h"
#include "support/sim_session.h"

#include <functional>
#include <string_view>

namespace readertest {

using vnr::test::Bytes;

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
inline Bytes text(std::string_view s) { return Bytes(s.begin(), s.end()); }

// The PIN pad's state is the process's: each test starts from the state at load.
inline vnr::pinpad::PadState& pad(const vnr::core::LibraryGuard& guard = {}) { return vnr::pinpad::pad_state(guard); }
inline void reset_pad() { pad() = {}; }

// The reader on the serial link or on the HID link (where each command's read time-out is recorded).
template <vnr::test::Link kLink>
class SessionOn : public vnr::test::SimSessionBase {
protected:
    void SetUp() override {
        reset_pad();
        prefix.enable_log();
        open_on(kLink);
        provider.waits.clear();
    }
    std::vector<std::uint32_t> timeouts() const {
        std::vector<std::uint32_t> out;
        for (const auto& seen : provider.waits.seen()) out.push_back(seen.timeout_ms);
        return out;
    }
    // The pad takes its settings (C5 01, C5 02) and key loads (C5 03, C5 04).
    void pad_accepts_settings() {
        for (const std::uint8_t code : {1, 2, 3, 4}) answer({0xC5, code}, {});
    }
};
using Session = SessionOn<vnr::test::Link::serial>;
using HidSession = SessionOn<vnr::test::Link::hid>;

}  // namespace readertest
