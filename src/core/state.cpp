// src/core/state.cpp: core. The process-wide link settings.
#include "core/state.h"

namespace vnr::core {

LinkState& link_state() noexcept {
    static LinkState state;  // constant-initialised: ready before the load hook runs
    return state;
}

void set_comm_timeout(std::uint32_t read_timeout_ms, std::uint32_t read_delay_ms) noexcept {
    link_state().read_timeout_ms = read_timeout_ms;
    link_state().read_delay_ms = read_delay_ms;
}

void set_trans_mode(std::uint8_t mode) noexcept { link_state().trans_mode = mode; }

}  // namespace vnr::core
