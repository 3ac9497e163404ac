// sim/src/hid_reader.cpp: the Reader behind a HID interface, and the bus of interfaces (see
// vnrsim/hid_reader.h).
#include "vnrsim/hid_reader.h"

#include <algorithm>
#include <stdexcept>

namespace vnrsim {

namespace detail {

// One interface on the bus, shared by the bus and the handles opened on it.
struct HidPort {
    HidInterfaceInfo info;
    HidReader* reader = nullptr;  // nothing behind the interface when null
    std::atomic<bool> open{false};
    std::atomic<bool> unplugged{false};

    // Seen by an enumeration: plugged in, and not behind a hung-up line.
    bool present() const { return !unplugged && !(reader != nullptr && reader->hung_up()); }
};

}  // namespace detail

// ---- HidReader ------------------------------------------------------------------------------------

HidReader::HidReader(Reader& reader, HidOptions options)
    : reader_(reader), report_length_(options.feature_report_length), options_(std::move(options)) {
    if (report_length_ < 2) throw std::invalid_argument("a feature report needs its id and at least one byte");
}

HidReader::Clock::time_point HidReader::now() const { return options_.clock ? options_.clock() : Clock::now(); }

bool HidReader::gone() {
    if (!reader_.hung_up()) return false;
    pending_.clear();
    return true;
}

bool HidReader::set_feature(std::span<const std::uint8_t> report) {
    const std::lock_guard lock(mutex_);
    if (report.size() != report_length_ || report[0] != kHidReportId || gone()) {
        ++stats_.sets_refused;
        return false;
    }
    ++stats_.reports_set;
    received_.emplace_back(report.begin(), report.end());
    if (received_.size() > kHidHistoryReports) received_.pop_front();

    const Clock::time_point arrived = now();
    const auto body = report.subspan(1, std::min(kHidSliceIn, report.size() - 1));
    queue(reader_.receive(body, arrived), arrived + options_.latency);
    return true;
}

void HidReader::queue(const std::vector<std::uint8_t>& reply, Clock::time_point ready) {
    // The whole answer, noise included, is one stream cut into equal slices, so noise before the
    // start byte shortens the frame's share of the first report.
    const std::size_t form_slice = reader_.form() == Form::plain ? kHidSlicePlain : kHidSliceSplit;
    const std::size_t slice = std::min(form_slice, report_length_ - 1);
    for (std::size_t offset = 0; offset < reply.size(); offset += slice) {
        const auto first = reply.begin() + static_cast<std::ptrdiff_t>(offset);
        const auto last = first + static_cast<std::ptrdiff_t>(std::min(slice, reply.size() - offset));
        pending_.push_back(Pending{std::vector<std::uint8_t>(first, last), ready});
        last_ready_ = ready;
        ready += options_.report_interval;
    }
}

bool HidReader::get_feature(std::span<std::uint8_t> report) {
    const std::lock_guard lock(mutex_);
    const Clock::time_point asked = now();
    // Polled whatever the report is like: time passes for the reader all the same, and under hangup
    // this gives a pending reply up.
    const std::vector<std::uint8_t> late = reader_.poll(asked);
    const bool hung_up = gone();
    if (!hung_up) queue(late, asked + options_.latency);
    if (report.size() != report_length_ || report[0] != kHidReportId || hung_up || pending_.empty() ||
        pending_.front().ready > asked) {
        ++stats_.gets_refused;
        return false;
    }
    const std::vector<std::uint8_t>& slice = pending_.front().bytes;
    const auto end = std::copy(slice.begin(), slice.end(), report.begin() + 1);
    std::fill(end, report.end(), std::uint8_t{0});
    pending_.pop_front();
    ++stats_.gets_answered;
    return true;
}

void HidReader::drop_pending() {
    const std::lock_guard lock(mutex_);
    pending_.clear();
}

std::size_t HidReader::reports_pending() const {
    const std::lock_guard lock(mutex_);
    return pending_.size();
}

std::optional<HidReader::Clock::time_point> HidReader::last_report_ready() const {
    const std::lock_guard lock(mutex_);
    return last_ready_;
}

std::vector<std::vector<std::uint8_t>> HidReader::reports_received() const {
    const std::lock_guard lock(mutex_);
    return {received_.begin(), received_.end()};
}

HidStats HidReader::stats() const {
    const std::lock_guard lock(mutex_);
    return stats_;
}

void HidReader::clear_history() {
    const std::lock_guard lock(mutex_);
    received_.clear();
    stats_ = HidStats{};
}

// ---- HidHandle ------------------------------------------------------------------------------------

HidHandle::HidHandle(std::shared_ptr<detail::HidPort> port) noexcept : port_(std::move(port)) {}

HidHandle::~HidHandle() { close(); }

std::uint16_t HidHandle::vendor_id() const noexcept { return port_->info.vendor_id; }

std::uint16_t HidHandle::product_id() const noexcept { return port_->info.product_id; }

std::size_t HidHandle::feature_report_length() const noexcept { return port_->info.feature_report_length; }

bool HidHandle::set_feature(std::span<const std::uint8_t> report) {
    if (!open_ || port_->unplugged || port_->reader == nullptr) return false;
    return port_->reader->set_feature(report);
}

bool HidHandle::get_feature(std::span<std::uint8_t> report) {
    if (!open_ || port_->unplugged || port_->reader == nullptr) return false;
    return port_->reader->get_feature(report);
}

bool HidHandle::close() {
    if (!open_.exchange(false)) return false;
    port_->open = false;
    return true;
}

// ---- HidBus ---------------------------------------------------------------------------------------

HidBus::HidBus() = default;

HidBus::~HidBus() = default;

std::string HidBus::add_reader(HidReader& device, std::uint16_t product_id, std::uint16_t vendor_id) {
    const std::lock_guard lock(mutex_);
    auto port = std::make_shared<detail::HidPort>();
    port->info = {"sim-hid-" + std::to_string(ports_.size()), vendor_id, product_id, device.feature_report_length()};
    port->reader = &device;
    ports_.push_back(port);
    return port->info.path;
}

std::string HidBus::add_device(std::uint16_t vendor_id, std::uint16_t product_id,
                               std::size_t feature_report_length) {
    const std::lock_guard lock(mutex_);
    auto port = std::make_shared<detail::HidPort>();
    port->info = {"sim-hid-" + std::to_string(ports_.size()), vendor_id, product_id, feature_report_length};
    ports_.push_back(port);
    return port->info.path;
}

bool HidBus::interface_path(unsigned index, std::string& path) const {
    const std::lock_guard lock(mutex_);
    for (const auto& port : ports_) {
        if (!port->present()) continue;
        if (index-- == 0) {
            path = port->info.path;
            return true;
        }
    }
    return false;
}

std::vector<HidInterfaceInfo> HidBus::interfaces() const {
    const std::lock_guard lock(mutex_);
    std::vector<HidInterfaceInfo> out;
    for (const auto& port : ports_)
        if (port->present()) out.push_back(port->info);
    return out;
}

std::optional<HidInterfaceInfo> HidBus::info(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    const auto port = find(path);
    if (!port || !port->present()) return std::nullopt;
    return port->info;
}

std::unique_ptr<HidHandle> HidBus::open(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto port = find(path);
    if (!port || !port->present() || port->open.exchange(true)) return nullptr;
    return std::make_unique<HidHandle>(port);
}

bool HidBus::is_open(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    const auto port = find(path);
    return port && port->open;
}

bool HidBus::unplug(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto port = find(path);
    return port && !port->unplugged.exchange(true);
}

std::shared_ptr<detail::HidPort> HidBus::find(const std::string& path) const {
    const auto it = std::find_if(ports_.begin(), ports_.end(), [&](const auto& port) { return port->info.path == path; });
    return it == ports_.end() ? nullptr : *it;
}

}  // namespace vnrsim
