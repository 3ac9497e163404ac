// What the contactless tests share: the reader on the HID road with the log on, guard-filled buffers, and
// one buffer for the five out-parameters of open_card and CLCard_Open.
#pragma once

#include "support/sim_session.h"
#include "vnr_32.h"

#include <functional>
#include <type_traits>

// A call of the function under test on the handle `d`.
#define CALL(expression) [&](std::int32_t d) -> std::int16_t { return expression; }

namespace cltest {

using vnr::test::Bytes;
constexpr std::uint8_t kGuard = 0xEE;

inline Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}
inline Bytes run_of(std::size_t n, std::uint8_t first = 1) {
    Bytes out(n);
    for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<std::uint8_t>(first + i);
    return out;
}

// The buffer of open_card's out-parameters: type [0], uidlen [1], uid [2..11] (its 10-byte room), atslen
// [12], ats [13..76] (its 64-byte room). `open` is open_card or CLCard_Open.
template <typename Wait>
std::int16_t open_into(std::int16_t (*open)(int32_t, Wait, uint8_t*, uint8_t*, uint8_t*, uint8_t*, uint8_t*),
                       std::int32_t icdev, std::type_identity_t<Wait> wait, std::uint8_t* b) {
    return open(icdev, wait, b, b + 1, b + 2, b + 12, b + 13);
}
// What a successful open_card leaves in that buffer.
inline Bytes opened(std::uint8_t type, const Bytes& uid, const Bytes& ats) {
    return cat({{type, std::uint8_t(uid.size())}, uid, Bytes(10 - uid.size(), kGuard), {std::uint8_t(ats.size())}, ats});
}

class Contactless : public vnr::test::SimSessionBase {
protected:
    void SetUp() override { prefix.enable_log(), open_on(vnr::test::Link::hid); }
    // Runs `call` on a guard-filled buffer: it gives `status` and writes `written`, and nothing behind it.
    void expect_writes(const std::function<std::int16_t(std::int32_t, std::uint8_t*)>& call, std::int16_t status,
                       const Bytes& written) {
        Bytes buffer(300, kGuard);
        EXPECT_EQ(call(icdev, buffer.data()), status);
        EXPECT_EQ(buffer, cat({written, Bytes(300 - written.size(), kGuard)}));
    }
    std::vector<Bytes> sent_and_clear() { const auto commands = sent(); return reader.clear_history(), commands; }
};

}  // namespace cltest
