// src/core/hooks.cpp: core. What happens when the library is loaded and unloaded, and the lock's life.
#include "core/library_lock.h"
#include "core/log.h"
#include "platform/load_hooks.h"
#include "platform/lock.h"

#include <new>

namespace vnr::core {

namespace {
// The lock lives in static storage, built by the load hook and destroyed by the unload hook, so that
// its life is exactly the library's and no static constructor order is involved.
alignas(platform::ReentrantLock) unsigned char lock_storage[sizeof(platform::ReentrantLock)];
platform::ReentrantLock* library_lock = nullptr;
}  // namespace

void create_library_lock() noexcept {
    if (library_lock == nullptr) library_lock = new (lock_storage) platform::ReentrantLock;
}

void destroy_library_lock() noexcept {
    if (library_lock == nullptr) return;
    library_lock->~ReentrantLock();
    library_lock = nullptr;
}

LibraryGuard::LibraryGuard() noexcept { library_lock->enter(); }

LibraryGuard::~LibraryGuard() { library_lock->leave(); }

}  // namespace vnr::core

namespace vnr::platform {

void on_library_load() noexcept {
    // The first line is written before the lock exists: the log never takes the lock.
    log::line("-----------Dll Loaded-------------");
    core::create_library_lock();
    log::line("---InitializeCriticalSection Succed");
}

void on_library_unload() noexcept {
    log::line("--Dll Releaseed---");
    core::destroy_library_lock();
}

}  // namespace vnr::platform
