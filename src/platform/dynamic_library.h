// src/platform/dynamic_library.h: platform. Loading a shared library at run time.
// Backends: posix/dynamic_library.cpp (dlopen), win32/dynamic_library.cpp (LoadLibraryA).
#pragma once

#include <string>

namespace vnr::platform {

// Owns one loaded library; the destructor unloads it. Move-only.
class DynamicLibrary {
public:
    DynamicLibrary() noexcept = default;
    ~DynamicLibrary();
    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;

    // Loads `name` through the system's search (a bare name) or from a path. Empty on failure.
    static DynamicLibrary open(const std::string& name) noexcept;

    // The address of the exported `symbol`, or nullptr.
    void* symbol(const char* symbol) const noexcept;

    explicit operator bool() const noexcept { return handle_ != nullptr; }

private:
    explicit DynamicLibrary(void* handle) noexcept : handle_(handle) {}
    void* handle_ = nullptr;
};

// The file name of the shared library called `base`: "lib<base>.so" on Linux, "<base>.dll" on Windows.
std::string shared_library_name(const std::string& base);

// The folder holding the module (shared library or program) that contains this code, with a trailing
// separator; empty when it cannot be told.
std::string this_module_folder();

}  // namespace vnr::platform
