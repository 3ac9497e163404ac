// src/platform/load_hooks.h: platform. The process attach and detach hooks of the library.
// The platform binds them (a constructor/destructor pair on Linux, the DLL entry point on Windows);
// the library core defines what they do. Attaching or detaching a thread calls nothing.
#pragma once

namespace vnr::platform {

void on_library_load() noexcept;    // defined by the core; called once when the library is attached
void on_library_unload() noexcept;  // defined by the core; called once when it is detached

}  // namespace vnr::platform
