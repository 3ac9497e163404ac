// Scripts of calls against the cards of a deck: a call with its status and, where given, the bytes it
// delivered; or a control line the simulator must take ("contact insert 0 mem").
#pragma once

#include "support/sim_session.h"
#include "vnrsim/control.h"

#include <cstring>
#include <functional>
#include <optional>
#include <string>

namespace vnr::test {

inline Bytes delivered;  // what the latest call of a script delivered, as its line sets it

inline Bytes ascii(const char* text) { return Bytes(text, text + std::strlen(text)); }

struct ScriptLine {
    std::function<long(std::int32_t)> call;
    long status = 0;
    std::optional<Bytes> out = std::nullopt;
    const char* control = nullptr;
};
inline ScriptLine control_line(const char* line) { return {nullptr, 0, std::nullopt, line}; }

// The reader of `deck` on the link of the test's parameter.
class CardScript : public SimSessionOnEachLink {
protected:
    using SimSessionOnEachLink::SimSessionOnEachLink;
    void run(const std::vector<ScriptLine>& script) {
        vnrsim::Control channel(reader);
        for (std::size_t i = 0; i < script.size(); ++i) {
            const ScriptLine& line = script[i];
            SCOPED_TRACE("line " + std::to_string(i) + (line.control ? std::string(": ") + line.control : ""));
            if (line.control) {
                EXPECT_EQ(channel.execute(line.control).substr(0, 2), "ok");
                continue;
            }
            delivered.clear();
            EXPECT_EQ(line.call(icdev), line.status);
            if (line.out) {
                EXPECT_EQ(delivered, *line.out);
            }
        }
    }
};

}  // namespace vnr::test
