// src/platform/win32/unique_handle.h: platform (Windows). Move-only owners of system handles, each
// released by the call that matches how it was obtained.
#pragma once

#include <windows.h>

#include <utility>

namespace vnr::platform {

// A handle released by `Traits::release` when its owner goes. `Traits::invalid()` is the value that
// the obtaining call returns on failure.
template <typename Traits>
class UniqueHandle {
public:
    UniqueHandle() noexcept = default;
    explicit UniqueHandle(HANDLE handle) noexcept : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        std::swap(handle_, other.handle_);  // `other` now releases the old handle
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { close(); }

    HANDLE get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != Traits::invalid(); }

    // Gives the handle up; the caller releases it.
    HANDLE release() noexcept { return std::exchange(handle_, Traits::invalid()); }

    // Releases the handle now. False when there was none or the system refused.
    bool close() noexcept {
        const HANDLE handle = release();
        return handle != Traits::invalid() && Traits::release(handle);
    }

private:
    HANDLE handle_ = Traits::invalid();
};

// Files and devices from CreateFileA: INVALID_HANDLE_VALUE on failure, closed with CloseHandle.
struct FileHandleTraits {
    static HANDLE invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static bool release(HANDLE handle) noexcept { return ::CloseHandle(handle) != FALSE; }
};
using UniqueFileHandle = UniqueHandle<FileHandleTraits>;

// Kernel objects such as waitable timers: nullptr on failure, closed with CloseHandle.
struct ObjectHandleTraits {
    static HANDLE invalid() noexcept { return nullptr; }
    static bool release(HANDLE handle) noexcept { return ::CloseHandle(handle) != FALSE; }
};
using UniqueObjectHandle = UniqueHandle<ObjectHandleTraits>;

// A folder listing from FindFirstFileA: INVALID_HANDLE_VALUE on failure, ended with FindClose.
struct FindHandleTraits {
    static HANDLE invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static bool release(HANDLE handle) noexcept { return ::FindClose(handle) != FALSE; }
};
using UniqueFindHandle = UniqueHandle<FindHandleTraits>;

}  // namespace vnr::platform
