// src/platform/win32/hid_device.cpp: platform (Windows). HID interfaces through SetupDi and HidD.
//
// Interfaces are enumerated afresh for every index, as the HID class's device interfaces present now.
// An open is without sharing, so a second open of the same interface fails while the first is held.
#include "platform/hid_system.h"

#include "platform/win32/unique_handle.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

namespace vnr::platform {

namespace {

// Interfaces 0 to 63 are looked at and no more.
constexpr unsigned kMaxInterfaces = 64;
// The HidD transfer calls take their length as a ULONG.
constexpr std::size_t kMaxTransferSize = std::numeric_limits<ULONG>::max();

class Win32HidDevice final : public HidDevice {
public:
    Win32HidDevice(UniqueFileHandle handle, std::uint16_t vendor_id, std::uint16_t product_id,
                   std::size_t length) noexcept
        : handle_(std::move(handle)), vendor_id_(vendor_id), product_id_(product_id), feature_report_length_(length) {}

    std::uint16_t vendor_id() const noexcept override { return vendor_id_; }
    std::uint16_t product_id() const noexcept override { return product_id_; }
    std::size_t feature_report_length() const noexcept override { return feature_report_length_; }

    bool set_feature(std::span<const std::uint8_t> report) noexcept override {
        if (!handle_ || report.empty() || report.size() > kMaxTransferSize) return false;
        // HidD_SetFeature takes a writable buffer but only reads it.
        return ::HidD_SetFeature(handle_.get(), const_cast<std::uint8_t*>(report.data()),
                                 static_cast<ULONG>(report.size())) != FALSE;
    }

    bool get_feature(std::span<std::uint8_t> report) noexcept override {
        if (!handle_ || report.empty() || report.size() > kMaxTransferSize) return false;
        // The reader fails the request while it has nothing ready.
        return ::HidD_GetFeature(handle_.get(), report.data(), static_cast<ULONG>(report.size())) != FALSE;
    }

    bool close() noexcept override { return handle_.close(); }

private:
    UniqueFileHandle handle_;
    std::uint16_t vendor_id_;
    std::uint16_t product_id_;
    std::size_t feature_report_length_;
};

// FeatureReportByteLength of the open interface; 0 when the system gives no capabilities.
std::size_t feature_report_length_of(HANDLE device) {
    PreparsedData preparsed;
    if (!preparsed.load(device)) return 0;
    HIDP_CAPS caps{};
    if (::HidP_GetCaps(preparsed.get(), &caps) != HIDP_STATUS_SUCCESS) return 0;
    return caps.FeatureReportByteLength;
}

}  // namespace

bool system_hid_interface_path(unsigned index, std::string& path) {
    if (index >= kMaxInterfaces) return false;
    GUID hid_class{};
    ::HidD_GetHidGuid(&hid_class);
    const DeviceInfoList list{
        ::SetupDiGetClassDevsA(&hid_class, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)};
    if (!list) return false;

    SP_DEVICE_INTERFACE_DATA entry{};
    entry.cbSize = sizeof(entry);
    if (::SetupDiEnumDeviceInterfaces(list.get(), nullptr, &hid_class, index, &entry) == FALSE) return false;

    // The first call fails on purpose: it gives the size of the detail record, path included.
    DWORD required = 0;
    ::SetupDiGetDeviceInterfaceDetailA(list.get(), &entry, nullptr, 0, &required, nullptr);
    constexpr std::size_t kPathOffset = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
    if (required <= kPathOffset) return false;
    // DWORD elements keep the record's cbSize aligned.
    std::vector<DWORD> storage((required + sizeof(DWORD) - 1) / sizeof(DWORD));
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A*>(storage.data());
    // cbSize is the size of the fixed part, not of the whole buffer.
    detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A);
    if (::SetupDiGetDeviceInterfaceDetailA(list.get(), &entry, detail, required, nullptr, nullptr) == FALSE)
        return false;

    const char* begin = detail->DevicePath;
    const char* end = std::find(begin, begin + (required - kPathOffset), '\0');
    path.assign(begin, end);
    return true;
}

std::unique_ptr<HidDevice> system_open_hid_path(const std::string& path, HidOpenError& error) {
    // Opened for overlapped I/O, which the HidD calls accept; each of them still completes before it returns.
    UniqueFileHandle handle{::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0 /* no sharing */, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr)};
    if (!handle) {
        // Another holder of an unshared open shows as a sharing violation (or, for some drivers, as denied).
        const DWORD why = ::GetLastError();
        error = why == ERROR_SHARING_VIOLATION ? HidOpenError::busy
                : why == ERROR_ACCESS_DENIED ? HidOpenError::denied
                : why == ERROR_FILE_NOT_FOUND || why == ERROR_PATH_NOT_FOUND ? HidOpenError::absent
                : HidOpenError::failed;
        return nullptr;
    }
    HIDD_ATTRIBUTES attributes{};
    attributes.Size = sizeof(attributes);
    if (::HidD_GetAttributes(handle.get(), &attributes) == FALSE) {
        error = HidOpenError::failed;
        return nullptr;
    }
    const std::size_t length = feature_report_length_of(handle.get());
    return std::make_unique<Win32HidDevice>(std::move(handle), attributes.VendorID, attributes.ProductID, length);
}

}  // namespace vnr::platform
