// src/platform/lock.h: platform. A reentrant mutual-exclusion lock.
// Backends: posix/lock.cpp (recursive pthread mutex), win32/lock.cpp (critical section).
#pragma once

#include <cstddef>

namespace vnr::platform {

// A lock that the thread holding it may enter again; each enter() needs its leave(). No time-out
// applies to enter(). Neither copyable nor movable: its address is its identity.
class ReentrantLock {
public:
    ReentrantLock() noexcept;
    ~ReentrantLock();
    ReentrantLock(const ReentrantLock&) = delete;
    ReentrantLock& operator=(const ReentrantLock&) = delete;

    void enter() noexcept;
    void leave() noexcept;

private:
    // Room for the system's lock object (a pthread mutex or a CRITICAL_SECTION), so that creating a
    // lock never allocates; each backend checks at compile time that its object fits.
    alignas(16) unsigned char storage_[64];
};

}  // namespace vnr::platform
