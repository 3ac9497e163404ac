// src/platform/win32/load_hooks.cpp: platform (Windows). Binds the load and unload hooks to the DLL
// entry point: attaching the DLL to a process runs on_library_load(), detaching it runs
// on_library_unload(). Threads coming and going call nothing, and the entry point never refuses.
#include "platform/load_hooks.h"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    switch (reason) {
        case DLL_PROCESS_ATTACH: vnr::platform::on_library_load(); break;
        case DLL_PROCESS_DETACH: vnr::platform::on_library_unload(); break;
        default: break;
    }
    return TRUE;
}
