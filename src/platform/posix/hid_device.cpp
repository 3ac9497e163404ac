// src/platform/posix/hid_device.cpp: platform (POSIX). HID interfaces over Linux hidraw.
//
// Interfaces are the /dev/hidrawN nodes, numbered by N. Opening one takes an exclusive advisory lock on
// it, the counterpart of the Windows open without sharing: a second open, here or in another process
// that locks the same way, fails while the first is held. hidraw does not give the feature report
// length that Windows reports, so it is worked out from the report descriptor.
#include "platform/hid_system.h"

#include "platform/posix/hid_descriptor.h"
#include "platform/posix/hidraw_nodes.h"
#include "platform/posix/unique_fd.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/hidraw.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace vnr::platform {

namespace {

constexpr std::string_view kNodePrefix = "hidraw";
constexpr std::string_view kDeviceDir = "/dev/";
// As on Windows, interfaces 0 to 63 are looked at and no more.
constexpr unsigned kMaxInterfaces = 64;
// The reader's frames travel in feature report 6; its length is the one the link must use.
constexpr std::uint8_t kReaderReportId = 6;
// A feature transfer's length travels in the ioctl request's 14-bit size field.
constexpr std::size_t kMaxTransferSize = _IOC_SIZEMASK;
// The kernel copies at most this many descriptor bytes in one HIDIOCGRDESC.
constexpr std::uint32_t kMaxDescriptorRead = HID_MAX_DESCRIPTOR_SIZE - 1;

// N of a directory entry "hidrawN"; nullopt for any other name.
std::optional<unsigned> node_number(std::string_view name) {
    if (name.size() <= kNodePrefix.size() || name.substr(0, kNodePrefix.size()) != kNodePrefix) return std::nullopt;
    const std::string_view digits = name.substr(kNodePrefix.size());
    unsigned number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
    return number;
}

// The feature report length of the open node, as Windows would report it; 0 when the node has no
// feature report or its descriptor cannot be read.
std::size_t feature_report_length_of(int fd) {
    int size = 0;
    if (::ioctl(fd, HIDIOCGRDESCSIZE, &size) < 0 || size <= 0) return 0;
    hidraw_report_descriptor descriptor{};
    descriptor.size = std::min(static_cast<std::uint32_t>(size), kMaxDescriptorRead);
    if (::ioctl(fd, HIDIOCGRDESC, &descriptor) < 0) return 0;
    return feature_report_length(std::span<const std::uint8_t>(descriptor.value, descriptor.size), kReaderReportId);
}

class HidrawDevice final : public HidDevice {
public:
    HidrawDevice(UniqueFd fd, std::uint16_t vendor_id, std::uint16_t product_id, std::size_t length) noexcept
        : fd_(std::move(fd)), vendor_id_(vendor_id), product_id_(product_id), feature_report_length_(length) {}

    std::uint16_t vendor_id() const noexcept override { return vendor_id_; }
    std::uint16_t product_id() const noexcept override { return product_id_; }
    std::size_t feature_report_length() const noexcept override { return feature_report_length_; }

    bool set_feature(std::span<const std::uint8_t> report) noexcept override {
        if (!fd_ || report.empty() || report.size() > kMaxTransferSize) return false;
        return ::ioctl(fd_.get(), HIDIOCSFEATURE(report.size()), report.data()) >= 0;
    }

    bool get_feature(std::span<std::uint8_t> report) noexcept override {
        if (!fd_ || report.empty() || report.size() > kMaxTransferSize) return false;
        // A device with nothing ready stalls the request (EPIPE) or lets it fail or time out; all of
        // these mean "not ready", as a failing get does on Windows.
        const int count = ::ioctl(fd_.get(), HIDIOCGFEATURE(report.size()), report.data());
        // An empty answer is no report either: the id byte left in the buffer is the caller's own.
        if (count <= 0) return false;
        // A shorter report than asked for leaves none of the buffer's old bytes behind it.
        const std::size_t kept = std::min(static_cast<std::size_t>(count), report.size());
        std::fill(report.begin() + static_cast<std::ptrdiff_t>(kept), report.end(), 0);
        return true;
    }

    bool close() noexcept override {
        // Closing the descriptor drops the lock with it, so the interface can be opened again at once.
        const int fd = fd_.release();
        return fd >= 0 && ::close(fd) == 0;
    }

private:
    UniqueFd fd_;
    std::uint16_t vendor_id_;
    std::uint16_t product_id_;
    std::size_t feature_report_length_;
};

}  // namespace

std::vector<std::string> hidraw_nodes(const std::string& class_dir) {
    std::vector<std::pair<unsigned, std::string>> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(class_dir, error), end; !error && entry != end;
         entry.increment(error)) {
        std::string name = entry->path().filename().string();
        if (const auto number = node_number(name)) found.emplace_back(*number, std::move(name));
    }
    // By number, not by name: hidraw10 comes after hidraw9.
    std::sort(found.begin(), found.end());
    std::vector<std::string> nodes;
    nodes.reserve(found.size());
    for (const auto& [number, name] : found) nodes.push_back(std::string(kDeviceDir) + name);
    return nodes;
}

bool system_hid_interface_path(unsigned index, std::string& path) {
    if (index >= kMaxInterfaces) return false;
    std::vector<std::string> nodes = hidraw_nodes(kHidrawClassDir);
    if (index >= nodes.size()) return false;
    path = std::move(nodes[index]);
    return true;
}

std::unique_ptr<HidDevice> system_open_hid_path(const std::string& path, HidOpenError& error) {
    UniqueFd fd{::open(path.c_str(), O_RDWR | O_CLOEXEC)};
    if (!fd) {
        error = errno == EACCES || errno == EPERM ? HidOpenError::denied
                : errno == ENOENT || errno == ENODEV || errno == ENXIO ? HidOpenError::absent
                : errno == EBUSY ? HidOpenError::busy : HidOpenError::failed;
        return nullptr;
    }
    // Held until the descriptor closes; another holder makes this open fail at once.
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        error = HidOpenError::busy;
        return nullptr;
    }
    hidraw_devinfo info{};
    if (::ioctl(fd.get(), HIDIOCGRAWINFO, &info) < 0) {  // not a hidraw node
        error = HidOpenError::failed;
        return nullptr;
    }
    // The kernel hands the ids over as signed 16-bit numbers.
    const auto vendor_id = static_cast<std::uint16_t>(info.vendor);
    const auto product_id = static_cast<std::uint16_t>(info.product);
    const std::size_t length = feature_report_length_of(fd.get());
    return std::make_unique<HidrawDevice>(std::move(fd), vendor_id, product_id, length);
}

}  // namespace vnr::platform
