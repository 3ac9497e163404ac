// The session without a reader: what device_open, device_open_name, device_close, device_gettype and
// device_version give before anything reaches a wire, and the serial port's open failures.
#include "support/temp_prefix.h"
#include "vnr_32.h"

#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>

using vnr::test::TempPrefix;

namespace {

class SessionWithoutReader : public ::testing::Test {
protected:
    TempPrefix prefix;
};

TEST_F(SessionWithoutReader, PortIndexOutsideRangeIsRefused) {
    EXPECT_EQ(device_open(32, 9600), VNR_E_PORT_INDEX);
    EXPECT_EQ(device_open(-1, 9600), VNR_E_PORT_INDEX);  // low byte 0xFF
    uint8_t kind = 0x55;
    EXPECT_EQ(device_gettype(&kind), VNR_OK);
    EXPECT_EQ(kind, 0);  // the serial road was tried
}

TEST_F(SessionWithoutReader, PortFailuresGiveTheirCodes) {
    // COM1 missing: the mapped name does not exist and neither may /dev/ttyS0 on a build machine;
    // make COM1 point at nothing so the result does not depend on the machine.
    prefix.map_com(1, prefix.root() / "nothing-here");
    EXPECT_EQ(device_open(0, 9600), VNR_E_PORT_OPEN);
    // A folder cannot be opened as a port.
    prefix.map_com(1, prefix.root());
    EXPECT_EQ(device_open(0, 9600), VNR_E_PORT_OPEN);
    // A plain file opens, but has no line state to read.
    std::ofstream(prefix.root() / "plain.txt") << "not a port";
    prefix.map_com(1, prefix.root() / "plain.txt");
    EXPECT_EQ(device_open(0, 9600), VNR_E_PORT_STATE);
    // Port 256 has a low byte of 0 and opens COM1 too.
    EXPECT_EQ(device_open(256, 9600), VNR_E_PORT_STATE);
    EXPECT_EQ(device_open_name("com7", 0, 4800), VNR_E_PORT_STATE);  // the digits of the name are not used
}

// Held by another process, not only by this library: the lock is the system's, as on Windows.
TEST_F(SessionWithoutReader, PortHeldByAnotherOpenerIsAccessDenied) {
    std::ofstream(prefix.root() / "held") << "";
    prefix.map_com(2, prefix.root() / "held");
    const int fd = ::open((prefix.root() / "held").c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(device_open(1, 9600), VNR_E_PORT_DENIED);
    ::close(fd);
    EXPECT_EQ(device_open(1, 9600), VNR_E_PORT_STATE);  // free again: now it fails further on
}

TEST_F(SessionWithoutReader, NamesOtherThanUsbAndComAreRefusedAndUnknownHandlesDoNotClose) {
    EXPECT_EQ(device_open_name("LPT1", 0, 9600), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(device_open_name("", 0, 9600), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(device_open_name(nullptr, 0, 9600), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(device_open_name("CO", 0, 9600), VNR_E_BAD_ARGUMENT);
    // USB in any case, whatever follows: no USB reader here, so 0.
    EXPECT_EQ(device_open_name("usbHID", 40, 1), 0);
    EXPECT_EQ(device_open_name("USB", 0, 9600), 0);
    for (const int32_t never_opened : {-1, 0, 12345}) EXPECT_EQ(device_close(never_opened), VNR_E_GENERAL);
}

TEST_F(SessionWithoutReader, VersionChecksHandleThenModuleBeforeTheWire) {
    uint8_t length = 0xEE;
    std::array<uint8_t, 100> text{};
    text.fill(0xAA);
    EXPECT_EQ(device_version(0, 0, &length, text.data()), VNR_E_BAD_HANDLE);
    EXPECT_EQ(length, 0);
    length = 0xEE;
    EXPECT_EQ(device_version(-1, 9, &length, text.data()), VNR_E_BAD_HANDLE);
    EXPECT_EQ(device_version(5000, 2, &length, text.data()), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(text[0], 0xAA);
    EXPECT_EQ(device_version(5000, 0, nullptr, text.data()), VNR_E_BAD_ARGUMENT);
    // After a serial attempt the exchange goes by the serial link, where a made-up handle reaches no
    // device: the write fails as on a stale system handle.
    EXPECT_EQ(device_open(40, 9600), VNR_E_PORT_INDEX);
    EXPECT_EQ(device_version(5000, 0, &length, text.data()), VNR_E_PORT_WRITE);
}

}  // namespace
