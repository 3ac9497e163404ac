// src/pinpad/state.cpp: pinpad. The PIN pad's process-wide state (see pinpad/state.h).
#include "pinpad/state.h"

#include "core/wipe.h"

namespace vnr::pinpad {

namespace {

// Wipes the key table when the library is unloaded, so that no user key outlives the process's use of
// the library in its memory.
struct PadStateHolder {
    PadState state;
    ~PadStateHolder() {
        for (UserKey& entry : state.userkey_table) core::secure_wipe(entry.key);
    }
};

PadStateHolder holder;

}  // namespace

PadState& pad_state(const core::LibraryGuard&) noexcept { return holder.state; }

UserKey* user_key(const core::LibraryGuard&, std::int32_t userkeyno) noexcept {
    if (userkeyno < 0 || static_cast<std::size_t>(userkeyno) >= kUserKeyEntries) return nullptr;
    return &holder.state.userkey_table[static_cast<std::size_t>(userkeyno)];
}

}  // namespace vnr::pinpad
