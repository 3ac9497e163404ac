// A simulated reader and a session opened on it by device_open. serial: a pty as COM1 below a fresh
// prefix, the HID bus empty; hid: a USB HID interface on the simulator's bus.
#pragma once

#include "support/sim_hid.h"
#include "support/temp_prefix.h"
#include "vnr_32.h"
#include "vnrsim/deck.h"
#include "vnrsim/hid_reader.h"
#include "vnrsim/pty_server.h"
#include "vnrsim/reader.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace vnr::test {

enum class Link { serial, hid };

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

// A simulated reader and a session opened on it through device_open, as an application opens it: the
// plain part that tests (through SimSessionBase) and benchmarks share.
class SimReader {
public:
    explicit SimReader(vnrsim::Deck deck = default_deck()) : reader(std::move(deck)) {}
    ~SimReader() { close(); }
    SimReader(const SimReader&) = delete;
    SimReader& operator=(const SimReader&) = delete;

    // The deck of the reader; fast (no pacing) and split by default.
    static vnrsim::Deck default_deck() {
        vnrsim::Deck deck;
        deck.reader_version = "VNR-32 R1.08";
        deck.contactless_version = "VNR-32 RF 2.05";
        return deck;
    }

    // Puts the reader on `link` (a HID reader with `options`) and opens it; true when a handle came.
    bool open(Link on, vnrsim::HidOptions options = {}) {
        link = on;
        if (link == Link::serial) {
            server.emplace(reader, vnrsim::PtyServer::Options{{prefix.com(1)}, {}});
        } else {
            hid.emplace(reader, options);
            hid_path = bus.add_reader(*hid);
        }
        icdev = device_open(0, 115200);
        reader.clear_history();
        if (hid) hid->clear_history();
        provider.waits.clear();
        return icdev > 1;
    }
    void close() {
        if (icdev > 1) device_close(icdev);
        icdev = 0;
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

}  // namespace vnr::test
