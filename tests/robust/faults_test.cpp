// Every link fault against a call of every family: the fault's status, nothing written but what a failure
// documents, and success once cleared; a lost link needs the reader opened again. Nothing drains a late
// HID answer, so the simulated device drops what a fault left, as a reset would. The standing wait is
// 300 ms here so silence costs less (the identity card read keeps its 5000 ms). The matrix is printed.
#include "robust/robust_support.h"

#include "core/state.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace {

using robust::FamilyCall;
using robust::Session;
using vnr::test::Link;

constexpr std::uint32_t kShortWaitMs = 300;

struct FaultCase {
    const char* name;
    Link link;
    void (*inject)(Session&);
    int status;
    int long_reply_status;  // for a reply that spans several HID reports, when it differs
    bool link_lost;         // the reader must be opened again
    // The reply given up on stays queued in the reader, so that the exchanges after it take stale
    // replies: a call of many exchanges fails on both its ways.
    bool lingers = false;
};

void once(Session& s, vnrsim::Fault fault, std::optional<std::size_t> bytes = std::nullopt) {
    s.reader.inject(fault, vnrsim::Times::once, bytes);
}

const FaultCase kFaults[] = {
    {"silence", Link::serial, [](Session& s) { once(s, vnrsim::Fault::silence); }, VNR_E_NO_REPLY, VNR_E_NO_REPLY, false},
    {"wrong check byte", Link::serial, [](Session& s) { once(s, vnrsim::Fault::wrong_check_byte); }, VNR_E_CHECK_BYTE,
     VNR_E_CHECK_BYTE, false},
    {"wrong end byte", Link::serial, [](Session& s) { once(s, vnrsim::Fault::wrong_end_byte); }, VNR_E_END_BYTE,
     VNR_E_END_BYTE, false},
    {"cut mid-frame", Link::serial, [](Session& s) { once(s, vnrsim::Fault::cut); }, VNR_E_NO_REPLY, VNR_E_NO_REPLY,
     false},
    {"port hung up", Link::serial, [](Session& s) { s.hang_up(); }, VNR_E_PORT_WRITE, VNR_E_PORT_WRITE, true},
    // Ten reports of 253 bytes without a start byte. The bounds of the search for the start byte on each
    // link are tests/integration/exchange_test.cpp's.
    {"noise, 2530 bytes", Link::hid, [](Session& s) { once(s, vnrsim::Fault::noise, 2530); }, VNR_E_NO_START,
     VNR_E_NO_START, false, true},
    {"silence", Link::hid, [](Session& s) { once(s, vnrsim::Fault::silence); }, VNR_E_NO_REPLY, VNR_E_NO_REPLY, false},
    {"wrong check byte", Link::hid, [](Session& s) { once(s, vnrsim::Fault::wrong_check_byte); }, VNR_E_CHECK_BYTE,
     VNR_E_CHECK_BYTE, false},
    {"wrong end byte", Link::hid, [](Session& s) { once(s, vnrsim::Fault::wrong_end_byte); }, VNR_E_END_BYTE,
     VNR_E_END_BYTE, false},
    // Within one report the missing half reads as zeros, so the end byte is wrong; a reply of many
    // reports waits for one that never comes.
    {"cut mid-frame", Link::hid, [](Session& s) { once(s, vnrsim::Fault::cut); }, VNR_E_END_BYTE, VNR_E_NO_REPLY,
     false},
    {"device hung up", Link::hid, [](Session& s) { s.hang_up(); }, VNR_E_GENERAL, VNR_E_GENERAL, true},
    {"device unplugged", Link::hid, [](Session& s) { s.bus.unplug(s.hid_path); }, VNR_E_GENERAL, VNR_E_GENERAL, true},
};

// The family calls that go to the reader.
std::vector<std::size_t> reader_calls() {
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < robust::family_calls().size(); ++i)
        if (!robust::family_calls()[i].sends.empty()) indices.push_back(i);
    return indices;
}

// Each test runs every fault of its link against one family's call, so that the long waits of the
// identity card read and the PIN entry spread over several tests.
using FaultsParam = std::tuple<Link, std::size_t>;

class Faults : public Session, public ::testing::WithParamInterface<FaultsParam> {
protected:
    // Clears the fault; a lost link is brought back and the reader opened again.
    void recover(const FaultCase& fault) {
        reader.clear_faults();
        if (hid) hid->drop_pending();
        if (!fault.link_lost) return;
        drop_handle();
        if (link == Link::serial) {
            wait_for_line(true);
        } else if (!bus.interface_path(0, hid_path)) {
            hid_path = bus.add_reader(*hid);  // plugged in again
        }
        icdev = device_open(0, 115200);
        ASSERT_GT(icdev, 1) << "the reader did not open again after " << fault.name;
        answer_family_calls();
    }
    // Runs `c` under the short standing wait, checking its status and that it wrote `written` and nothing
    // else of the caller's.
    int run(const FamilyCall& c, int status, const vnr::test::Bytes& written, const char* fault) {
        vnr::core::set_comm_timeout(kShortWaitMs, 0);
        robust::OutBuffer out;
        const int got = c.call(icdev, out.bytes);
        vnr::core::set_comm_timeout(vnr::core::kStandingTimeoutMs, 0);
        EXPECT_EQ(got, status) << c.family << " under " << fault;
        // A failure of a second way leaves the message of wherever it stopped: its text is not compared.
        if (got != VNR_OK && c.second_way) std::memcpy(out.bytes + c.message_at, written.data() + c.message_at,
                                                       std::min(written.size() - c.message_at, sizeof out.bytes - c.message_at));
        EXPECT_TRUE(out.holds(written)) << c.family << " under " << fault << " wrote what it may not: "
                                        << out.head(written.size() + 8);
        return got;
    }
};

TEST_P(Faults, EachGivesItsStatusWritesNothingAndTheNextCallSucceeds) {
    const auto [on, index] = GetParam();
    const FamilyCall& c = robust::family_calls()[index];
    open_on(on);
    answer_family_calls();
    const bool long_reply = c.data.size() > 120;  // more than one report in the split form
    for (const FaultCase& fault : kFaults) {
        if (fault.link != on) continue;
        int status = long_reply ? fault.long_reply_status : fault.status;
        vnr::test::Bytes written = status == VNR_OK ? c.written : c.failure_written;
        if (c.second_way) {  // its second way outlives a fault that strikes once
            const bool fails = fault.link_lost || fault.lingers;
            status = fails ? c.own_failure : VNR_OK;
            written = fails ? c.failure_written : c.second_way_written;
        }
        fault.inject(*this);
        run(c, status, written, fault.name);
        recover(fault);
        run(c, VNR_OK, c.written, "nothing, after the fault was cleared");
    }
}

INSTANTIATE_TEST_SUITE_P(
    OnEachLink, Faults,
    ::testing::Combine(::testing::Values(Link::serial, Link::hid),
                       ::testing::ValuesIn(reader_calls())),
    [](const ::testing::TestParamInfo<FaultsParam>& info) {
        std::string name = std::get<0>(info.param) == Link::serial ? "Serial_" : "Hid_";
        for (const char ch : std::string(robust::family_calls()[std::get<1>(info.param)].family)) {
            if (ch == ':') break;
            if (std::isalnum(static_cast<unsigned char>(ch)) != 0) name += ch;
        }
        return name;
    });

}  // namespace
