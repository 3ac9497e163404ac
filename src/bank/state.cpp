// src/bank/state.cpp: bank. The family's process-wide state: the handle of the last bank read.
#include "bank/bank.h"

namespace vnr::bank {

std::int32_t& bank_icdev(const core::LibraryGuard&) noexcept {
    static std::int32_t icdev = 0;
    return icdev;
}

}  // namespace vnr::bank
