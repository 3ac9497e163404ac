// sim/include/vnrsim/times.h: how long something injected into the simulated reader stands: the next
// reply, a count of replies, or until cleared. Shared by the link faults and the card module's failures.
#pragma once

#include <cstdint>

namespace vnrsim {

// How long an injected fault or failure stands: the next reply, the next n replies, or until cleared.
class Times {
public:
    static const Times once;    // the next reply only
    static const Times always;  // every reply until the fault is cleared

    // The next `replies` replies; throws std::invalid_argument for 0.
    static Times count(std::uint32_t replies);

    // True for a fault that stands until cleared.
    bool is_always() const noexcept { return always_; }
    // Replies still to be affected; 0 when is_always().
    std::uint32_t replies() const noexcept { return replies_; }

    // Same duration.
    bool operator==(const Times&) const = default;

private:
    constexpr Times(bool always, std::uint32_t replies) noexcept : always_(always), replies_(replies) {}
    bool always_;
    std::uint32_t replies_;
};
inline constexpr Times Times::once{false, 1};
inline constexpr Times Times::always{true, 0};

}  // namespace vnrsim
