// tests/contactless/contactless_support.h: what the contactless tests share: the simulated reader on the
// HID road (so that the wait of each command can be seen without sitting through it), with the log on,
// guard-filled buffers, and the layout in which one buffer holds the five out-parameters of open_card.
#pragma once

#include "support/sim_session.h"
#include "vnr_32.h"

#include <cstring>
#include <functional>
#include <initializer_list>
#include <type_traits>

namespace cltest {

using vnr::test::Bytes;
constexpr std::uint8_t kGuard = 0xEE;

inline Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}
inline Bytes guard(std::size_t n) { return Bytes(n, kGuard); }
inline Bytes run_of(std::size_t n, std::uint8_t first = 1) {
    Bytes out(n);
    for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<std::uint8_t>(first + i);
    return out;
}

// open_card's out-parameters in one buffer: type [0], uidlen [1], uid [2..11] (its 10-byte room),
// atslen [12], ats [13..76] (its 64-byte room).
// `open` is open_card or CLCard_Open, `Wait` the type of its delaytime.
template <typename Wait>
std::int16_t open_into(std::int16_t (*open)(int32_t, Wait, uint8_t*, uint8_t*, uint8_t*, uint8_t*, uint8_t*),
                       std::int32_t icdev, std::type_identity_t<Wait> wait, std::uint8_t* b) {
    return open(icdev, wait, b, b + 1, b + 2, b + 12, b + 13);
}
// What a successful open_card leaves in that buffer.
inline Bytes opened(std::uint8_t type, const Bytes& uid, const Bytes& ats) {
    return cat({{type, static_cast<std::uint8_t>(uid.size())}, uid, guard(10 - uid.size()),
                {static_cast<std::uint8_t>(ats.size())}, ats});
}

using BufferCall = std::function<std::int16_t(std::int32_t, std::uint8_t*)>;

class Contactless : public vnr::test::SimSessionBase {
protected:
    void SetUp() override {
        prefix.enable_log();
        open_on(vnr::test::Link::hid);
        provider.waits.clear();
    }
    // Runs `call` on a guard-filled buffer; the bytes it wrote are `written`, the rest still guards.
    void expect_writes(const BufferCall& call, std::int16_t status, const Bytes& written) {
        Bytes buffer = guard(300);
        EXPECT_EQ(call(icdev, buffer.data()), status);
        EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + written.size()), written);
        const auto past = std::find_if(buffer.begin() + written.size(), buffer.end(), [](auto b) { return b != kGuard; });
        EXPECT_EQ(past, buffer.end()) << "written at " << (past - buffer.begin());
    }
    std::vector<Bytes> sent_and_clear() {
        auto commands = sent();
        reader.clear_history();
        return commands;
    }
};

}  // namespace cltest
