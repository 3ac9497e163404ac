// src/core/boundary.h: core. The door of every exported function: nothing thrown crosses it.
#pragma once

#include "vnr_32.h"

namespace vnr::core {

// Runs `body` and gives its result; anything thrown (only std::bad_alloc can be) becomes `on_failure`.
template <typename Result, typename Body>
Result guarded(Body&& body, Result on_failure = static_cast<Result>(VNR_E_GENERAL)) noexcept {
    try {
        return static_cast<Result>(body());
    } catch (...) {
        return on_failure;
    }
}

}  // namespace vnr::core
