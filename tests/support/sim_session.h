// tests/support/sim_session.h: a simulated reader on a pty, mapped as COM1 below a fresh prefix, and a
// session opened on it through device_open.
#pragma once

#include "support/temp_prefix.h"
#include "vnr_32.h"
#include "vnrsim/pty_server.h"
#include "vnrsim/reader.h"

#include <gtest/gtest.h>

#include <optional>

namespace vnr::test {

class SimSession : public ::testing::Test {
protected:
    // The deck of the reader; fast (no pacing) and split by default.
    static vnrsim::Deck default_deck() {
        vnrsim::Deck deck;
        deck.reader_version = "VNR-32 R1.08";
        deck.contactless_version = "VNR-32 RF 2.05";
        return deck;
    }

    void SetUp() override {
        server.emplace(reader, vnrsim::PtyServer::Options{{prefix.com(1)}, {}});
        icdev = device_open(0, 115200);
        ASSERT_GT(icdev, 1) << "the simulated reader did not open";
        reader.clear_history();
    }

    void TearDown() override {
        if (icdev > 1) device_close(icdev);
        server.reset();
    }

    TempPrefix prefix;
    vnrsim::Reader reader{default_deck()};
    std::optional<vnrsim::PtyServer> server;
    int32_t icdev = 0;
};

}  // namespace vnr::test
