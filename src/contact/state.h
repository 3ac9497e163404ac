// src/contact/state.h: contact family. The family's process-wide state, reachable only with the proof
// that the library lock is held.
#pragma once

#include "core/library_lock.h"

#include <cstdint>

namespace vnr::contact {

// The size code of the memory card last identified, one for the whole process (not per handle or
// slot): kNoSizeCode (-1) at load and after every contact_settype; the card's code after
// contact_identifytype names a type that carries one. contact_read and contact_write bound their
// addresses by it.
std::int32_t& contact_size_code(const core::LibraryGuard&) noexcept;

}  // namespace vnr::contact
