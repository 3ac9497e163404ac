// tests/support/sim_session.h: a simulated reader on either link, and a session opened on it through
// device_open, as an application opens it.
//   serial: the reader on a pty mapped as COM1 below a fresh prefix; the HID bus is empty, so the USB
//           search finds nothing and the open goes on to COM1.
//   hid:    the reader as a USB HID interface on the simulator's bus, which stands in for the system's.
#pragma once

#include "support/sim_hid.h"
#include "support/temp_prefix.h"
#include "vnr_32.h"
#include "vnrsim/hid_reader.h"
#include "vnrsim/pty_server.h"
#include "vnrsim/reader.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace vnr::test {

enum class Link { serial, hid };

inline std::string link_name(const ::testing::TestParamInfo<Link>& info) {
    return info.param == Link::serial ? "Serial" : "Hid";
}

class SimSessionBase : public ::testing::Test {
protected:
    explicit SimSessionBase(vnrsim::Deck deck = default_deck()) : reader(std::move(deck)) {}

    // The deck of the reader; fast (no pacing) and split by default.
    static vnrsim::Deck default_deck() {
        vnrsim::Deck deck;
        deck.reader_version = "VNR-32 R1.08";
        deck.contactless_version = "VNR-32 RF 2.05";
        return deck;
    }

    // Puts the reader on `link` and opens it.
    void open_on(Link on) {
        link = on;
        if (link == Link::serial) {
            server.emplace(reader, vnrsim::PtyServer::Options{{prefix.com(1)}, {}});
        } else {
            hid.emplace(reader);
            hid_path = bus.add_reader(*hid);
        }
        icdev = device_open(0, 115200);
        ASSERT_GT(icdev, 1) << "the simulated reader did not open";
        reader.clear_history();
        if (hid) hid->clear_history();
    }

    void TearDown() override {
        if (icdev > 1) device_close(icdev);
        server.reset();
    }

    TempPrefix prefix;
    vnrsim::Reader reader;
    std::optional<vnrsim::HidReader> hid;        // outlive the bus, which refers to them
    std::optional<vnrsim::HidReader> other_hid;
    vnrsim::HidBus bus;
    SimHidProvider provider{bus};
    std::optional<vnrsim::PtyServer> server;
    std::string hid_path;
    Link link = Link::serial;
    int32_t icdev = 0;
};

// The reader on the serial link.
class SimSession : public SimSessionBase {
protected:
    void SetUp() override { open_on(Link::serial); }
};

// The reader on the link that the test parameter names.
class SimSessionOnEachLink : public SimSessionBase, public ::testing::WithParamInterface<Link> {
protected:
    void SetUp() override { open_on(GetParam()); }
};

}  // namespace vnr::test
