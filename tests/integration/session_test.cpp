// The session against the simulated reader: opening, the version query, closing, the serial port held
// exclusively, and the log of a session. Threads sharing a handle are tests/robust's.
#include "core/state.h"
#include "platform/text.h"
#include "support/sim_session.h"

#include <filesystem>
#include <fstream>
#include <vector>

namespace fs = std::filesystem;
using vnr::test::SimSession;
using vnr::test::TempPrefix;
using Bytes = std::vector<std::uint8_t>;

namespace {

std::string version_of(int32_t icdev, uint8_t module) {
    uint8_t length = 0;
    uint8_t text[100] = {};
    device_version(icdev, module, &length, text);
    return std::string(reinterpret_cast<const char*>(text), length);
}

using Session = SimSession;

TEST_F(Session, VersionTextIsHandedOverAsTheReaderSentItInGbk) {
    uint8_t kind = 0xEE;
    EXPECT_EQ(device_gettype(&kind), VNR_OK);
    EXPECT_EQ(kind, 0) << "the serial link";
    EXPECT_EQ(vnr::core::link_state().read_timeout_ms.load(), vnr::core::kStandingTimeoutMs) << "the open's wait is over";
    std::string gbk;
    ASSERT_TRUE(vnr::platform::utf8_to_gbk("读写器 V2", gbk));
    reader.set_version(0, gbk);
    EXPECT_EQ(version_of(icdev, 0), gbk);
    // What a failed query writes (the count cleared, nothing else) is tests/robust/faults_test.cpp's.
}

TEST_F(Session, APortIsHeldExclusivelyWhileOpen) {
    EXPECT_EQ(device_open(0, 115200), VNR_E_PORT_DENIED);
    EXPECT_EQ(device_open_name("COM1", 0, 9600), VNR_E_PORT_DENIED);
    ASSERT_EQ(device_close(icdev), VNR_OK);
    // A closed handle cannot be closed twice; that it reaches no device is the made-up handle's case in
    // tests/unit/session_test.cpp.
    EXPECT_EQ(device_close(icdev), VNR_E_GENERAL);
    icdev = device_open_name("com", 0, 57600);
    EXPECT_GT(icdev, 1);
}

TEST_F(Session, OpenOfAPortWithoutAnsweringReaderGivesZeroAndReleasesThePort) {
    ASSERT_EQ(device_close(icdev), VNR_OK);
    icdev = 0;
    reader.inject(vnrsim::Fault::silence, vnrsim::Times::always);
    EXPECT_EQ(device_open(0, 115200), 0);  // after the version query's 100 ms: tests/robust/waits_test.cpp
    uint8_t kind = 0xEE;
    device_gettype(&kind);
    EXPECT_EQ(kind, 0);
    EXPECT_EQ(vnr::core::link_state().com_mode.load(), vnr::core::kLinkSerial);  // the link that was tried
    reader.clear_faults();
    icdev = device_open(0, 115200);  // the port was closed again: it opens
    EXPECT_GT(icdev, 1);
}

TEST_F(Session, ReSetupCommTakesTheLongTimeOutsOnAnOpenPortOnly) {
    EXPECT_EQ(ReSetupComm(icdev), 0);
    EXPECT_EQ(version_of(icdev, 1), "VNR-32 RF 2.05");
    EXPECT_EQ(ReSetupComm(0x7777), 1);
    EXPECT_EQ(ReSetupComm(-1), 1);
}

class LoggedSession : public SimSession {
protected:
    void SetUp() override {
        prefix.enable_log();
        SimSession::SetUp();
    }
};

TEST_F(LoggedSession, ASessionLeavesItsLinesInOrder) {
    version_of(icdev, 0);
    ASSERT_EQ(device_close(icdev), VNR_OK);
    const std::string handle = std::to_string(icdev);
    icdev = 0;
    const std::string log = log_text(prefix);
    const std::vector<std::string> expected{
        "| ==> device_open(), port = [0], baud = [115200]\n",
        "| ---open succed ,device get version---\n",
        "| ---device get version---\n",
        " ==> send_cmd_vn3x(), TansMode:1,nComMode: 2, Send: 311101.\r\n",
        " ==> send_cmd_vn3x(), TansMode:1,nComMode: 2, receive: 0200100000564E522D33322052462032",
        " ==> send_cmd_vn3x() ok.\r\n",
        "| <== device_open(), hDev = [" + handle + "]\n",
        " ==> send_cmd_vn3x(), TansMode:1,nComMode: 2, Send: 311100.\r\n",
        "| ==> device_close, icdev = [" + handle + "]\n",
        "| <== device_close Succed\n",
    };
    std::size_t at = 0;
    for (const std::string& line : expected) {
        const std::size_t found = log.find(line, at);
        ASSERT_NE(found, std::string::npos) << "missing or out of order: " << line << "\n" << log;
        at = found + line.size();
    }
    std::string success;
    ASSERT_TRUE(vnr::platform::utf8_to_gbk("| ==> 获取读写器版本信息成功!\n", success));
    EXPECT_NE(log.find(success), std::string::npos);
}

}  // namespace
