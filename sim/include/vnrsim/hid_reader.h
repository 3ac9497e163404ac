// sim/include/vnrsim/hid_reader.h: the Reader as a USB HID device, in-process (no operating-system
// device): one HID interface driven by feature reports, and a bus of interfaces as a host enumerates them.
//
// The reader's HID interface moves everything through feature reports with report id kHidReportId;
// there are no input or output reports. Each report carries frame bytes behind its id byte and zeros
// up to the report length. Reports have no sequence number or byte count: the frame's length field is
// the only framing.
//
// Host to reader: the reader takes the first kHidSliceIn bytes behind the id of every report set and
// hands them to the Reader as they are (the zero padding of a command's last report included; the
// Reader's decoder passes over bytes outside a frame, and counts them in Stats::bytes_skipped). Bytes
// beyond kHidSliceIn, which a report longer than 255 bytes has, are not looked at.
//
// Reader to host: the bytes the Reader answers (noise and frame, or a cut frame) are queued as one
// stream and cut into slices of kHidSlicePlain bytes when the Reader answers in the plain form, or
// kHidSliceSplit bytes in the split form; one report a slice, the last slice what is left, each report
// zero-filled to its length. A get with nothing ready is refused, as a real device refuses (stalls) it;
// that refusal is how the host learns to ask again.
//
// Timing: the first report of a reply is ready `latency` after the report that completed the command
// was set; each later report `report_interval` after the one before (a fixed schedule from the
// command, like a device that buffers the reply and hands out reports at its report rate). A reply left
// unread stays queued; the next command's reply queues behind it in reports of its own.
//
// Late replies (a pending reply of the Reader, vnrsim/reader.h): every set and every get polls the
// Reader at the interface's time first; a reply so settled is queued as above, its first report ready
// `latency` after that set or get. A host polling for the reply thus gets it on the first get after
// the swipe, the PIN or the end of the wait, with the clock the options give.
//
// Hangup: while the Reader's hangup fault stands, every set and get fails, as with a pulled cable, and
// the reports still pending when a set or get meets the hangup are lost. Once the fault is cleared the
// interface answers again.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "vnrsim/reader.h"

namespace vnrsim {

constexpr std::uint8_t kHidReportId = 6;         // the id of the only report the reader has
constexpr std::size_t kHidSliceIn = 254;         // command bytes taken from each report set
constexpr std::size_t kHidSlicePlain = 254;      // reply bytes a report carries in the plain form
constexpr std::size_t kHidSliceSplit = 253;      // reply bytes a report carries in the split form
constexpr std::size_t kHidDefaultReportLength = 256;  // feature report length, report id included
constexpr std::size_t kHidHistoryReports = 10000;      // reports_received() keeps the latest this many

constexpr std::uint16_t kReaderVendorId = 0x23A4;   // the reader's USB vendor id
constexpr std::uint16_t kReaderProductA = 0x0213;   // the reader's product ids: the one a host tries first
constexpr std::uint16_t kReaderProductB = 0x0219;   // and the other

// How a HidReader behaves on the bus.
struct HidOptions {
    using Clock = std::chrono::steady_clock;

    // Feature report length in bytes, report id included, as the device declares it. At least 2.
    // A length below 255 makes the reply slices shorter: a report holds at most length - 1 bytes.
    std::size_t feature_report_length = kHidDefaultReportLength;
    // From the set that completes a command to the first report of its reply being ready.
    Clock::duration latency{0};
    // Between two reports of a reply becoming ready: the device's report rate.
    Clock::duration report_interval{0};
    // The time source; empty for Clock::now. Called with the HidReader's lock held.
    std::function<Clock::time_point()> clock{};
};

// Counters since construction or the last clear_history().
struct HidStats {
    std::uint64_t reports_set = 0;    // reports taken by set_feature
    std::uint64_t sets_refused = 0;   // set_feature calls that returned false
    std::uint64_t gets_answered = 0;  // get_feature calls that returned a report
    std::uint64_t gets_refused = 0;   // get_feature calls that returned false (not ready, malformed, gone)
};

// One HID interface of the reader, in front of a Reader. Every member function is safe to call from
// several threads at once.
class HidReader {
public:
    using Clock = std::chrono::steady_clock;

    // Serves `reader`, which must outlive this object. Throws std::invalid_argument for a
    // feature_report_length below 2.
    explicit HidReader(Reader& reader, HidOptions options = {});

    HidReader(const HidReader&) = delete;
    HidReader& operator=(const HidReader&) = delete;

    // The declared feature report length, report id included.
    std::size_t feature_report_length() const noexcept { return report_length_; }
    // True while the Reader's hangup fault stands: the device is gone from the bus.
    bool hung_up() const { return reader_.hung_up(); }

    // The host sends one feature report: report[0] == kHidReportId and report.size() ==
    // feature_report_length(). Its bytes go to the Reader; a reply they complete is queued for reading.
    // False, with nothing taken, for another length or id, and while the Reader's hangup fault stands.
    bool set_feature(std::span<const std::uint8_t> report);

    // The host asks for one feature report: report[0] == kHidReportId and report.size() ==
    // feature_report_length() on entry. When a report of the reply is ready: report[0] stays the id,
    // the next slice follows, zeros fill the rest; true. False, with `report` untouched, when no report
    // is ready (none queued, or the next one's time has not come), for another length or id, and while
    // the hangup fault stands.
    bool get_feature(std::span<std::uint8_t> report);

    // Drops the reply reports not yet read, as a device reset would.
    void drop_pending();
    // Reply reports queued and not yet read, ready or not.
    std::size_t reports_pending() const;
    // When the last report of the latest reply is (or will be) ready; nullopt before the first reply.
    // Stays after that reply has been read, until the next reply comes.
    std::optional<Clock::time_point> last_report_ready() const;

    // The reports taken by set_feature, whole (id and padding included), oldest first; the latest
    // kHidHistoryReports.
    std::vector<std::vector<std::uint8_t>> reports_received() const;
    // The counters.
    HidStats stats() const;
    // Forgets the received reports and zeroes the counters. Pending reports stay.
    void clear_history();

private:
    struct Pending {
        std::vector<std::uint8_t> bytes;  // the slice, without id or padding
        Clock::time_point ready;
    };
    Clock::time_point now() const;
    void queue(const std::vector<std::uint8_t>& reply, Clock::time_point ready);  // as reports, from `ready` on
    bool gone();  // true while hung up; drops what was pending, as a pulled cable loses it

    Reader& reader_;
    const std::size_t report_length_;
    const HidOptions options_;
    mutable std::mutex mutex_;
    std::deque<Pending> pending_;
    std::optional<Clock::time_point> last_ready_;
    std::deque<std::vector<std::uint8_t>> received_;
    HidStats stats_;
};

// What a host learns of an interface when it enumerates it.
struct HidInterfaceInfo {
    std::string path;
    std::uint16_t vendor_id = 0;
    std::uint16_t product_id = 0;
    std::size_t feature_report_length = 0;  // 0: the interface has no feature reports
};

namespace detail {
struct HidPort;
}

// An open HID interface. Closing it (close() or the destructor) lets the bus open it again. Safe to
// use from several threads at once, and it may outlive its bus, though not the HidReader behind it.
class HidHandle {
public:
    explicit HidHandle(std::shared_ptr<detail::HidPort> port) noexcept;
    ~HidHandle();
    HidHandle(const HidHandle&) = delete;
    HidHandle& operator=(const HidHandle&) = delete;

    std::uint16_t vendor_id() const noexcept;
    std::uint16_t product_id() const noexcept;
    // 0 for an interface without feature reports.
    std::size_t feature_report_length() const noexcept;

    // As HidReader::set_feature and get_feature. Always false for an interface with no reader behind
    // it, after the interface was unplugged, and after close().
    bool set_feature(std::span<const std::uint8_t> report);
    bool get_feature(std::span<std::uint8_t> report);

    // Closes the handle; later calls fail. False when it was already closed.
    bool close();

private:
    std::shared_ptr<detail::HidPort> port_;
    std::atomic<bool> open_{true};
};

// The HID interfaces a host sees, in enumeration order. Paths are "sim-hid-<n>", n counting the
// interfaces added, and never reused. Safe to use from several threads at once.
//
// An interface leaves the enumeration when it is unplugged, and while the Reader behind it is hung up
// (it comes back when the hangup is cleared, and handles opened before work again).
class HidBus {
public:
    HidBus();
    ~HidBus();
    HidBus(const HidBus&) = delete;
    HidBus& operator=(const HidBus&) = delete;

    // Adds an interface with `device` behind it (which must outlive the bus and every handle); its
    // report length is the device's. Returns its path.
    std::string add_reader(HidReader& device, std::uint16_t product_id = kReaderProductA,
                           std::uint16_t vendor_id = kReaderVendorId);
    // Adds an interface with nothing behind it: another device, or an interface of the reader that has
    // no feature reports (feature_report_length 0). Returns its path.
    std::string add_device(std::uint16_t vendor_id, std::uint16_t product_id,
                           std::size_t feature_report_length = 0);

    // The path of interface number `index` among those present; false when there are not that many.
    bool interface_path(unsigned index, std::string& path) const;
    // The interfaces present, in enumeration order.
    std::vector<HidInterfaceInfo> interfaces() const;
    // What the interface at `path` declares; nullopt when it is not present.
    std::optional<HidInterfaceInfo> info(const std::string& path) const;

    // Opens the interface at `path` exclusively. nullptr when it is not present or already open.
    std::unique_ptr<HidHandle> open(const std::string& path);
    // True while a handle of the interface at `path` is open.
    bool is_open(const std::string& path) const;

    // Pulls the interface out: it leaves the enumeration and every handle of it fails from now on.
    // False when there is no such interface or it was already unplugged.
    bool unplug(const std::string& path);

private:
    std::shared_ptr<detail::HidPort> find(const std::string& path) const;  // with mutex_ held

    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<detail::HidPort>> ports_;  // in the order added
};

}  // namespace vnrsim
