// Readers as uhid devices of a real kernel, opened through the hidraw backend by exported functions
// only: several readers at once, and one unplugged in the middle of an exchange.
#include "vnr_32.h"
#include "vnrsim/hid_reader.h"
#include "vnrsim/reader.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/uhid.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kVersionSize = 100;

// The reader's report descriptor: vendor page, report 6 with a 64-byte input report and 255 feature bytes.
const std::vector<std::uint8_t> kDescriptor{0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00,
                                            0x75, 0x08, 0x85, 0x06, 0x95, 0x40, 0x09, 0x02, 0x81, 0x02, 0x95, 0xFF,
                                            0x09, 0x03, 0xB1, 0x02, 0xC0};

// One reader plugged into this kernel's USB bus: the simulated reader behind a uhid device. Unplugged
// when destroyed, or at once by unplug(), or as the reader takes its next command (unplug_on_command()).
class UhidReader {
public:
    UhidReader(std::uint16_t product, const std::string& version) : fd_(::open("/dev/uhid", O_RDWR | O_CLOEXEC)) {
        if (fd_ < 0) return;
        reader_.set_version(0, version);
        name_ = "vnr32 virtual reader " + version;
        uhid_event create{};
        create.type = UHID_CREATE2;
        std::snprintf(reinterpret_cast<char*>(create.u.create2.name), sizeof create.u.create2.name, "%s", name_.c_str());
        create.u.create2.rd_size = std::uint16_t(kDescriptor.size());
        create.u.create2.bus = BUS_USB;
        create.u.create2.vendor = vnrsim::kReaderVendorId;
        create.u.create2.product = product;
        std::memcpy(create.u.create2.rd_data, kDescriptor.data(), kDescriptor.size());
        if (::write(fd_, &create, sizeof create) != ssize_t(sizeof create)) return;
        plugged_ = true;
        service_ = std::jthread([this](std::stop_token stop) { serve(stop); });
    }
    ~UhidReader() {
        service_ = {};  // stopped and joined before the device goes
        unplug();
        if (fd_ >= 0) ::close(fd_);
    }
    UhidReader(const UhidReader&) = delete;
    UhidReader& operator=(const UhidReader&) = delete;

    bool plugged() const { return plugged_; }

    void unplug() {
        if (!plugged_.exchange(false)) return;
        uhid_event destroy{};
        destroy.type = UHID_DESTROY;
        [[maybe_unused]] const ssize_t written = ::write(fd_, &destroy, sizeof destroy);
    }
    void unplug_on_command() { unplug_on_command_ = true; }

    // The hidraw node the kernel made for this reader; empty when none came within two seconds.
    std::string node() const {
        for (int tries = 0; tries < 40; ++tries) {
            std::error_code error;
            for (std::filesystem::directory_iterator entry("/sys/class/hidraw", error), end; !error && entry != end;
                 entry.increment(error)) {
                std::ifstream uevent(entry->path() / "device" / "uevent");
                for (std::string line; std::getline(uevent, line);)
                    if (line == "HID_NAME=" + name_) return "/dev/" + entry->path().filename().string();
            }
            std::this_thread::sleep_for(50ms);
        }
        return {};
    }

private:
    void serve(const std::stop_token& stop) {
        std::vector<std::uint8_t> report(hid_.feature_report_length());
        while (!stop.stop_requested() && plugged_) {
            pollfd watch{fd_, POLLIN, 0};
            uhid_event event{}, reply{};
            if (::poll(&watch, 1, 20) <= 0 || ::read(fd_, &event, sizeof event) <= 0) continue;
            if (event.type == UHID_SET_REPORT) {
                if (unplug_on_command_) {  // the cable comes out as the command goes in: no answer ever
                    unplug();
                    return;
                }
                const auto& set = event.u.set_report;
                const std::size_t size = std::min<std::size_t>(set.size, UHID_DATA_MAX);
                const bool taken = set.rtype == UHID_FEATURE_REPORT && hid_.set_feature({set.data, size});
                reply.type = UHID_SET_REPORT_REPLY;
                reply.u.set_report_reply = {set.id, std::uint16_t(taken ? 0 : EIO)};
            } else if (event.type == UHID_GET_REPORT) {
                auto& answer = reply.u.get_report_reply;
                reply.type = UHID_GET_REPORT_REPLY;
                answer.id = event.u.get_report.id;
                report.assign(report.size(), 0);
                report[0] = event.u.get_report.rnum;
                const bool ready = event.u.get_report.rtype == UHID_FEATURE_REPORT && hid_.get_feature(report);
                answer.err = ready ? 0 : EIO;  // nothing ready: refused, as the reader stalls such a request
                if (ready) {
                    answer.size = std::uint16_t(report.size());
                    std::memcpy(answer.data, report.data(), report.size());
                }
            } else {
                continue;  // start, open, close, output: nothing to answer
            }
            [[maybe_unused]] const ssize_t written = ::write(fd_, &reply, sizeof reply);
        }
    }

    int fd_;
    std::string name_;
    std::atomic<bool> plugged_{false};
    std::atomic<bool> unplug_on_command_{false};
    vnrsim::Reader reader_;
    vnrsim::HidReader hid_{reader_};
    std::jthread service_;
};

std::string version_of(std::int32_t handle) {
    std::uint8_t length = 0;
    std::uint8_t text[kVersionSize] = {};
    const std::int16_t status = device_version(handle, 0, &length, text);
    return status == VNR_OK ? std::string(reinterpret_cast<char*>(text), length) : "status " + std::to_string(status);
}

class VirtualReaders : public ::testing::Test {
protected:
    void SetUp() override {
        if (::access("/dev/uhid", R_OK | W_OK) != 0)
            GTEST_SKIP() << "/dev/uhid cannot be opened here (" << std::strerror(errno) << "): run scripts/vm-tests.sh";
    }
    // Plugs a reader in and waits for the kernel to show it.
    UhidReader& plug(std::uint16_t product, const std::string& version) {
        readers_.push_back(std::make_unique<UhidReader>(product, version));
        UhidReader& reader = *readers_.back();
        EXPECT_TRUE(reader.plugged());
        EXPECT_FALSE(reader.node().empty()) << "no hidraw node for " << version;
        return reader;
    }
    std::vector<std::unique_ptr<UhidReader>> readers_;
};

TEST_F(VirtualReaders, EachReaderIsOpenedOnceAndAnswersOnItsOwnHandle) {
    plug(vnrsim::kReaderProductA, "first");
    plug(vnrsim::kReaderProductB, "second");
    const std::int32_t one = device_open_name("USB", 0, 115200);
    const std::int32_t two = device_open_name("USB", 0, 115200);
    ASSERT_GT(one, 1);
    ASSERT_GT(two, 1);
    // A held reader is passed over: the second search found the other one.
    std::vector<std::string> versions{version_of(one), version_of(two)};
    std::sort(versions.begin(), versions.end());
    EXPECT_EQ(versions, (std::vector<std::string>{"first", "second"}));
    std::uint8_t kind = 0xFF;
    device_gettype(&kind);
    EXPECT_EQ(kind, 1);
    // A third search finds none free. (A failed open sets the process-wide link to none, as the library
    // always has: the handles serve again after the next open that succeeds.)
    EXPECT_EQ(device_open_name("USB", 0, 115200), 0);
    EXPECT_EQ(device_close(one), VNR_OK);
    EXPECT_EQ(device_close(two), VNR_OK);
}

TEST_F(VirtualReaders, ReaderUnpluggedMidExchangeFailsTheCallAndLeavesTheOtherUsable) {
    UhidReader& leaving = plug(vnrsim::kReaderProductA, "leaving");
    const std::int32_t handle = device_open_name("USB", 0, 115200);
    ASSERT_GT(handle, 1);
    const std::string node = leaving.node();
    leaving.unplug_on_command();
    const auto start = std::chrono::steady_clock::now();
    // The command's report is refused by the vanished device (or its reply never comes): a failure status.
    EXPECT_EQ(version_of(handle).rfind("status -", 0), 0u);
    // Within the standing 2000 ms wait and a margin: the library does not hang on a vanished node.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
    bool gone = false;
    for (int tries = 0; tries < 40 && !gone; ++tries, std::this_thread::sleep_for(50ms)) gone = !std::filesystem::exists(node);
    EXPECT_TRUE(gone) << "the kernel took " << node << " away";
    device_close(handle);  // whatever the system says of a vanished device, the handle is given up

    plug(vnrsim::kReaderProductA, "staying");
    const std::int32_t again = device_open_name("USB", 0, 115200);
    ASSERT_GT(again, 1);
    EXPECT_EQ(version_of(again), "staying");
    EXPECT_EQ(device_close(again), VNR_OK);
}

}  // namespace

// `vnr_vm_tests --serve-reader SECONDS`: plugs one reader in, prints its node and serves it that long, for
// the scripts that look at a real node (vnr doctor in scripts/vm-tests.sh).
int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--serve-reader") == 0) {
        UhidReader reader(vnrsim::kReaderProductA, "VNR-32 uhid");
        if (!reader.plugged()) return 1;
        std::printf("%s\n", reader.node().c_str());
        std::fflush(stdout);
        std::this_thread::sleep_for(std::chrono::seconds(std::atoi(argv[2])));
        return 0;
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
