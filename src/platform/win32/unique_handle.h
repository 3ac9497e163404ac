// src/platform/win32/unique_handle.h: platform (Windows). Move-only owners of system handles, each
// released by the call that matches how it was obtained.
#pragma once

#include <windows.h>
#include <setupapi.h>
// mingw-w64's HID headers declare their functions without C linkage of their own.
extern "C" {
#include <hidsdi.h>
}

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

// A device information set from SetupDiGetClassDevsA: INVALID_HANDLE_VALUE on failure, freed with
// SetupDiDestroyDeviceInfoList.
struct DeviceInfoListTraits {
    static HDEVINFO invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static bool release(HDEVINFO list) noexcept { return ::SetupDiDestroyDeviceInfoList(list) != FALSE; }
};
using DeviceInfoList = UniqueHandle<DeviceInfoListTraits>;

// A HID interface's preparsed data from HidD_GetPreparsedData, freed with HidD_FreePreparsedData.
class PreparsedData {
public:
    PreparsedData() noexcept = default;
    PreparsedData(const PreparsedData&) = delete;
    PreparsedData& operator=(const PreparsedData&) = delete;
    ~PreparsedData() { reset(); }

    // Takes the preparsed data of the open interface `device`, freeing any held before. False when the
    // system gives none.
    bool load(HANDLE device) noexcept {
        reset();
        PHIDP_PREPARSED_DATA data = nullptr;
        if (::HidD_GetPreparsedData(device, &data) == FALSE) return false;
        data_ = data;
        return data_ != nullptr;
    }

    PHIDP_PREPARSED_DATA get() const noexcept { return data_; }

    void reset() noexcept {
        if (data_ != nullptr) ::HidD_FreePreparsedData(std::exchange(data_, nullptr));
    }

private:
    PHIDP_PREPARSED_DATA data_ = nullptr;
};

}  // namespace vnr::platform
