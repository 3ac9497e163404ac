// tests/support/sim_session.h: the simulated reader and its session as a test fixture (see
// support/sim_reader.h), with canned answers, the commands sent and the log.
#pragma once

#include "support/sim_reader.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace vnr::test {

inline std::string link_name(const ::testing::TestParamInfo<Link>& info) {
    return info.param == Link::serial ? "Serial" : "Hid";
}

// Each of `lines` (UTF-8, without the time head) stands in the log as a whole line.
inline void expect_logged(const TempPrefix& prefix, std::initializer_list<std::string> lines) {
    const std::string log = log_text(prefix);
    for (const std::string& line : lines) EXPECT_NE(log.find("| " + gbk(line) + "\n"), std::string::npos) << line;
}

class SimSessionBase : public ::testing::Test, public SimReader {
protected:
    explicit SimSessionBase(vnrsim::Deck deck = default_deck()) : SimReader(std::move(deck)) {}

    // Puts the reader on `link` and opens it.
    void open_on(Link on) { ASSERT_TRUE(open(on)) << "the simulated reader did not open"; }

    void TearDown() override { close(); }

    // The reader answers commands that begin with `command` with `status` and `data`, ahead of anything
    // else, `times` times (none: until cleared).
    void answer(const Bytes& command, const Bytes& data, std::uint16_t status = 0,
                std::optional<std::uint32_t> times = std::nullopt) {
        reader.add_reply(vnrsim::CannedReply{command, status, data, std::nullopt, times});
    }
    // The commands the reader received since the session opened (or the history was cleared).
    std::vector<Bytes> sent() const { return reader.commands_received(); }
    void expect_logged(std::initializer_list<std::string> lines) const { vnr::test::expect_logged(prefix, lines); }
};

// The reader on the serial link.
class SimSession : public SimSessionBase {
protected:
    void SetUp() override { open_on(Link::serial); }
};

// The reader on the link that the test parameter names.
class SimSessionOnEachLink : public SimSessionBase, public ::testing::WithParamInterface<Link> {
protected:
    explicit SimSessionOnEachLink(vnrsim::Deck deck = default_deck()) : SimSessionBase(std::move(deck)) {}
    void SetUp() override { open_on(GetParam()); }
};

}  // namespace vnr::test
