// The PC/SC driver where clients cannot easily reach it: status table, contactless ATR, capabilities
// into small buffers, secrets kept out of the log, presence polls that leave a powered card alone.
#include "driver.h"
#include "support/temp_prefix.h"
#include "vnr_32.h"
#include "vnrsim/control.h"
#include "vnrsim/deck.h"
#include "vnrsim/pty_server.h"
#include "vnrsim/reader.h"

extern "C" {
#include <ifdhandler.h>
}
#include <reader.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace {

std::string captured_log;

}  // namespace

// pcscd's log, which the driver writes to when it is there.
extern "C" void log_msg(const int, const char* format, ...) {
    char text[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    captured_log += text;
    captured_log += '\n';
}

namespace {

using vnr::pcsc::Bytes;

TEST(StatusTable, LibraryFailuresMeanTheSameEverywhereAndReaderStatusesTheOperationsOwn) {
    const struct { int status; long expected; } cases[] = {
        {VNR_OK, IFD_SUCCESS}, {VNR_E_NO_REPLY, IFD_RESPONSE_TIMEOUT}, {VNR_E_BAD_HANDLE, IFD_NO_SUCH_DEVICE},
        {VNR_E_CHECK_BYTE, IFD_COMMUNICATION_ERROR}, {VNR_E_PORT_READ, IFD_COMMUNICATION_ERROR},
        {VNR_E_PHOTO_PATH, IFD_COMMUNICATION_ERROR}, {-101, IFD_ERROR_POWER_ACTION},
        {-4099, IFD_ERROR_POWER_ACTION}, {28672, IFD_ERROR_POWER_ACTION},  // reader statuses 0x1003, 0x9000
    };
    for (const auto& c : cases) EXPECT_EQ(vnr::pcsc::ifd_code(c.status, IFD_ERROR_POWER_ACTION), c.expected) << c.status;
}

TEST(ContactlessAtr, HistoricalBytesOfTheAtsOrTheAtqbAndTheCheckByte) {
    const struct { bool type_b; Bytes ats, atr; } cases[] = {
        {false, {0x05, 0x78, 0x80, 0x70, 0x02}, {0x3B, 0x80, 0x80, 0x01, 0x01}},
        {false, {0x06, 0x75, 0x77, 0x81, 0x02, 0x80}, {0x3B, 0x81, 0x80, 0x01, 0x80, 0x80}},
        {false, {0x04, 0x00, 0xC1, 0xC2, 0xC3, 0xC4}, {0x3B, 0x82, 0x80, 0x01, 0xC1, 0xC2, 0x00}},  // TL bounds it
        {false, {}, {0x3B, 0x80, 0x80, 0x01, 0x01}},
        {true, {0x00, 0x00, 0x00, 0x00, 0x00, 0x81, 0x81},
         {0x3B, 0x88, 0x80, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x81, 0x81, 0x00, 0x09}},
    };
    for (const auto& c : cases) EXPECT_EQ(vnr::pcsc::contactless_atr(c.type_b, c.ats), c.atr);
    Bytes long_ats(20, 0x41);
    long_ats[0] = 20, long_ats[1] = 0x00;
    const Bytes atr = vnr::pcsc::contactless_atr(false, long_ats);
    ASSERT_EQ(atr.size(), 20u);  // 15 historical bytes at most
    EXPECT_EQ(atr[1], 0x8F);
}

TEST(DeviceNames, EachFormReachesItsRoad) {
    const vnr::test::TempPrefix prefix;
    prefix.map_com(3, "/dev/null");
    const struct { const char* name; bool found, usb; int port, baud; } cases[] = {
        {"usb:23a4/0213:libudev:0:/dev/bus/usb/001/004", true, true, 0, 0}, {"/dev/hidraw2", true, true, 0, 0},
        {"COM2", true, false, 1, 115200}, {"com1:9600", true, false, 0, 9600},
        {"/dev/ttyS4:38400", true, false, 4, 38400}, {"/dev/null", true, false, 2, 115200},  // through COM3's link
        {"COM33", false, false, 0, 0}, {"/dev/ttyUSB7", false, false, 0, 0}, {"COM1:fast", false, false, 0, 0},
    };
    for (const auto& c : cases) {
        const auto road = vnr::pcsc::road_of(c.name);
        ASSERT_EQ(road.has_value(), c.found) << c.name;
        if (!road) continue;
        EXPECT_EQ(road->usb, c.usb) << c.name;
        EXPECT_EQ(road->port, c.port) << c.name;
        EXPECT_EQ(road->baud, c.baud) << c.name;
    }
}

// The driver on the simulated reader of decks/cards.json, as COM1: the bank card in slot 0 (answers by
// 61xx), a SAM in slot 1, and the type A card "pay" to put into the field.
class Driver : public ::testing::Test {
protected:
    static constexpr DWORD kContact = 0, kField = 5;

    void SetUp() override {
        captured_log.clear();
        ASSERT_EQ(IFDHCreateChannelByName(kContact, const_cast<char*>("COM1")), IFD_SUCCESS);
    }
    void TearDown() override { IFDHCloseChannel(kContact); }

    Bytes power_up(DWORD lun) {
        UCHAR atr[MAX_ATR_SIZE];
        DWORD length = sizeof atr;
        EXPECT_EQ(IFDHPowerICC(lun, IFD_POWER_UP, atr, &length), IFD_SUCCESS);
        return Bytes(atr, atr + length);
    }
    Bytes transmit(DWORD lun, Bytes apdu) {
        UCHAR answer[300];
        DWORD length = sizeof answer;
        SCARD_IO_HEADER pci{SCARD_PROTOCOL_T0, 8};
        EXPECT_EQ(IFDHTransmitToICC(lun, pci, apdu.data(), static_cast<DWORD>(apdu.size()), answer, &length, nullptr),
                  IFD_SUCCESS);
        return Bytes(answer, answer + length);
    }
    // Runs `call` 20 times and prints the time of one.
    template <typename Call>
    static void print_time_of(const char* what, Call call) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < 20; ++i) call();
        const auto each = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start) / 20;
        std::printf("%s: %lld us\n", what, static_cast<long long>(each.count()));
    }
    void control(const std::string& line) { ASSERT_EQ(control_.execute(line).substr(0, 2), "ok") << line; }
    bool only_status_queries_since(std::size_t from) const {
        const auto commands = reader_.commands_received();
        for (std::size_t i = from; i < commands.size(); ++i)
            if (commands[i].size() < 2 || !((commands[i][0] == 0x32 && commands[i][1] == 0x21) || commands[i][0] == 0x40))
                return false;
        return true;
    }

    vnr::test::TempPrefix prefix;
    vnrsim::Reader reader_{vnrsim::Deck::load(VNR_TEST_DECKS "/cards.json")};
    vnrsim::Control control_{reader_};
    vnrsim::PtyServer server_{reader_, {{prefix.com(1)}, {}}};
};

const Bytes kSelectPse{0x00, 0xA4, 0x04, 0x00, 0x0E, '1', 'P', 'A', 'Y', '.', 'S', 'Y', 'S', '.', 'D', 'D', 'F', '0', '1'};

TEST_F(Driver, PresencePollsLeaveAPoweredCardsSessionAlone) {
    EXPECT_EQ(IFDHICCPresence(kContact), IFD_ICC_PRESENT);
    power_up(kContact);
    const Bytes first = transmit(kContact, kSelectPse);
    ASSERT_EQ(first.size(), 2u);
    ASSERT_EQ(first[0], 0x61);  // the answer waits for GET RESPONSE
    const std::size_t before = reader_.commands_received().size();
    print_time_of("presence poll", [] { ASSERT_EQ(IFDHICCPresence(kContact), IFD_ICC_PRESENT); });
    EXPECT_TRUE(only_status_queries_since(before));
    const Bytes rest = transmit(kContact, {0x00, 0xC0, 0x00, 0x00, first[1]});
    EXPECT_EQ(rest.size(), first[1] + 2u);  // the card still held its answer
    EXPECT_EQ(rest.back(), 0x00);

    print_time_of("direct APDU round trip", [&] { transmit(kContact, {0x00, 0xA4, 0x04, 0x00, 0x02, 0x3F, 0x00}); });

    control("contactless put pay");
    EXPECT_EQ(power_up(kField), (Bytes{0x3B, 0x80, 0x80, 0x01, 0x01}));
    const std::size_t field_before = reader_.commands_received().size();
    for (int i = 0; i < 5; ++i) ASSERT_EQ(IFDHICCPresence(kField), IFD_ICC_PRESENT);
    EXPECT_TRUE(only_status_queries_since(field_before));
    EXPECT_EQ(transmit(kField, {0x00, 0xA4, 0x04, 0x00, 0x0E, '2', 'P', 'A', 'Y', '.', 'S', 'Y', 'S', '.', 'D', 'D', 'F', '0',
                                '1', 0x00}).back(), 0x00);
}

TEST_F(Driver, ACardThatLostItsPowerOrLeftIsReportedGoneOnce) {
    power_up(kContact);
    control("contact poweroff 0");
    EXPECT_EQ(IFDHICCPresence(kContact), IFD_ICC_NOT_PRESENT);  // its session ended
    EXPECT_EQ(IFDHICCPresence(kContact), IFD_ICC_PRESENT);      // and a card lies there, to power up again
    control("contact remove 0");
    EXPECT_EQ(IFDHICCPresence(kContact), IFD_ICC_NOT_PRESENT);
    control("contactless put pay");
    power_up(kField);
    control("contactless take pay");
    EXPECT_EQ(IFDHICCPresence(kField), IFD_ICC_NOT_PRESENT);
    UCHAR answer[16];
    DWORD length = sizeof answer;
    Bytes apdu{0x00, 0x84, 0x00, 0x00, 0x08};
    EXPECT_EQ(IFDHTransmitToICC(kField, SCARD_IO_HEADER{SCARD_PROTOCOL_T1, 8}, apdu.data(), 5, answer, &length, nullptr),
              IFD_ICC_NOT_PRESENT);
    EXPECT_EQ(length, 0u);
}

TEST_F(Driver, CapabilitiesRefuseTooSmallBuffersAndSayWhatTheyNeed) {
    const Bytes atr = power_up(kContact);
    UCHAR value[64];
    DWORD length = 2;
    EXPECT_EQ(IFDHGetCapabilities(kContact, TAG_IFD_ATR, &length, value), IFD_ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(length, atr.size());
    EXPECT_EQ(IFDHGetCapabilities(kContact, SCARD_ATTR_ATR_STRING, &length, value), IFD_SUCCESS);
    EXPECT_EQ(Bytes(value, value + length), atr);
    length = 0;
    EXPECT_EQ(IFDHGetCapabilities(kContact, TAG_IFD_SLOTS_NUMBER, &length, value), IFD_ERROR_INSUFFICIENT_BUFFER);
    length = 1;
    EXPECT_EQ(IFDHGetCapabilities(kContact, TAG_IFD_SLOTS_NUMBER, &length, value), IFD_SUCCESS);
    EXPECT_EQ(value[0], 6);
    EXPECT_EQ(IFDHGetCapabilities(kContact, TAG_IFD_POLLING_THREAD_WITH_TIMEOUT, &length, value), IFD_ERROR_TAG);
    DWORD returned = 7;
    EXPECT_EQ(IFDHControl(kContact, 0x42000D48, nullptr, 0, value, sizeof value, &returned), IFD_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(returned, 0u);
    EXPECT_EQ(IFDHSetProtocolParameters(kContact, SCARD_PROTOCOL_T1, 0, 0, 0, 0), IFD_PROTOCOL_NOT_SUPPORTED);
    EXPECT_EQ(IFDHSetProtocolParameters(kContact, SCARD_PROTOCOL_T0, IFD_NEGOTIATE_PTS1, 0x13, 0, 0), IFD_NOT_SUPPORTED);
    EXPECT_EQ(IFDHSetProtocolParameters(kContact, SCARD_PROTOCOL_T0, 0, 0, 0, 0), IFD_SUCCESS);
}

TEST_F(Driver, SecretsStayOutOfTheLog) {
    power_up(kContact);
    transmit(kContact, {0x00, 0x20, 0x00, 0x01, 0x03, 0x12, 0x34, 0x56});                  // VERIFY with a PIN
    transmit(kContact, {0x84, 0xD4, 0x01, 0x00, 0x04, 0xCA, 0xFE, 0xBA, 0xBE});            // a key loaded
    transmit(kContact, {0x00, 0xB2, 0x01, 0x0C, 0x03, 0xAB, 0xCD, 0xEF});                  // anything else
    EXPECT_NE(captured_log.find("00 20 00 01, 8 bytes, 3 bytes of data not shown"), std::string::npos) << captured_log;
    EXPECT_EQ(captured_log.find("123456"), std::string::npos);
    EXPECT_EQ(captured_log.find("CAFEBABE"), std::string::npos);
    EXPECT_NE(captured_log.find("ABCDEF"), std::string::npos);
}

}  // namespace
