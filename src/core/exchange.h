// src/core/exchange.h: core. The command exchange: one command out as a frame, one frame back, and
// the reply's two status bytes turned into a status. Called with the library lock held.
#pragma once

#include <cstdint>
#include <span>

namespace vnr::core {

// Sends `send_len` command bytes (the two command bytes and the fields) on the link that nComMode
// names, in the form that TansMode names, and waits for the reply in either form.
// On entry *recv_len is set to 0 and the first byte of `recv_buf` to 0 (unless icdev is below 1).
// Returns:
//   0       the reader answered S1 S2 = 00 00; its data (LEN-2 bytes) is in `recv_buf`, the count
//           in *recv_len;
//   -33     icdev is 0 or below (nothing touched, nothing logged);
//   -1, -17, -24, -25, -34, -35, -36: the link's failures (-35 also for a reply whose data would not
//           fit `recv_buf`); -37 for a command too long for a frame;
//   other   the reader's status, -(S1*256+S2) in 16 bits; no data is copied.
// The exchange is tried once; nothing here repeats a command.
std::int16_t send_cmd_vn3x(std::int32_t icdev, std::int32_t send_len, const std::uint8_t* send_buf,
                           std::uint32_t* recv_len, std::span<std::uint8_t> recv_buf);

// What of an exchange the log must not show: `command_count` bytes of the command from `command_from`
// (the bytes of a key), and with `reply_data` the data of the reply and the check byte that sums it (a
// PIN). The log shows each such byte as "**"; everything else of the frame lines stays as it is.
struct Secret {
    std::size_t command_from = 0;
    std::size_t command_count = 0;
    bool reply_data = false;
    bool any() const noexcept { return command_count > 0 || reply_data; }
};

// Marks the exchanges that this thread runs within its scope as carrying `secret`. The mark is the
// thread's own, so it may be taken back outside the library lock.
class ScopedSecret {
public:
    explicit ScopedSecret(const Secret& secret) noexcept;
    ~ScopedSecret();
    ScopedSecret(const ScopedSecret&) = delete;
    ScopedSecret& operator=(const ScopedSecret&) = delete;

private:
    Secret saved_;
};

// The reader status that the pair S1, S2 stands for: -(S1*256+S2) kept to 16 bits.
constexpr std::int16_t reader_status(std::uint8_t s1, std::uint8_t s2) noexcept {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(-(s1 * 256 + s2)));
}
static_assert(reader_status(0x10, 0x01) == -4097);
static_assert(reader_status(0x90, 0x00) == 28672);
static_assert(reader_status(0x80, 0x00) == -32768);
static_assert(reader_status(0x00, 0x12) == -18);

}  // namespace vnr::core
