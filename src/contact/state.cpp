// src/contact/state.cpp: contact family. The process-wide size code of the memory card (see state.h).
#include "contact/state.h"

#include "contact/memory_map.h"

namespace vnr::contact {

std::int32_t& contact_size_code(const core::LibraryGuard&) noexcept {
    static std::int32_t size_code = kNoSizeCode;  // constant-initialised: set before any call can come
    return size_code;
}

}  // namespace vnr::contact
