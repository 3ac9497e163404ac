// src/platform/hid_device.cpp: platform. HID enumeration and open: the system's, or a stand-in's.
#include "platform/hid_device.h"

#include "platform/hid_system.h"

#include <atomic>

namespace vnr::platform {

namespace {
std::atomic<HidProvider*> installed{nullptr};
}  // namespace

bool hid_interface_path(unsigned index, std::string& path) {
    if (HidProvider* provider = installed.load()) return provider->interface_path(index, path);
    return system_hid_interface_path(index, path);
}

std::unique_ptr<HidDevice> open_hid_path(const std::string& path, HidOpenError& error) {
    error = HidOpenError::none;
    if (HidProvider* provider = installed.load()) return provider->open(path, error);
    return system_open_hid_path(path, error);
}

void install_hid_provider(HidProvider* provider) noexcept { installed.store(provider); }

}  // namespace vnr::platform
