// src/platform/win32/lock.cpp: platform (Windows). ReentrantLock over a critical section, which a
// thread that owns it may enter again.
#include "platform/lock.h"

#include <windows.h>

#include <new>

namespace vnr::platform {

static_assert(sizeof(CRITICAL_SECTION) <= 64 && alignof(CRITICAL_SECTION) <= 16,
              "the critical section must fit the lock's storage");

namespace {
CRITICAL_SECTION* section_of(unsigned char* storage) {
    return std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage));
}
}  // namespace

ReentrantLock::ReentrantLock() noexcept {
    // Cannot fail on any supported Windows version (it no longer raises on low memory).
    ::InitializeCriticalSection(new (storage_) CRITICAL_SECTION);
}

ReentrantLock::~ReentrantLock() { ::DeleteCriticalSection(section_of(storage_)); }

void ReentrantLock::enter() noexcept { ::EnterCriticalSection(section_of(storage_)); }

void ReentrantLock::leave() noexcept { ::LeaveCriticalSection(section_of(storage_)); }

}  // namespace vnr::platform
