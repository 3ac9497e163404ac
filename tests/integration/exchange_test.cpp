// The command exchange on the serial and the HID link from one table: bytes on the wire, the bounds of
// the search for the start byte and of a cut reply, bounds on what a reply may declare.
#include "core/exchange.h"
#include "core/library_lock.h"
#include "core/state.h"
#include "platform/clock.h"
#include "support/sim_session.h"

#include <vector>

using vnr::test::Link;
using vnr::test::SimSessionOnEachLink;
using Bytes = std::vector<std::uint8_t>;

namespace {

class Exchange : public SimSessionOnEachLink {
protected:
    // One exchange through send_cmd_vn3x, with the library lock held as an exported function holds it.
    std::int16_t exchange(const Bytes& command, std::size_t reply_room = 300) {
        reply.assign(reply_room + 16, 0xEE);  // 16 guard bytes behind the room
        const vnr::core::LibraryGuard guard;
        return vnr::core::send_cmd_vn3x(icdev, static_cast<std::int32_t>(command.size()), command.data(),
                                        &reply_length, std::span(reply).first(reply_room));
    }
    void canned(const Bytes& command, std::uint16_t status, Bytes data = {}) {
        reader.add_reply(vnrsim::CannedReply{command, status, std::move(data), std::nullopt, std::nullopt});
    }
    void canned_raw(const Bytes& command, Bytes raw) {
        reader.add_reply(vnrsim::CannedReply{command, 0, {}, std::move(raw), std::nullopt});
    }
    bool guard_intact(std::size_t room) const {
        for (std::size_t i = room; i < reply.size(); ++i)
            if (reply[i] != 0xEE) return false;
        return true;
    }
    void TearDown() override {
        vnr::core::set_comm_timeout(vnr::core::kStandingTimeoutMs, vnr::core::kStandingDelayMs);
        vnr::core::set_trans_mode(vnr::core::kSplitForm);
        SimSessionOnEachLink::TearDown();
    }
    // What the reader took off the wire: the bytes on the serial link, the frame bytes of the first
    // report (behind its id, without the padding) on the HID link.
    Bytes wire_received(std::size_t frame_length) const {
        if (link == Link::serial) return reader.raw_received();
        const auto reports = hid->reports_received();
        if (reports.empty()) return {};
        return Bytes(reports.front().begin() + 1, reports.front().begin() + 1 + frame_length);
    }

    Bytes reply;
    std::uint32_t reply_length = 99;
};

TEST_P(Exchange, CommandGoesOutInTheSplitFormAndPlainWhenAsked) {
    ASSERT_EQ(exchange({0x31, 0x11, 0x01}), VNR_OK);
    EXPECT_EQ(wire_received(14),
              (Bytes{0x02, 0x30, 0x30, 0x30, 0x33, 0x33, 0x31, 0x31, 0x31, 0x30, 0x31, 0x32, 0x31, 0x03}));
    if (hid) {  // one report of id 6, padded with zeros to the report length
        ASSERT_EQ(hid->reports_received().size(), 1u);
        const Bytes report = hid->reports_received().front();
        EXPECT_EQ(report[0], 0x06);
        EXPECT_EQ(Bytes(report.begin() + 15, report.end()), Bytes(256 - 15, 0x00));
    }
    reader.clear_history();
    if (hid) hid->clear_history();
    vnr::core::set_trans_mode(0);
    ASSERT_EQ(exchange({0x31, 0x11, 0x01}), VNR_OK);
    EXPECT_EQ(wire_received(8), (Bytes{0x02, 0x00, 0x03, 0x31, 0x11, 0x01, 0x21, 0x03}));
}

TEST_P(Exchange, DataUpToTheRoomIsTakenAndOneByteMoreIsRefusedWithoutWritingPastIt) {
    canned({0x50, 0x00}, 0x0000);
    EXPECT_EQ(exchange({0x50, 0x00}), VNR_OK);
    EXPECT_EQ(reply_length, 0u);
    canned({0x50, 0x01}, 0x0000, Bytes(300, 0x5A));
    EXPECT_EQ(exchange({0x50, 0x01}, 300), VNR_OK);
    EXPECT_EQ(reply_length, 300u);
    EXPECT_EQ(reply[299], 0x5A);
    EXPECT_TRUE(guard_intact(300));
    canned({0x50, 0x02}, 0x0000, Bytes(301, 0x5A));
    EXPECT_EQ(exchange({0x50, 0x02}, 300), VNR_E_END_BYTE);
    EXPECT_EQ(reply_length, 0u);
    EXPECT_TRUE(guard_intact(300));
    EXPECT_EQ(reply[1], 0xEE);  // only the first byte was zeroed on entry
}

// A frame's own faults (LEN below 2, a wrong check byte) are frame_test.cpp's; here what the link adds.
TEST_P(Exchange, MalformedRepliesFromAHostileReader) {
    // A declared length larger than any frame: refused at once, without waiting for its bytes.
    canned_raw({0x60, 0x01}, {0x02, 0x3F, 0x3F, 0x3F, 0x3F, 0x30});
    vnr::core::set_comm_timeout(2000, 0);
    const auto start = vnr::platform::tick_ms();
    EXPECT_EQ(exchange({0x60, 0x01}), VNR_E_END_BYTE);
    EXPECT_LT(vnr::platform::tick_ms() - start, 1000u);
    EXPECT_EQ(reply_length, 0u);
}

TEST_P(Exchange, EveryFaultGivesItsStatusAndTheNextExchangeRecovers) {
    vnr::core::set_comm_timeout(300, 0);
    struct Case { vnrsim::Fault fault; std::optional<std::size_t> bytes; int expected; };
    // The start byte is looked for in ten bytes on the serial link, and in the first 255 bytes of ten
    // reports (253 reply bytes each in the split form) on the HID link. A wrong check or end byte and
    // silence, each against every family, are tests/robust's (faults_test.cpp, the waits in waits_test.cpp).
    const bool serial = link == Link::serial;
    for (const Case c : {Case{vnrsim::Fault::noise, 9, VNR_OK},
                         Case{vnrsim::Fault::noise, serial ? 10u : 252u, serial ? VNR_E_NO_START : VNR_OK},
                         Case{vnrsim::Fault::noise, serial ? 10u : 2529u, serial ? VNR_E_NO_START : VNR_OK},
                         Case{vnrsim::Fault::noise, serial ? 10u : 2530u, VNR_E_NO_START},
                         Case{vnrsim::Fault::cut, 3, VNR_E_NO_REPLY},
                         // A cut inside the one report of a short reply leaves zeros where the frame's
                         // end should be: the report came, the frame in it is broken.
                         Case{vnrsim::Fault::cut, 9, serial ? VNR_E_NO_REPLY : VNR_E_END_BYTE}}) {
        reader.inject(c.fault, vnrsim::Times::once, c.bytes);
        EXPECT_EQ(exchange({0x31, 0x11, 0x01}), c.expected) << static_cast<int>(c.fault) << " " << c.bytes.value_or(0);
        if (c.expected != VNR_OK) {
            EXPECT_EQ(reply_length, 0u);
        }
        // Whatever the fault left on the line is purged before the next command; on the HID link
        // nothing drains a late answer, so the simulated device drops what is left, as a reset would.
        if (hid) hid->drop_pending();
        ASSERT_EQ(exchange({0x31, 0x11, 0x01}), VNR_OK);
        EXPECT_EQ(std::string(reply.begin(), reply.begin() + reply_length), "VNR-32 RF 2.05");
    }
}

TEST_P(Exchange, TheTimeOutRunsPerByteOrReportNotPerFrame) {
    // 2 x 900 + 8 bytes take about 1.9 s at 9600 baud, or in 8 reports 270 ms apart: far longer than
    // the 300 ms time-out, but no byte or report is more than 300 ms behind the one before it.
    canned({0x32, 0x50}, 0x0000, Bytes(900, 0x41));
    if (link == Link::serial) {
        reader.set_baud(9600);
    } else {
        ASSERT_EQ(device_close(icdev), VNR_OK);
        bus.unplug(hid_path);
        other_hid.emplace(reader, vnrsim::HidOptions{256, std::chrono::milliseconds(0),
                                                     std::chrono::milliseconds(270), {}});
        bus.add_reader(*other_hid);
        icdev = device_open(0, 115200);
        ASSERT_GT(icdev, 1);
    }
    vnr::core::set_comm_timeout(300, 0);
    const auto start = vnr::platform::tick_ms();
    EXPECT_EQ(exchange({0x32, 0x50}, 1000), VNR_OK);
    EXPECT_EQ(reply_length, 900u);
    EXPECT_GE(vnr::platform::tick_ms() - start, 1800u);
}

TEST_P(Exchange, AHungUpLineFailsAtOnceUntilTheReaderIsOpenedAgain) {
    reader.inject(vnrsim::Fault::hangup, vnrsim::Times::always);
    if (server)
        for (int i = 0; i < 100 && !server->slave_path().empty(); ++i) vnr::platform::sleep_us(10'000);
    const auto start = vnr::platform::tick_ms();
    const std::int16_t status = exchange({0x31, 0x11, 0x00});
    EXPECT_LT(vnr::platform::tick_ms() - start, 200u);
    if (link == Link::serial) {
        EXPECT_TRUE(status == VNR_E_PORT_WRITE || status == VNR_E_PORT_READ) << status;
    } else {
        EXPECT_EQ(status, VNR_E_GENERAL);  // three refused reports
    }
    reader.clear_faults();
    if (server)
        for (int i = 0; i < 100 && server->slave_path().empty(); ++i) vnr::platform::sleep_us(10'000);
    EXPECT_EQ(device_close(icdev), VNR_OK);
    icdev = device_open(0, 115200);
    ASSERT_GT(icdev, 1);
    EXPECT_EQ(exchange({0x31, 0x11, 0x00}), VNR_OK);
}

INSTANTIATE_TEST_SUITE_P(OnEachLink, Exchange, ::testing::Values(Link::serial, Link::hid), vnr::test::link_name);

}  // namespace
