// The hidraw backend: enumeration; open, transfers and close against a stand-in for the kernel's hidraw
// ioctls. The same backend against a real kernel's uhid readers is tests/vm's.
#include "platform/hid_device.h"
#include "platform/posix/hidraw_nodes.h"
#include "platform/posix/unique_fd.h"
#include "support/temp_prefix.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/hidraw.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

namespace fs = std::filesystem;
using namespace vnr::platform;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kVendor = 0x23A4;
constexpr std::uint16_t kProduct = 0x0213;
constexpr std::uint8_t kReportId = 6;
constexpr std::size_t kReportLength = 256;  // 255 feature bytes and the id byte

// The reader's descriptor: vendor page, report 6 with a 64-byte input report and 255 feature bytes.
const Bytes kReaderDescriptor{0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08,
                              0x85, 0x06, 0x95, 0x40, 0x09, 0x02, 0x81, 0x02, 0x95, 0xFF, 0x09, 0x03, 0xB1, 0x02, 0xC0};

Bytes report_of(std::uint8_t first_data_byte) {
    Bytes report(kReportLength);
    report[0] = kReportId;
    for (std::size_t i = 1; i < kReportLength; ++i) report[i] = std::uint8_t(first_data_byte + i);
    return report;
}

// One hidraw interface as its ioctls show it, standing behind a plain file.
struct FakeHidraw {
    std::int16_t vendor = std::int16_t(kVendor);  // signed, as struct hidraw_devinfo carries them
    std::int16_t product = std::int16_t(kProduct);
    Bytes descriptor = kReaderDescriptor;
    int get_error = 0;                   // errno of a refused get; 0: gets go through
    Bytes answer;                        // what a get gives, id byte first; may be shorter than asked
    std::vector<Bytes> sets;             // each set's bytes, as many as its request announced
    std::vector<std::size_t> get_lengths;  // each get's announced length
    dev_t device = 0;  // and inode: the file it stands behind
    ino_t inode = 0;
};

FakeHidraw* fake = nullptr;

int fake_ioctl(FakeHidraw& f, unsigned long request, void* argument) {
    const std::size_t length = _IOC_SIZE(request);
    auto* buffer = static_cast<std::uint8_t*>(argument);
    if (request == HIDIOCGRAWINFO) {
        *static_cast<hidraw_devinfo*>(argument) = {BUS_USB, f.vendor, f.product};
    } else if (request == HIDIOCGRDESCSIZE) {
        *static_cast<int*>(argument) = int(f.descriptor.size());
    } else if (request == HIDIOCGRDESC) {
        auto* descriptor = static_cast<hidraw_report_descriptor*>(argument);
        std::memcpy(descriptor->value, f.descriptor.data(), std::min<std::size_t>(descriptor->size, f.descriptor.size()));
    } else if (request == HIDIOCSFEATURE(length)) {
        f.sets.emplace_back(buffer, buffer + length);
        return int(length);
    } else if (request == HIDIOCGFEATURE(length)) {
        f.get_lengths.push_back(length);
        if (f.get_error != 0) return errno = f.get_error, -1;
        const std::size_t count = std::min(length, f.answer.size());
        std::copy_n(f.answer.begin(), count, buffer);
        return int(count);
    } else {
        return errno = ENOTTY, -1;
    }
    return 0;
}

}  // namespace

// Takes the place of the C library's ioctl in this test program: requests on the file the fake stands
// behind go to the fake, all others to the kernel unchanged.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    struct stat status {};
    if (fake && ::fstat(fd, &status) == 0 && status.st_dev == fake->device && status.st_ino == fake->inode)
        return fake_ioctl(*fake, request, argument);
    return int(::syscall(SYS_ioctl, fd, request, argument));
}

namespace {

vnr::platform::HidOpenError last_error = vnr::platform::HidOpenError::none;

std::unique_ptr<vnr::platform::HidDevice> open_node(const std::string& path) {
    return open_hid_path(path, last_error);
}

class HidrawBackend : public ::testing::Test {
protected:
    HidrawBackend() {
        std::ofstream{path};
        struct stat status {};
        ::stat(path.c_str(), &status);
        reader.device = status.st_dev;
        reader.inode = status.st_ino;
        fake = &reader;
    }
    ~HidrawBackend() override { fake = nullptr; }

    vnr::test::TempPrefix dir;
    std::string path = (dir.root() / "hidraw0").string();
    FakeHidraw reader;
};

TEST_F(HidrawBackend, OpenGivesTheIdsWholeAndReportSixLengthFromTheDescriptor) {
    auto device = open_node(path);
    ASSERT_TRUE(device);
    EXPECT_EQ(device->vendor_id(), kVendor);
    EXPECT_EQ(device->product_id(), kProduct);
    EXPECT_EQ(device->feature_report_length(), kReportLength);
    device.reset();

    // Ids with the high bit set arrive as negative numbers. Descriptors without a feature report are
    // hid_descriptor_test.cpp's.
    reader.vendor = std::int16_t(0xFEED);
    reader.product = std::int16_t(0x8001);
    device = open_node(path);
    ASSERT_TRUE(device);
    EXPECT_EQ(device->vendor_id(), 0xFEED);
    EXPECT_EQ(device->product_id(), 0x8001);
}

TEST_F(HidrawBackend, TransfersCarryTheWholeBufferAndRefusedGetsAreNotReady) {
    const auto device = open_node(path);
    ASSERT_TRUE(device);
    const Bytes out = report_of(0x10);
    ASSERT_TRUE(device->set_feature(out));
    EXPECT_EQ(reader.sets, std::vector<Bytes>{out});

    reader.answer = report_of(0x40);
    Bytes in = report_of(0xEE);
    ASSERT_TRUE(device->get_feature(in));
    EXPECT_EQ(reader.get_lengths, std::vector<std::size_t>{kReportLength});
    EXPECT_EQ(in, reader.answer);

    // A report shorter than the buffer: its bytes, then zeros, nothing of what the buffer held.
    reader.answer = {kReportId, 0x02, 0x31, 0x03};
    ASSERT_TRUE(device->get_feature(in));
    Bytes expected(kReportLength, 0x00);
    std::copy(reader.answer.begin(), reader.answer.end(), expected.begin());
    EXPECT_EQ(in, expected);

    for (const int error : {EPIPE, EIO, ETIMEDOUT, EPROTO})
        EXPECT_FALSE((reader.get_error = error, device->get_feature(in))) << std::strerror(error);
    reader.get_error = 0;
    reader.answer.clear();
    EXPECT_FALSE(device->get_feature(in)) << "a get of no bytes is no report";
}

TEST_F(HidrawBackend, OpenIsExclusiveAndCloseEndsEveryLaterCall) {
    auto first = open_node(path);
    ASSERT_TRUE(first);
    EXPECT_FALSE(open_node(path));
    EXPECT_TRUE(first->close());
    EXPECT_FALSE(first->close());
    Bytes in = report_of(0);
    reader.answer = in;
    EXPECT_FALSE(first->set_feature(in));
    EXPECT_FALSE(first->get_feature(in));
    EXPECT_TRUE(reader.sets.empty() && reader.get_lengths.empty());

    auto second = open_node(path);
    ASSERT_TRUE(second) << "free again after the close";
    EXPECT_FALSE(open_node(path));
    EXPECT_EQ(last_error, vnr::platform::HidOpenError::busy) << "held, not absent: vnr list tells the two apart";
    EXPECT_FALSE(open_node(path + "-gone"));
    EXPECT_EQ(last_error, vnr::platform::HidOpenError::absent);
    second.reset();
    EXPECT_TRUE(open_node(path)) << "free again after the destructor";
}

TEST(HidrawNodes, NodesComeByNumberAndOtherEntriesAreIgnored) {
    const vnr::test::TempPrefix dir;
    for (const char* name : {"hidraw10", "hidraw2", "hidraw0", "hidraw", "hidrawx", "hidraw3a", "hidraw-1", "uhid"})
        std::ofstream{dir.root() / name};
    fs::create_directory(dir.root() / "hidraw7");  // in sysfs the entries are links to folders
    EXPECT_EQ(hidraw_nodes(dir.root().string()),
              (std::vector<std::string>{"/dev/hidraw0", "/dev/hidraw2", "/dev/hidraw7", "/dev/hidraw10"}));
    EXPECT_TRUE(hidraw_nodes((dir.root() / "missing").string()).empty());
}

}  // namespace
