// A card model's behaviour as a table of steps: commands with the status and data they must get, and
// control lines with the start of their answer.
#pragma once

#include <gtest/gtest.h>

#include <span>
#include <string>

#include "../ask.h"
#include "models/cards/tlv.h"
#include "vnrsim/control.h"

namespace vnrsim::test {

// A command in hex, the status it must get and, unless nullptr, its data (hex with TLV groups and
// 'text', as a deck writes bytes; "" for none). A step whose text starts with a lower-case letter is a
// control line: status 0 wants an "ok" answer, any other an "error: " one, and `data` a part of it.
struct Step { const char* command; std::uint16_t status = 0; const char* data = nullptr; };

inline void run_steps(Reader& reader, std::span<const Step> steps) {
    Control control(reader);
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        const std::string where = "step " + std::to_string(i) + " \"" + step.command + "\"";
        if (step.command[0] >= 'a' && step.command[0] <= 'z') {
            const std::string answer = control.execute(step.command);
            EXPECT_EQ(answer.rfind(step.status == 0 ? "ok" : "error: ", 0), 0u) << where << " -> " << answer;
            if (step.data) {
                EXPECT_NE(answer.find(step.data), std::string::npos) << where << " -> " << answer;
            }
            continue;
        }
        const auto [status, data] = ask(reader, step.command);
        EXPECT_EQ(status, step.status) << where << std::hex << ": status " << status;
        if (step.data) {
            EXPECT_EQ(to_hex(data), to_hex(tlv_hex(step.data))) << where;
        }
    }
}

}  // namespace vnrsim::test
