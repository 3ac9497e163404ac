// src/core/wait.h: core. The wait of one exchange. Most commands use the standing wait (2000 ms, no
// pause before a HID report); a command that takes longer sets its own for its exchange, and the
// standing wait must come back afterwards on every path. ScopedWait does both ends.
#pragma once

#include "core/library_lock.h"
#include "core/state.h"

#include <cstdint>
#include <optional>

namespace vnr::core {

class ScopedWait {
public:
    // Sets the read time-out to `timeout_ms` with `delay_ms` before each HID report read, when a time-out
    // is given (none: the wait stays as it stands). When the scope ends, the standing 2000 ms come back,
    // with `restore_delay_ms`: a few commands leave a pause of their own standing behind them.
    ScopedWait(const LibraryGuard&, std::optional<std::uint32_t> timeout_ms, std::uint32_t delay_ms = 0,
               std::uint32_t restore_delay_ms = kStandingDelayMs) noexcept
        : restore_delay_ms_(restore_delay_ms) {
        if (timeout_ms) set_comm_timeout(*timeout_ms, delay_ms);
    }
    ~ScopedWait() { set_comm_timeout(kStandingTimeoutMs, restore_delay_ms_); }
    ScopedWait(const ScopedWait&) = delete;
    ScopedWait& operator=(const ScopedWait&) = delete;

private:
    std::uint32_t restore_delay_ms_;
};

// When a command carries a wait for the reader (`delaytime`, in ms), the library waits that long and a
// margin more. `CarriedWait::always` sets that wait in every case; `CarriedWait::when_longer` only when it is longer
// than the standing 2000 ms. With `no_limit_at_ffff`, a delaytime of 0xFFFF means no limit at all.
enum class CarriedWait { always, when_longer };

constexpr std::optional<std::uint32_t> carried_wait(std::uint32_t delaytime, std::uint32_t margin_ms, CarriedWait rule,
                                                    bool no_limit_at_ffff) noexcept {
    if (no_limit_at_ffff && delaytime == 0xFFFF) return kNoTimeLimit;
    const std::uint32_t wait = delaytime + margin_ms;
    if (rule == CarriedWait::when_longer && wait <= kStandingTimeoutMs) return std::nullopt;
    return wait;
}

}  // namespace vnr::core
