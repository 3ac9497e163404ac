// tools/doctor_windows.cpp: the command-line tool, Windows. What `vnr doctor` sees of the system there: the
// USB readers and COM ports are the system's to show (Device Manager); the library is asked for a reader on
// COM1 and on USB by the verb itself.
#include "doctor.h"
#include "vnr_32.h"

#include <windows.h>

namespace vnr::tool::doctor {

void look_at_system(const Options&, std::vector<Finding>& findings, std::vector<int>& mapped_ports) {
    findings.push_back({Level::note, "system", "USB readers and COM ports are listed by Device Manager (a reader is "
                        "a HID device with ids 23A4:0213 or 23A4:0219)", ""});
    mapped_ports.push_back(1);
}

std::string library_folder() {
    HMODULE module = nullptr;
    if (!::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              reinterpret_cast<LPCSTR>(&device_open), &module))
        return {};
    char path[MAX_PATH] = {};
    const DWORD length = ::GetModuleFileNameA(module, path, MAX_PATH);
    if (length == 0 || length == MAX_PATH) return {};
    std::string folder(path, length);
    const std::size_t slash = folder.find_last_of("\\/");
    return slash == std::string::npos ? std::string() : folder.substr(0, slash + 1);
}

}  // namespace vnr::tool::doctor
