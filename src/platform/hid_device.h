// src/platform/hid_device.h: platform. HID interfaces driven by feature reports.
// Backends: posix/hid_device.cpp (hidraw), win32/hid_device.cpp (SetupDi and HidD). A test may stand a
// device model in for the system's devices through install_hid_provider().
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace vnr::platform {

// One open HID interface. Owns the system handle; the destructor closes it.
class HidDevice {
public:
    virtual ~HidDevice() = default;

    // The interface's vendor and product ids.
    virtual std::uint16_t vendor_id() const noexcept = 0;
    virtual std::uint16_t product_id() const noexcept = 0;

    // Length of the interface's feature report in bytes, the report id byte included, as the device
    // declares it (what the Windows capabilities call FeatureReportByteLength); 0 when it has none.
    virtual std::size_t feature_report_length() const noexcept = 0;

    // Sends one feature report; report[0] is the report id. False when the device refused it or is gone.
    virtual bool set_feature(std::span<const std::uint8_t> report) noexcept = 0;

    // Gets one feature report into `report`, whose first byte holds the wanted report id on entry.
    // False when the device has nothing to give (it refuses or stalls the request) or is gone.
    virtual bool get_feature(std::span<std::uint8_t> report) noexcept = 0;

    // Closes the interface now. False when the system refused; later calls fail.
    virtual bool close() noexcept = 0;
};

// The system path of HID interface number `index`, in the system's enumeration order. False when
// there is no interface with that index.
bool hid_interface_path(unsigned index, std::string& path);

// Why an interface could not be opened: it is gone, this user may not open it (on Linux: no udev rule
// gives access to the node), another holder has it, or anything else.
enum class HidOpenError { none, absent, denied, busy, failed };

// Opens the interface at `path` for reading and writing, exclusively: while it is open here, another
// open of it, by this process or another, fails. nullptr when it cannot be opened, and `error` says why.
std::unique_ptr<HidDevice> open_hid_path(const std::string& path, HidOpenError& error);

// A stand-in for the system's HID interfaces. While one is installed, hid_interface_path() and
// open_hid_path() ask it instead of the system.
class HidProvider {
public:
    virtual ~HidProvider() = default;
    virtual bool interface_path(unsigned index, std::string& path) = 0;
    virtual std::unique_ptr<HidDevice> open(const std::string& path, HidOpenError& error) = 0;
};

// Installs `provider` (not owned; nullptr puts the system back).
void install_hid_provider(HidProvider* provider) noexcept;

}  // namespace vnr::platform
