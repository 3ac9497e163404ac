// tests/support/sim_hid.h: the simulator's HID bus standing in for the system's HID interfaces, so
// the library's own HID link and discovery run against the simulated reader. While a SimHidProvider
// lives, the library enumerates and opens the bus's interfaces instead of the machine's.
#pragma once

#include "platform/hid_device.h"
#include "vnrsim/hid_reader.h"

#include <memory>
#include <string>

namespace vnr::test {

// One open interface of the bus, seen through the library's platform interface.
class SimHidDevice final : public platform::HidDevice {
public:
    explicit SimHidDevice(std::unique_ptr<vnrsim::HidHandle> handle) : handle_(std::move(handle)) {}
    std::uint16_t vendor_id() const noexcept override { return handle_->vendor_id(); }
    std::uint16_t product_id() const noexcept override { return handle_->product_id(); }
    std::size_t feature_report_length() const noexcept override { return handle_->feature_report_length(); }
    bool set_feature(std::span<const std::uint8_t> report) noexcept override { return handle_->set_feature(report); }
    bool get_feature(std::span<std::uint8_t> report) noexcept override { return handle_->get_feature(report); }
    bool close() noexcept override { return handle_->close(); }

private:
    std::unique_ptr<vnrsim::HidHandle> handle_;
};

class SimHidProvider final : public platform::HidProvider {
public:
    explicit SimHidProvider(vnrsim::HidBus& bus) : bus_(bus) { platform::install_hid_provider(this); }
    ~SimHidProvider() override { platform::install_hid_provider(nullptr); }
    SimHidProvider(const SimHidProvider&) = delete;
    SimHidProvider& operator=(const SimHidProvider&) = delete;

    bool interface_path(unsigned index, std::string& path) override { return bus_.interface_path(index, path); }
    std::unique_ptr<platform::HidDevice> open(const std::string& path, platform::HidOpenError& error) override {
        std::unique_ptr<vnrsim::HidHandle> handle = bus_.open(path);
        if (!handle) {
            error = platform::HidOpenError::busy;  // the bus's interfaces are there; one that will not open is held
            return nullptr;
        }
        return std::make_unique<SimHidDevice>(std::move(handle));
    }

private:
    vnrsim::HidBus& bus_;
};

}  // namespace vnr::test
