// tests/reader/reader_support.h: what the reader control, stripe and PIN pad tests share: a session with
// the log on and the PIN pad's state as at load, and byte strings.
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
inline void reset_pad() {
    const vnr::core::LibraryGuard guard;
    vnr::pinpad::pad_state(guard) = {};
}

// The reader on the serial link, the log on, the pad as at load.
class Session : public vnr::test::SimSession {
protected:
    void SetUp() override {
        reset_pad();
        prefix.enable_log();
        SimSession::SetUp();
    }
};

// The reader on the HID link, where the wait set at each command is recorded.
class HidSession : public vnr::test::SimSessionBase {
protected:
    void SetUp() override {
        reset_pad();
        open_on(vnr::test::Link::hid);
        provider.waits.clear();
    }
    // The read time-outs in force as each command went out.
    std::vector<std::uint32_t> timeouts() const {
        std::vector<std::uint32_t> out;
        for (const auto& seen : provider.waits.seen()) out.push_back(seen.timeout_ms);
        return out;
    }
};

}  // namespace readertest
