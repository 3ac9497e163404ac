// tests/contact/contact_session.h: the simulated reader on the HID road, where the wait of each command
// is seen without sitting through it, answering every contact command with success unless a test
// gives it another answer; the log is on.
#pragma once

#include "contact/memory_map.h"
#include "contact/state.h"
#include "core/state.h"
#include "support/sim_session.h"

#include <vector>

namespace contact_test {

using Bytes = std::vector<std::uint8_t>;

struct Wait {
    std::uint32_t timeout_ms, delay_ms;
    bool operator==(const Wait&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const Wait& w) { return out << w.timeout_ms << "/" << w.delay_ms; }
constexpr Wait kStanding{2000, 0};

class ContactSession : public vnr::test::SimSessionBase {
protected:
    void SetUp() override {
        prefix.enable_log();
        open_on(vnr::test::Link::hid);
        answer({0x32}, {});
        answer({0x33}, {});
        restart();
    }
    // Forgets the commands and waits seen and the card's size, and puts the standing wait back.
    void restart() {
        reader.clear_history();
        provider.waits.clear();
        vnr::core::set_comm_timeout(2000, 0);
        const vnr::core::LibraryGuard guard;
        vnr::contact::contact_size_code(guard) = vnr::contact::kNoSizeCode;
    }
    std::vector<Wait> waits() const {
        std::vector<Wait> out;
        for (const auto& w : provider.waits.seen()) out.push_back({w.timeout_ms, w.delay_ms});
        return out;
    }
    static Wait standing() {
        return {vnr::core::link_state().read_timeout_ms.load(), vnr::core::link_state().read_delay_ms.load()};
    }
    std::string log() const { return vnr::test::log_text(prefix); }
    // The text of the log's last line, without its time head.
    std::string last_line() const {
        std::string text = log();
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        text = text.substr(text.rfind('\n') + 1);
        const auto bar = text.find("| ");
        return bar == std::string::npos ? text : text.substr(bar + 2);
    }
};

}  // namespace contact_test
