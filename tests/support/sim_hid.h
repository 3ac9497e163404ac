// The simulator's HID bus in place of the system's: while a SimHidProvider lives, the library enumerates
// and opens the bus's interfaces instead of the machine's.
#pragma once

#include "core/state.h"
#include "platform/hid_device.h"
#include "vnrsim/hid_reader.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vnr::test {

// The wait the library had set when a command frame went out: its read time-out and HID read delay.
struct WaitSeen { std::uint32_t timeout_ms; std::uint32_t delay_ms; };

// The waits seen at each command frame sent on the HID road, in order. The library sets a command's wait
// before it sends the frame, so a test checks the wait without sitting through it.
class WaitLog {
public:
    void record() {
        const std::lock_guard lock(mutex_);
        seen_.push_back({core::link_state().read_timeout_ms.load(), core::link_state().read_delay_ms.load()});
    }
    std::vector<WaitSeen> seen() const {
        const std::lock_guard lock(mutex_);
        return seen_;
    }
    void clear() {
        const std::lock_guard lock(mutex_);
        seen_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<WaitSeen> seen_;
};

// One open interface of the bus, seen through the library's platform interface.
class SimHidDevice final : public platform::HidDevice {
public:
    SimHidDevice(std::unique_ptr<vnrsim::HidHandle> handle, WaitLog& waits) : handle_(std::move(handle)), waits_(waits) {}
    std::uint16_t vendor_id() const noexcept override { return handle_->vendor_id(); }
    std::uint16_t product_id() const noexcept override { return handle_->product_id(); }
    std::size_t feature_report_length() const noexcept override { return handle_->feature_report_length(); }
    bool set_feature(std::span<const std::uint8_t> report) noexcept override {
        // A frame's first report holds its start byte right behind the report id.
        if (report.size() > 1 && report[1] == kFrameStart) waits_.record();
        return handle_->set_feature(report);
    }
    bool get_feature(std::span<std::uint8_t> report) noexcept override { return handle_->get_feature(report); }
    bool close() noexcept override { return handle_->close(); }

private:
    static constexpr std::uint8_t kFrameStart = 0x02;
    std::unique_ptr<vnrsim::HidHandle> handle_;
    WaitLog& waits_;
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
        return std::make_unique<SimHidDevice>(std::move(handle), waits);
    }

    WaitLog waits;  // the wait at each command frame sent through the bus's interfaces

private:
    vnrsim::HidBus& bus_;
};

}  // namespace vnr::test
