// tests/support/sim_session.h: a simulated reader on either link, and a session opened on it through
// device_open, as an application opens it.
//   serial: the reader on a pty mapped as COM1 below a fresh prefix; the HID bus is empty, so the USB
//           search finds nothing and the open goes on to COM1.
//   hid:    the reader as a USB HID interface on the simulator's bus, which stands in for the system's.
#pragma once

#include "support/sim_hid.h"
#include "support/temp_prefix.h"
#include "vnr_32.h"
#include "vnrsim/deck.h"
#include "vnrsim/hid_reader.h"
#include "vnrsim/pty_server.h"
#include "vnrsim/reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace vnr::test {

using Bytes = std::vector<std::uint8_t>;

// UTF-8 text as the GBK bytes the library speaks.
inline std::string gbk(std::string_view utf8) { return vnrsim::to_gbk(utf8); }

inline std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Everything the log holds below the prefix's log root.
inline std::string log_text(const TempPrefix& prefix) {
    std::string log;
    if (std::filesystem::exists(prefix.log_root()))
        for (const auto& entry : std::filesystem::recursive_directory_iterator(prefix.log_root()))
            if (entry.is_regular_file() && entry.path().extension() == ".txt") log += read_file(entry.path());
    return log;
}

// Each of `lines` (UTF-8, without the time head) stands in the log as a whole line.
inline void expect_logged(const TempPrefix& prefix, std::initializer_list<std::string> lines) {
    const std::string log = log_text(prefix);
    for (const std::string& line : lines) EXPECT_NE(log.find("| " + gbk(line) + "\n"), std::string::npos) << line;
}

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

    // The reader answers commands that begin with `command` with `status` and `data`, ahead of anything
    // else, `times` times (none: until cleared).
    void answer(const Bytes& command, const Bytes& data, std::uint16_t status = 0,
                std::optional<std::uint32_t> times = std::nullopt) {
        reader.add_reply(vnrsim::CannedReply{command, status, data, std::nullopt, times});
    }
    // The commands the reader received since the session opened (or the history was cleared).
    std::vector<Bytes> sent() const { return reader.commands_received(); }
    void expect_logged(std::initializer_list<std::string> lines) const { vnr::test::expect_logged(prefix, lines); }

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
