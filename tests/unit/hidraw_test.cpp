// The hidraw backend of the HID interface. Enumeration of /sys/class/hidraw; the open (ids, report
// length, exclusive lock), the transfers and the close against a stand-in for the kernel's hidraw
// ioctls; and, where the kernel offers /dev/uhid, all of it end to end against a virtual reader.
#include "platform/hid_device.h"
#include "platform/posix/hidraw_nodes.h"
#include "platform/posix/unique_fd.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/hidraw.h>
#include <linux/uhid.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using namespace vnr::platform;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kVendor = 0x23A4;
constexpr std::uint16_t kProduct = 0x0213;
constexpr std::uint8_t kReportId = 6;
constexpr std::size_t kReportLength = 256;  // 255 feature bytes and the id byte

// The reader's descriptor: vendor page, report 6 with 255 feature bytes and a 64-byte input report.
const Bytes kReaderDescriptor{
    0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08,
    0x85, 0x06,                                // Report ID (6)
    0x95, 0x40, 0x09, 0x02, 0x81, 0x02,        // Input: 64 bytes
    0x95, 0xFF, 0x09, 0x03, 0xB1, 0x02,        // Feature: 255 bytes
    0xC0,
};

// A mouse-like interface: one input report, no feature report.
const Bytes kNoFeatureDescriptor{0x05, 0x01, 0x09, 0x02, 0xA1, 0x01, 0x75, 0x08,
                                 0x95, 0x03, 0x81, 0x06, 0xC0};

Bytes report_of(std::size_t length, std::uint8_t first_data_byte) {
    Bytes report(length);
    report[0] = kReportId;
    for (std::size_t i = 1; i < length; ++i) report[i] = static_cast<std::uint8_t>(first_data_byte + i);
    return report;
}

// ---- a stand-in for the kernel's hidraw ioctls ----

// One hidraw interface as its ioctls show it, standing behind a plain file.
struct FakeHidraw {
    std::int16_t vendor = 0;  // signed, as struct hidraw_devinfo carries them
    std::int16_t product = 0;
    Bytes descriptor;
    bool descriptor_readable = true;
    int set_error = 0;  // errno of a refused set; 0: sets go through
    int get_error = 0;  // errno of a refused get
    Bytes answer;       // what a get gives, id byte first; may be shorter than asked
    std::vector<Bytes> sets;                // each set's bytes, as many as its request announced
    std::vector<std::size_t> get_lengths;   // each get's announced length
    std::vector<std::uint8_t> get_ids;      // the report id each get asked for
    dev_t device = 0;
    ino_t inode = 0;
};

std::vector<FakeHidraw*> fakes;

FakeHidraw* fake_behind(int fd) {
    if (fakes.empty()) return nullptr;
    struct stat status {};
    if (::fstat(fd, &status) != 0) return nullptr;
    for (FakeHidraw* fake : fakes)
        if (fake->device == status.st_dev && fake->inode == status.st_ino) return fake;
    return nullptr;
}

int fail_with(int error) {
    errno = error;
    return -1;
}

// The requests as the kernel's hidraw driver answers them, its limit on descriptor reads included.
int fake_ioctl(FakeHidraw& fake, unsigned long request, void* argument) {
    if (request == HIDIOCGRAWINFO) {
        auto* info = static_cast<hidraw_devinfo*>(argument);
        info->bustype = BUS_USB;
        info->vendor = fake.vendor;
        info->product = fake.product;
        return 0;
    }
    if (request == HIDIOCGRDESCSIZE) {
        if (!fake.descriptor_readable) return fail_with(EIO);
        *static_cast<int*>(argument) = static_cast<int>(fake.descriptor.size());
        return 0;
    }
    if (request == HIDIOCGRDESC) {
        auto* descriptor = static_cast<hidraw_report_descriptor*>(argument);
        if (!fake.descriptor_readable) return fail_with(EIO);
        if (descriptor->size > HID_MAX_DESCRIPTOR_SIZE - 1) return fail_with(EINVAL);
        std::memcpy(descriptor->value, fake.descriptor.data(),
                    std::min<std::size_t>(descriptor->size, fake.descriptor.size()));
        return 0;
    }
    const std::size_t length = _IOC_SIZE(request);
    auto* buffer = static_cast<std::uint8_t*>(argument);
    if (request == HIDIOCSFEATURE(length)) {
        if (fake.set_error != 0) return fail_with(fake.set_error);
        fake.sets.emplace_back(buffer, buffer + length);
        return static_cast<int>(length);
    }
    if (request == HIDIOCGFEATURE(length)) {
        fake.get_lengths.push_back(length);
        fake.get_ids.push_back(buffer[0]);
        if (fake.get_error != 0) return fail_with(fake.get_error);
        const std::size_t count = std::min(length, fake.answer.size());
        std::copy_n(fake.answer.begin(), count, buffer);
        return static_cast<int>(count);
    }
    return fail_with(ENOTTY);
}

}  // namespace

// Takes the place of the C library's ioctl in this test program: requests on a file that a fake
// stands behind go to the fake, all others to the kernel unchanged.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (FakeHidraw* fake = fake_behind(fd)) return fake_ioctl(*fake, request, argument);
    return static_cast<int>(::syscall(SYS_ioctl, fd, request, argument));
}

namespace {

class TempDir {
public:
    TempDir() {
        std::string pattern = (fs::temp_directory_path() / "vnr32-hid-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

// Whether another process could take the lock that a second opener would take.
bool another_process_can_lock(const std::string& path) {
    const pid_t child = ::fork();
    if (child == 0) {
        const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        ::_exit(fd >= 0 && ::flock(fd, LOCK_EX | LOCK_NB) == 0 ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class HidrawBackend : public ::testing::Test {
protected:
    HidrawBackend() {
        reader.vendor = static_cast<std::int16_t>(kVendor);
        reader.product = static_cast<std::int16_t>(kProduct);
        reader.descriptor = kReaderDescriptor;
        reader_path = add(reader, "hidraw0");
    }
    ~HidrawBackend() override { fakes.clear(); }

    // A file for `fake` to stand behind; its path.
    std::string add(FakeHidraw& fake, const char* name) {
        const fs::path path = dir.path() / name;
        std::ofstream{path};
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0);
        fake.device = status.st_dev;
        fake.inode = status.st_ino;
        fakes.push_back(&fake);
        return path.string();
    }

    TempDir dir;
    FakeHidraw reader;
    std::string reader_path;
};

TEST_F(HidrawBackend, OpenGivesTheIdsAndReportSixLengthFromTheDescriptor) {
    const auto device = open_hid_path(reader_path);
    ASSERT_TRUE(device);
    EXPECT_EQ(device->vendor_id(), kVendor);
    EXPECT_EQ(device->product_id(), kProduct);
    EXPECT_EQ(device->feature_report_length(), kReportLength);

    // Ids with the high bit set arrive as negative numbers and must come out whole.
    FakeHidraw other;
    other.vendor = static_cast<std::int16_t>(0xFEED);
    other.product = static_cast<std::int16_t>(0x8001);
    other.descriptor = kNoFeatureDescriptor;
    const auto other_device = open_hid_path(add(other, "hidraw1"));
    ASSERT_TRUE(other_device);
    EXPECT_EQ(other_device->vendor_id(), 0xFEED);
    EXPECT_EQ(other_device->product_id(), 0x8001);
    EXPECT_EQ(other_device->feature_report_length(), 0u);  // opens, but has no feature report
}

TEST_F(HidrawBackend, ReportLengthOfLargeOrUnreadableDescriptors) {
    // The longest descriptor the kernel keeps is one byte more than it copies out in one request:
    // the backend must ask for no more than it may, and still find report 6 near the front.
    FakeHidraw large = reader;
    large.descriptor.resize(HID_MAX_DESCRIPTOR_SIZE, 0x00);  // padded with empty main items
    const auto large_device = open_hid_path(add(large, "hidraw1"));
    ASSERT_TRUE(large_device);
    EXPECT_EQ(large_device->feature_report_length(), kReportLength);

    // Without a descriptor there is no length, as on Windows when the capabilities cannot be read.
    FakeHidraw unreadable = reader;
    unreadable.descriptor_readable = false;
    const auto unreadable_device = open_hid_path(add(unreadable, "hidraw2"));
    ASSERT_TRUE(unreadable_device);
    EXPECT_EQ(unreadable_device->feature_report_length(), 0u);
}

TEST_F(HidrawBackend, TransfersCarryTheWholeReportBuffer) {
    const auto device = open_hid_path(reader_path);
    ASSERT_TRUE(device);

    const Bytes out = report_of(kReportLength, 0x10);
    ASSERT_TRUE(device->set_feature(out));
    ASSERT_EQ(reader.sets.size(), 1u);
    EXPECT_EQ(reader.sets[0], out);

    reader.answer = report_of(kReportLength, 0x40);
    Bytes in(kReportLength, 0xEE);
    in[0] = kReportId;
    ASSERT_TRUE(device->get_feature(in));
    EXPECT_EQ(reader.get_lengths.back(), kReportLength);
    EXPECT_EQ(reader.get_ids.back(), kReportId);
    EXPECT_EQ(in, reader.answer);

    // A report shorter than the buffer: its bytes, then zeros, nothing of what the buffer held.
    reader.answer = {kReportId, 0x02, 0x31, 0x03};
    std::fill(in.begin(), in.end(), 0xEE);
    in[0] = kReportId;
    ASSERT_TRUE(device->get_feature(in));
    Bytes expected(kReportLength, 0x00);
    std::copy(reader.answer.begin(), reader.answer.end(), expected.begin());
    EXPECT_EQ(in, expected);
}

TEST_F(HidrawBackend, RefusedAndEmptyGetsAreNotReady) {
    const auto device = open_hid_path(reader_path);
    ASSERT_TRUE(device);
    Bytes in(kReportLength);
    for (const int error : {EPIPE, EIO, ETIMEDOUT, EPROTO}) {
        reader.get_error = error;
        in[0] = kReportId;
        EXPECT_FALSE(device->get_feature(in)) << std::strerror(error);
    }
    // A get that succeeds with no bytes leaves the caller's id byte in place: still not a report.
    reader.get_error = 0;
    reader.answer.clear();
    EXPECT_FALSE(device->get_feature(in));

    reader.set_error = EPIPE;
    EXPECT_FALSE(device->set_feature(report_of(kReportLength, 0)));
    EXPECT_TRUE(reader.sets.empty());
}

TEST_F(HidrawBackend, OpenIsExclusiveUntilClosedOrDestroyed) {
    auto first = open_hid_path(reader_path);
    ASSERT_TRUE(first);
    EXPECT_FALSE(open_hid_path(reader_path));
    EXPECT_FALSE(another_process_can_lock(reader_path));

    EXPECT_TRUE(first->close());
    EXPECT_TRUE(another_process_can_lock(reader_path));
    auto second = open_hid_path(reader_path);
    ASSERT_TRUE(second);
    EXPECT_FALSE(open_hid_path(reader_path));

    second.reset();
    EXPECT_TRUE(open_hid_path(reader_path));
}

TEST_F(HidrawBackend, CloseEndsEveryLaterCall) {
    const auto device = open_hid_path(reader_path);
    ASSERT_TRUE(device);
    ASSERT_TRUE(device->close());
    Bytes in(kReportLength);
    in[0] = kReportId;
    reader.answer = report_of(kReportLength, 0);
    EXPECT_FALSE(device->set_feature(report_of(kReportLength, 0)));
    EXPECT_FALSE(device->get_feature(in));
    EXPECT_FALSE(device->close());
    EXPECT_TRUE(reader.sets.empty());
    EXPECT_TRUE(reader.get_lengths.empty());
}

TEST_F(HidrawBackend, PathsThatAreNoHidrawNodeDoNotOpen) {
    EXPECT_FALSE(open_hid_path((dir.path() / "missing").string()));
    EXPECT_FALSE(open_hid_path("/dev/null"));
    // A plain file takes the lock but fails the ids request: the descriptor, and the lock with it,
    // must be let go.
    const std::string plain = (dir.path() / "plain").string();
    std::ofstream{plain};
    EXPECT_FALSE(open_hid_path(plain));
    EXPECT_TRUE(another_process_can_lock(plain));
}

// ---- enumeration ----

TEST(HidrawNodes, NodesComeByNumberAndOtherEntriesAreIgnored) {
    const TempDir dir;
    for (const char* name : {"hidraw10", "hidraw2", "hidraw0", "hidraw", "hidrawx", "hidraw3a", "hidraw-1",
                             "uhid", "power"})
        std::ofstream{dir.path() / name};
    fs::create_directory(dir.path() / "hidraw7");  // in sysfs the entries are links to folders
    EXPECT_EQ(hidraw_nodes(dir.path().string()),
              (std::vector<std::string>{"/dev/hidraw0", "/dev/hidraw2", "/dev/hidraw7", "/dev/hidraw10"}));

    const TempDir empty;
    EXPECT_TRUE(hidraw_nodes(empty.path().string()).empty());
    EXPECT_TRUE(hidraw_nodes((empty.path() / "missing").string()).empty());
}

TEST(HidrawNodes, InterfaceIndexesFollowTheSystemsClassFolder) {
    // Whatever this machine has, none or some: index n is the n-th node, and the list ends.
    install_hid_provider(nullptr);
    const std::vector<std::string> nodes = hidraw_nodes(kHidrawClassDir);
    std::string path;
    for (unsigned index = 0; index < nodes.size() && index < 64; ++index) {
        ASSERT_TRUE(hid_interface_path(index, path)) << index;
        EXPECT_EQ(path, nodes[index]);
    }
    if (nodes.size() < 64) {
        EXPECT_FALSE(hid_interface_path(static_cast<unsigned>(nodes.size()), path));
    }
    EXPECT_FALSE(hid_interface_path(64, path));  // as on Windows, no more than 64 are looked at
}

// ---- end to end through /dev/uhid ----

// A virtual reader made through uhid: the reader's ids and descriptor; every feature report 6 that is
// set is queued and given back by the next get of report 6; a get with nothing queued is refused.
class VirtualReader {
public:
    explicit VirtualReader(UniqueFd uhid) : uhid_(std::move(uhid)) {}
    ~VirtualReader() {
        stop_ = true;
        if (service_.joinable()) service_.join();
        uhid_event event{};
        event.type = UHID_DESTROY;
        [[maybe_unused]] const ssize_t written = ::write(uhid_.get(), &event, sizeof(event));
    }
    VirtualReader(const VirtualReader&) = delete;
    VirtualReader& operator=(const VirtualReader&) = delete;

    bool create(const std::string& name) {
        uhid_event event{};
        event.type = UHID_CREATE2;
        std::snprintf(reinterpret_cast<char*>(event.u.create2.name), sizeof(event.u.create2.name), "%s", name.c_str());
        event.u.create2.rd_size = static_cast<std::uint16_t>(kReaderDescriptor.size());
        event.u.create2.bus = BUS_USB;
        event.u.create2.vendor = kVendor;
        event.u.create2.product = kProduct;
        std::memcpy(event.u.create2.rd_data, kReaderDescriptor.data(), kReaderDescriptor.size());
        if (::write(uhid_.get(), &event, sizeof(event)) != static_cast<ssize_t>(sizeof(event))) return false;
        service_ = std::thread([this] { serve(); });
        return true;
    }

    std::vector<Bytes> sets() {
        const std::lock_guard lock(mutex_);
        return sets_;
    }

private:
    void serve() {
        while (!stop_) {
            pollfd watch{uhid_.get(), POLLIN, 0};
            if (::poll(&watch, 1, 50) <= 0) continue;
            uhid_event event{};
            if (::read(uhid_.get(), &event, sizeof(event)) <= 0) continue;
            uhid_event reply{};
            if (event.type == UHID_SET_REPORT) {
                const std::uint16_t size = std::min<std::uint16_t>(event.u.set_report.size, UHID_DATA_MAX);
                Bytes report(event.u.set_report.data, event.u.set_report.data + size);
                const bool taken = event.u.set_report.rtype == UHID_FEATURE_REPORT && event.u.set_report.rnum == kReportId;
                {
                    const std::lock_guard lock(mutex_);
                    if (taken) {
                        sets_.push_back(report);
                        queued_.push_back(std::move(report));
                    }
                }
                reply.type = UHID_SET_REPORT_REPLY;
                reply.u.set_report_reply.id = event.u.set_report.id;
                reply.u.set_report_reply.err = taken ? 0 : EIO;
            } else if (event.type == UHID_GET_REPORT) {
                reply.type = UHID_GET_REPORT_REPLY;
                reply.u.get_report_reply.id = event.u.get_report.id;
                reply.u.get_report_reply.err = EIO;
                const std::lock_guard lock(mutex_);
                if (event.u.get_report.rtype == UHID_FEATURE_REPORT && event.u.get_report.rnum == kReportId &&
                    !queued_.empty()) {
                    const Bytes& report = queued_.front();
                    reply.u.get_report_reply.err = 0;
                    reply.u.get_report_reply.size = static_cast<std::uint16_t>(report.size());
                    std::memcpy(reply.u.get_report_reply.data, report.data(), report.size());
                    queued_.pop_front();
                }
            } else {
                continue;  // start, open, close, output: nothing to answer
            }
            [[maybe_unused]] const ssize_t written = ::write(uhid_.get(), &reply, sizeof(reply));
        }
    }

    UniqueFd uhid_;
    std::thread service_;
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::vector<Bytes> sets_;
    std::deque<Bytes> queued_;
};

// The hidraw node of the uhid device named `name`, found through the backend's own enumeration and
// opened by it; waits up to 5 s for the kernel to set the node up.
std::unique_ptr<HidDevice> open_virtual(const std::string& name, std::string& path) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < deadline) {
        for (unsigned index = 0; hid_interface_path(index, path); ++index) {
            const std::string node = fs::path(path).filename().string();
            std::ifstream uevent(std::string(kHidrawClassDir) + "/" + node + "/device/uevent");
            std::string line;
            while (std::getline(uevent, line)) {
                if (line != "HID_NAME=" + name) continue;
                if (auto device = open_hid_path(path)) return device;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return nullptr;
}

TEST(HidrawUhid, VirtualReaderEndToEnd) {
    UniqueFd uhid{::open("/dev/uhid", O_RDWR | O_CLOEXEC)};
    if (!uhid) GTEST_SKIP() << "/dev/uhid cannot be opened here: " << std::strerror(errno);
    install_hid_provider(nullptr);
    VirtualReader reader{std::move(uhid)};
    const std::string name = "vnr32 test reader " + std::to_string(::getpid());
    ASSERT_TRUE(reader.create(name));

    std::string path;
    const auto device = open_virtual(name, path);
    ASSERT_TRUE(device) << "no hidraw node appeared for the uhid device";
    EXPECT_EQ(device->vendor_id(), kVendor);
    EXPECT_EQ(device->product_id(), kProduct);
    ASSERT_EQ(device->feature_report_length(), kReportLength);

    Bytes in(kReportLength);
    in[0] = kReportId;
    EXPECT_FALSE(device->get_feature(in));  // nothing queued: refused, "not ready"

    const Bytes out = report_of(kReportLength, 0x20);
    ASSERT_TRUE(device->set_feature(out));
    ASSERT_EQ(reader.sets().size(), 1u);
    EXPECT_EQ(reader.sets()[0], out);
    std::fill(in.begin(), in.end(), 0);
    in[0] = kReportId;
    ASSERT_TRUE(device->get_feature(in));
    EXPECT_EQ(in, out);

    EXPECT_FALSE(open_hid_path(path));  // held exclusively
    EXPECT_TRUE(device->close());
    EXPECT_FALSE(device->set_feature(out));
    EXPECT_TRUE(open_hid_path(path));
}

}  // namespace
