// src/platform/posix/load_hooks.cpp: platform (POSIX). Binds the load and unload hooks to the
// shared object's constructor and destructor, which run when the library is loaded and unloaded.
#include "platform/load_hooks.h"

#include "platform/dynamic_library.h"

namespace {
[[gnu::constructor]] void library_attached() {
    // Where the library lies is settled before its first log line can change the current directory.
    vnr::platform::this_module_folder();
    vnr::platform::on_library_load();
}
[[gnu::destructor]] void library_detached() { vnr::platform::on_library_unload(); }
}  // namespace
