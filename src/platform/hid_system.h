// src/platform/hid_system.h: platform, private. The system's own HID enumeration and open, which each
// backend (posix/hid_device.cpp, win32/hid_device.cpp) defines; hid_device.cpp calls them unless a
// provider stands in.
#pragma once

#include "platform/hid_device.h"

namespace vnr::platform {

bool system_hid_interface_path(unsigned index, std::string& path);
std::unique_ptr<HidDevice> system_open_hid_path(const std::string& path, HidOpenError& error);

}  // namespace vnr::platform
