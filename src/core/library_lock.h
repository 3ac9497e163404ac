// src/core/library_lock.h: core. The one reentrant lock that serialises all reader traffic.
// Created by the load hook and destroyed by the unload hook (core/hooks.cpp); every exported reader
// function holds it from its entry line to its result. The log never takes it.
#pragma once

namespace vnr::core {

// Creates and destroys the lock; called only by the load and unload hooks.
void create_library_lock() noexcept;
void destroy_library_lock() noexcept;

// Enters the lock for its lifetime. Reentrant: a function holding it may call another that takes it.
// To leave the lock for a step, end the guard's scope or use a std::optional<LibraryGuard>.
class LibraryGuard {
public:
    LibraryGuard() noexcept;
    ~LibraryGuard();
    LibraryGuard(const LibraryGuard&) = delete;
    LibraryGuard& operator=(const LibraryGuard&) = delete;
};

}  // namespace vnr::core
