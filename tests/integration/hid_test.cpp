// The USB road on the simulated HID bus: discovery and its order, interfaces passed over, replies sliced
// across reports, and a report of another id.
#include "core/exchange.h"
#include "core/library_lock.h"
#include "core/link/hid_link.h"
#include "core/state.h"
#include "platform/clock.h"
#include "support/sim_session.h"

#include <array>
#include <vector>

using vnr::test::SimHidProvider;
using vnr::test::TempPrefix;
using Bytes = std::vector<std::uint8_t>;

namespace {

vnrsim::Deck deck_named(const std::string& version) {
    vnrsim::Deck deck;
    deck.reader_version = version;
    deck.contactless_version = version + " RF";
    return deck;
}

std::string version_of(int32_t icdev) {
    uint8_t length = 0;
    uint8_t text[100] = {};
    if (device_version(icdev, 0, &length, text) != VNR_OK) return "(failed)";
    return std::string(reinterpret_cast<const char*>(text), length);
}

class HidRoad : public ::testing::Test {
protected:
    void TearDown() override {
        for (const int32_t handle : opened)
            if (handle > 1) device_close(handle);
    }
    int32_t open(int32_t handle) {
        opened.push_back(handle);
        return handle;
    }

    TempPrefix prefix;  // no COM port mapped: the serial road finds nothing it can use
    vnrsim::Reader first{deck_named("first")};
    vnrsim::Reader second{deck_named("second")};
    vnrsim::HidReader first_hid{first};
    vnrsim::HidReader second_hid{second, vnrsim::HidOptions{301, {}, {}, {}}};
    vnrsim::HidBus bus;
    SimHidProvider provider{bus};
    std::vector<int32_t> opened;
};

TEST_F(HidRoad, ProductOneIsTakenBeforeProductTwoWhateverTheOrder) {
    vnrsim::Reader late{deck_named("0213")};
    vnrsim::Reader early{deck_named("0219")};
    vnrsim::HidReader late_hid{late}, early_hid{early};
    bus.add_device(0x1234, 0x5678, 65);                                // another device
    bus.add_reader(early_hid, vnrsim::kReaderProductB);
    bus.add_device(vnrsim::kReaderVendorId, vnrsim::kReaderProductA);  // the right ids, no feature reports
    bus.add_reader(late_hid, vnrsim::kReaderProductA);
    const int32_t a = open(device_open(99, 9600));  // the port is not looked at with a USB reader present
    ASSERT_GT(a, 1);
    EXPECT_EQ(version_of(a), "0213");
    uint8_t kind = 0;
    device_gettype(&kind);
    EXPECT_EQ(kind, 1);
    // The 0213 interface is held now: a second search passes it over and takes 0219.
    const int32_t b = open(device_open_name("usb", 0, 0));
    ASSERT_GT(b, 1);
    EXPECT_EQ(version_of(b), "0219");
    // Both held: nothing left on USB.
    EXPECT_EQ(device_open_name("USB", 0, 0), 0);
}

TEST_F(HidRoad, AReportLongerThanTheBufferIsNotServed) {
    bus.add_reader(second_hid);  // 301-byte reports
    EXPECT_EQ(device_open_name("USB", 0, 9600), 0);
    EXPECT_EQ(vnr::core::link_state().com_mode.load(), vnr::core::kLinkNone);
    bus.add_reader(first_hid, vnrsim::kReaderProductB);
    EXPECT_GT(open(device_open_name("USB", 0, 9600)), 1);
    EXPECT_EQ(vnr::core::link_state().feature_report_length.load(), 256);
}

class HidSlicing : public vnr::test::SimSessionBase {
protected:
    void SetUp() override { open_on(vnr::test::Link::hid); }
    // Sends 50 00 with a raw reply of `noise` bytes of 0x55 and then the plain frame of `data` bytes.
    std::int16_t exchange_raw(std::size_t noise, std::size_t data, std::uint32_t& length) {
        Bytes payload{0x00, 0x00};
        payload.resize(2 + data, 0x41);
        Bytes raw(noise, 0x55);
        const Bytes frame = vnrsim::encode_frame(payload, vnrsim::Form::plain);
        raw.insert(raw.end(), frame.begin(), frame.end());
        reader.clear_replies();
        reader.add_reply(vnrsim::CannedReply{{0x50, 0x00}, 0, {}, raw, std::nullopt});
        reader.set_form(vnrsim::Form::plain);  // slices of 254 bytes
        hid->clear_history();
        const Bytes command{0x50, 0x00};
        const vnr::core::LibraryGuard guard;
        return vnr::core::send_cmd_vn3x(icdev, 2, command.data(), &length, reply);
    }
    std::array<std::uint8_t, 2000> reply{};
};

TEST_F(HidSlicing, FramesAreTakenAcrossReportsByTheirDeclaredLength) {
    struct Case {
        std::size_t noise;
        std::size_t data;     // the plain frame is data + 7 bytes
        std::uint64_t reports;
    };
    for (const Case c : {Case{10, 243, 2},    // start byte at 10, 250-byte frame: 244 + 6
                         Case{0, 247, 1},     // exactly 254 wire bytes: one report
                         Case{0, 248, 2},     // 255: a second report with one frame byte
                         Case{0, 1500, 6},    // 1507 bytes in six reports
                         Case{251, 20, 2},    // the head begins in one report and ends in the next
                         Case{253, 20, 2}}) { // the start byte is the first report's last frame byte
        std::uint32_t length = 0;
        EXPECT_EQ(exchange_raw(c.noise, c.data, length), VNR_OK) << c.noise << "+" << c.data;
        EXPECT_EQ(length, c.data);
        EXPECT_EQ(reply[c.data - 1], 0x41);
        EXPECT_EQ(hid->stats().gets_answered, c.reports) << c.noise << "+" << c.data;
    }
}

TEST_F(HidSlicing, AReadTimeOutOfZeroGivesUpBeforeAskingTheDevice) {
    vnr::core::set_comm_timeout(0, 0);
    std::uint32_t length = 0;
    EXPECT_EQ(exchange_raw(0, 10, length), VNR_E_NO_REPLY);
    EXPECT_EQ(hid->stats().gets_answered + hid->stats().gets_refused, 0u);
    vnr::core::set_comm_timeout(vnr::core::kStandingTimeoutMs, vnr::core::kStandingDelayMs);
}

// A device whose get succeeds with another report id: the report is not taken, and the wait ends in
// a time-out.
class OtherIdDevice final : public vnr::platform::HidDevice {
public:
    explicit OtherIdDevice(int& gets) : gets_(gets) {}
    std::uint16_t vendor_id() const noexcept override { return 0x23A4; }
    std::uint16_t product_id() const noexcept override { return 0x0213; }
    std::size_t feature_report_length() const noexcept override { return 256; }
    bool set_feature(std::span<const std::uint8_t>) noexcept override { return true; }
    bool get_feature(std::span<std::uint8_t> report) noexcept override {
        report[0] = 5;
        report[1] = 0x02;
        ++gets_;
        return true;
    }
    bool close() noexcept override { return true; }

private:
    int& gets_;  // kept by the provider: the library closes and destroys the device
};

class OneDeviceProvider final : public vnr::platform::HidProvider {
public:
    OneDeviceProvider() { vnr::platform::install_hid_provider(this); }
    ~OneDeviceProvider() override { vnr::platform::install_hid_provider(nullptr); }
    bool interface_path(unsigned index, std::string& path) override {
        path = "other-id";
        return index == 0;
    }
    std::unique_ptr<vnr::platform::HidDevice> open(const std::string&, vnr::platform::HidOpenError&) override {
        ++opens;
        return std::make_unique<OtherIdDevice>(gets);
    }
    int opens = 0;
    int gets = 0;
};

TEST(HidReports, AReportWithAnotherIdIsNotReady) {
    const TempPrefix prefix;
    OneDeviceProvider provider;
    const auto start = vnr::platform::tick_ms();
    EXPECT_EQ(device_open_name("USB", 0, 0), 0);  // the version query never gets its report
    const auto waited = vnr::platform::tick_ms() - start;
    EXPECT_GE(waited, 100u);
    EXPECT_GE(provider.opens, 1);
    EXPECT_GT(provider.gets, 10);  // asked again and again
}

}  // namespace
