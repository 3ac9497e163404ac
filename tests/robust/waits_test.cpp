// Every kind of wait, one real wait each: never shorter than given, longer by at most 20 ms plus
// VNR_WAIT_ALLOWANCE_MS (default 30: a busy 2-core machine now and then wakes a thread late).
#include "robust/robust_support.h"

#include <chrono>
#include <ostream>
#include <vector>

namespace {

using robust::Session;
using vnr::test::Bytes;
using vnr::test::Link;

constexpr double kOverrunMs = 20;

struct WaitCase {
    const char* name;
    Link link;
    double given_ms;
    int status;  // what the call gives when its wait runs out
    void (*arrange)(Session&);
    int (*call)(Session&);
};

// The session's reader is closed first, so that device_open meets the reader as arranged.
void reopen_silent(Session& s) {
    s.drop_handle();
    s.reader.inject(vnrsim::Fault::silence, vnrsim::Times::always);
}
void silent(Session& s) { s.reader.inject(vnrsim::Fault::silence, vnrsim::Times::always); }
// The version query of the open is answered with the head of a 20-byte reply and 8 of its bytes.
void reopen_cut_per_byte(Session& s) {
    s.drop_handle();
    Bytes raw{0x02, 0x00, 0x14, 0x00, 0x00};
    raw.resize(raw.size() + 8, 0x41);
    s.raw_reply({0x31, 0x11, 0x01}, raw);
}
// A plain frame of 500 payload bytes whose first report (253 bytes) comes and whose next never does.
void reopen_cut_per_report(Session& s) {
    s.drop_handle();
    Bytes raw{0x02, 0x01, 0xF4, 0x00, 0x00};
    raw.resize(253, 0x41);
    s.raw_reply({0x31, 0x11, 0x01}, raw);
}

// ReSetupComm lets one port read block 5000 ms; the per-byte wait of 2000 ms still holds.
void long_port_reads_silent(Session& s) {
    ASSERT_EQ(ReSetupComm(s.icdev), 0);
    silent(s);
}

int open_reader(Session&) { return device_open(0, 115200); }
int version(Session& s) {
    std::uint8_t length = 0, text[100] = {};
    return device_version(s.icdev, 0, &length, text);
}
int activate_card(Session& s) {
    Bytes out(100, 0);
    return open_card(s.icdev, 110, out.data(), out.data() + 1, out.data() + 2, out.data() + 20, out.data() + 21);
}
int swipe(Session& s) {
    std::vector<std::uint8_t> tracks(771, 0);
    return magnetic_read_ms(s.icdev, 300, tracks.data());
}
// The pad's settings (a 6 s entry time-out) made, then nothing answers.
void pad_set_silent(Session& s) {
    s.answer_family_calls();
    silent(s);
}
int enter_pin(Session& s) {
    std::uint8_t pin[50] = {};
    return mw_kb_getpin(s.icdev, 1, pin);
}
int read_identity_card(Session& s) {
    char errtext[64] = {};
    return IDCard_ReadCard(s.icdev, errtext);
}

const WaitCase kWaits[] = {
    {"device_open, silent reader", Link::serial, 100, 0, reopen_silent, open_reader},
    {"device_open, silent reader", Link::hid, 100, 0, reopen_silent, open_reader},
    {"per byte: a reply stops after 13 bytes", Link::serial, 100, 0, reopen_cut_per_byte, open_reader},
    {"per report: the second report never comes", Link::hid, 100, 0, reopen_cut_per_report, open_reader},
    {"device_version after ReSetupComm (2000)", Link::serial, 2000, VNR_E_NO_REPLY, long_port_reads_silent, version},
    {"open_card, delaytime 110 (+1000)", Link::serial, 1110, VNR_E_NO_REPLY, silent, activate_card},
    {"IDCard_ReadCard (5000)", Link::hid, 5000, VNR_E_NO_REPLY, silent, read_identity_card},
    {"swipe: magnetic_read_ms, wait 300 (+1000)", Link::serial, 1300, VNR_E_NO_REPLY, silent, swipe},
    {"PIN entry: mw_kb_getpin, time-out 6 s (+1 s)", Link::hid, 7000, VNR_E_NO_REPLY, pad_set_silent, enter_pin},
};

void PrintTo(const WaitCase& c, std::ostream* out) { *out << c.name; }

class Waits : public Session, public ::testing::WithParamInterface<WaitCase> {};

TEST_P(Waits, LastNoShorterThanGivenAndAtMostTwentyMillisecondsLonger) {
    const WaitCase& c = GetParam();
    open_on(c.link);
    c.arrange(*this);
    const auto start = std::chrono::steady_clock::now();
    const int status = c.call(*this);
    const double waited = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(status, c.status);
    EXPECT_GE(waited, c.given_ms);
    EXPECT_LE(waited, c.given_ms + kOverrunMs + robust::env_number("VNR_WAIT_ALLOWANCE_MS", 30));
}

INSTANTIATE_TEST_SUITE_P(EveryKind, Waits, ::testing::ValuesIn(kWaits), [](const auto& info) {
    return "Case" + std::to_string(info.index) + (info.param.link == Link::serial ? "Serial" : "Hid");
});

}  // namespace
