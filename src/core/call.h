// src/core/call.h: core. The frame of an exported function: it enters the library lock and writes the
// entry line, refuses with the first failing check in the order the function declares them, runs the
// exchange under the lock with the wait the command needs, lets a step run outside the lock where the
// function must give it up, and ends with the result line and the status. Families call this; they never
// take the lock or write the entry and result lines by hand. Anything thrown still stops at the one
// guarded door of each export (core/boundary.h).
#pragma once

#include "core/bytes.h"
#include "core/library_lock.h"
#include "core/log.h"
#include "core/wipe.h"
#include "vnr_32.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace vnr::core {

// One check of an exported function: when `failed`, the call gives `status` and writes `line` (none when
// null). Conditions are evaluated where the list is written, so they must be plain comparisons that are
// safe whatever an earlier check found.
struct Check {
    bool failed;
    std::int16_t status;
    const char* line;
};

// The handle check: an icdev below 1 gives VNR_E_BAD_HANDLE.
constexpr Check handle_check(std::int32_t icdev, const char* line) noexcept {
    return {icdev < 1, VNR_E_BAD_HANDLE, line};
}
// An argument check: when `ok` is false the call gives VNR_E_BAD_ARGUMENT.
constexpr Check argument_check(bool ok, const char* line) noexcept { return {!ok, VNR_E_BAD_ARGUMENT, line}; }

// The room a command's reply is received into: zero-filled, of the size fixed for that command, taken
// afresh for each call and wiped when it is given up. A reply whose data would not fit is refused by the
// exchange (VNR_E_END_BYTE).
class ReplyRoom {
public:
    explicit ReplyRoom(std::size_t size) : bytes_(size, 0) {}
    std::span<std::uint8_t> span() noexcept { return bytes_; }
    // The whole room, zeros behind the data included: a few commands hand over a fixed stretch of it
    // whatever the reader sent.
    Bytes all() const noexcept { return bytes_; }
    std::size_t size() const noexcept { return bytes_.size(); }

private:
    WipedBytes bytes_;
};

// What came of an exchange: its status, and the reply's data within the room when the status is 0.
struct Reply {
    std::int16_t status = VNR_OK;
    Bytes data;
    bool ok() const noexcept { return status == VNR_OK; }
};

class Call {
public:
    // Enters the library lock and writes `entry_line` as it stands (nothing when null).
    explicit Call(const char* entry_line) noexcept;
    // Enters the lock and writes a formatted entry line.
    template <typename... Values>
    Call(const char* entry_format, Values... values) noexcept : guard_(std::in_place) {
        log::line(entry_format, values...);
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // The proof that the lock is held, for process-wide state. Only valid while it is held.
    const LibraryGuard& guard() const noexcept { return *guard_; }

    // Writes `line` (none when null) and gives `status`: the refusal of a check.
    std::int16_t refuse(std::int16_t status, const char* line) noexcept;

    // The refusal of the first failing check, in the order given; nullopt when all pass.
    std::optional<std::int16_t> refused(std::initializer_list<Check> checks) noexcept;

    // Sends `command` and receives into `room`, under the lock, with the standing wait.
    Reply exchange(std::int32_t icdev, Bytes command, ReplyRoom& room);
    // As exchange, waiting `timeout_ms` (with `delay_ms` before each HID report) for this exchange only;
    // the standing wait, 2000 ms with `restore_delay_ms`, comes back afterwards on every path.
    Reply exchange_waiting(std::int32_t icdev, Bytes command, ReplyRoom& room, std::optional<std::uint32_t> timeout_ms,
                           std::uint32_t delay_ms = 0, std::uint32_t restore_delay_ms = 0);

    // Runs `step` with the lock left, and enters it again afterwards (also when `step` throws).
    template <typename Step>
    decltype(auto) outside(Step&& step) {
        guard_.reset();
        struct Reenter {
            std::optional<LibraryGuard>& guard;
            ~Reenter() { guard.emplace(); }
        } reenter{guard_};
        return std::forward<Step>(step)();
    }

    // Leaves the lock for good: what follows writes lines only.
    void leave() noexcept { guard_.reset(); }

    // Leaves the lock, writes the result line (`format` takes the status, then `more`) and gives the
    // status. A null format writes nothing.
    template <typename... More>
    std::int16_t finish(std::int16_t status, const char* format, More... more) noexcept {
        guard_.reset();
        if (format != nullptr) log::line(format, static_cast<int>(status), more...);
        return status;
    }
    // Leaves the lock, writes `line` as it stands (none when null) and gives the status.
    std::int16_t finish_text(std::int16_t status, const char* line) noexcept {
        guard_.reset();
        return refuse(status, line);
    }
    // As finish, with one line for a failure (taking the status) and another for success.
    std::int16_t finish_either(std::int16_t status, const char* failed_format, const char* done_line) noexcept;

private:
    std::optional<LibraryGuard> guard_;
};

}  // namespace vnr::core
