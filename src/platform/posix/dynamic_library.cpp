// src/platform/posix/dynamic_library.cpp: platform (POSIX). Run-time loading through dlopen.
#include "platform/dynamic_library.h"

#include <dlfcn.h>

#include <cstdlib>

#include <utility>

namespace vnr::platform {

DynamicLibrary::~DynamicLibrary() {
    if (handle_ != nullptr) ::dlclose(handle_);
}

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

DynamicLibrary DynamicLibrary::open(const std::string& name) noexcept {
    return DynamicLibrary{::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)};
}

void* DynamicLibrary::symbol(const char* name) const noexcept {
    return handle_ != nullptr ? ::dlsym(handle_, name) : nullptr;
}

std::string shared_library_name(const std::string& base) { return "lib" + base + ".so"; }

std::string this_module_folder() {
    // The loader may know the module by a relative name (a program started as "bin/app", a library
    // opened as "./lib.so"), which means nothing once the current directory has changed, as writing a
    // log line changes it. The folder is therefore made absolute once, on the first call, which the
    // load hook makes before anything else runs.
    static const std::string folder = [] {
        Dl_info info{};
        if (::dladdr(reinterpret_cast<void*>(&this_module_folder), &info) == 0 || info.dli_fname == nullptr)
            return std::string();
        std::string path = info.dli_fname;
        if (char* absolute = ::realpath(info.dli_fname, nullptr)) {
            path = absolute;
            std::free(absolute);
        }
        const std::size_t slash = path.rfind('/');
        return slash == std::string::npos ? std::string("./") : path.substr(0, slash + 1);
    }();
    return folder;
}

}  // namespace vnr::platform
