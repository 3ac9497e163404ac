// src/platform/win32/dynamic_library.cpp: platform (Windows). Run-time loading through LoadLibraryA.
#include "platform/dynamic_library.h"

#include <windows.h>

#include <utility>

namespace vnr::platform {

namespace {
HMODULE module_of(void* handle) { return static_cast<HMODULE>(handle); }
}  // namespace

DynamicLibrary::~DynamicLibrary() {
    if (handle_ != nullptr) ::FreeLibrary(module_of(handle_));
}

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

DynamicLibrary DynamicLibrary::open(const std::string& name) noexcept {
    // The library runs inside someone else's application: a library that fails to load must not put
    // up a system error box there, only come back empty.
    DWORD previous_mode = 0;
    const bool mode_set = ::SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &previous_mode) != FALSE;
    HMODULE module = ::LoadLibraryA(name.c_str());
    if (mode_set) ::SetThreadErrorMode(previous_mode, nullptr);
    return DynamicLibrary{module};
}

void* DynamicLibrary::symbol(const char* name) const noexcept {
    if (handle_ == nullptr) return nullptr;
    return reinterpret_cast<void*>(::GetProcAddress(module_of(handle_), name));
}

std::string shared_library_name(const std::string& base) { return base + ".dll"; }

std::string this_module_folder() {
    // The module that holds this function is the DLL when the library is a DLL, the program when it
    // is linked into one. Looking it up leaves its reference count alone.
    HMODULE module = nullptr;
    if (::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                             reinterpret_cast<LPCSTR>(&this_module_folder), &module) == FALSE)
        return {};
    // GetModuleFileNameA cuts a path that does not fit and then fills the whole buffer; grow until it fits.
    std::string path(MAX_PATH, '\0');
    for (;;) {
        const DWORD length = ::GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) return {};
        if (length < path.size()) {
            path.resize(length);
            break;
        }
        if (path.size() >= 32'768) return {};  // longer than any path the system allows
        path.resize(path.size() * 2);
    }
    const std::size_t separator = path.find_last_of("\\/");
    return separator == std::string::npos ? std::string(".\\") : path.substr(0, separator + 1);
}

}  // namespace vnr::platform
