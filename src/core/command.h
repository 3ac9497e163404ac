// src/core/command.h: core. One-command functions as rows of a table. A family describes such a function
// by what sets it apart: its entry line, its checks in their order, the command's bytes and where its
// arguments go in them, the wait, the room of the reply, what of the reply goes to the caller, and its
// result line. run() carries out a row in the frame of core/call.h, so that a new one-command function is
// one row and one line of export, never a copy of the last function.
//
//   constexpr Command kDeviceReset{
//       .name = "device_reset",
//       .entry = "---device_reset 读写器软复位---",
//       .checks = {handle("==>device_reset(), 句柄无效 "), at_most(0, 1, "==>device_reset(), module参数不合法 ")},
//       .fields = {0x31, 0x12, byte(0)},
//       .result = {.line = "==>device_reset(), return:%d "},
//   };
//   int16_t device_reset(int32_t icdev, uint8_t module) { return run(kDeviceReset, {icdev, {module}}); }
//
// Functions with steps of their own (a read before a write, a search, a reply that decides what is sent
// next) are written out with Call, ByteReader and ScopedWait instead.
#pragma once

#include "core/bytes.h"
#include "core/call.h"
#include "core/exchange.h"
#include "core/wipe.h"
#include "vnr_32.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <vector>

namespace vnr::core {

// The arguments of one call as a row reads them: the handle, the caller's numbers (each widened to 64
// bits as it came, so that unsigned 32-bit and signed values keep their meaning), the caller's input
// buffers and its output buffers, each at the index the row names.
struct Args {
    std::int32_t icdev = 0;
    std::array<std::int64_t, 6> number{};
    std::array<const void*, 3> in{};
    std::array<void*, 4> out{};
};

// The bytes of a command under construction. A command never exceeds what one frame can carry.
class CommandBytes {
public:
    static constexpr std::size_t kLongest = 65525;
    void push(std::uint8_t b) { bytes_.push_back(b); }
    void push_be16(std::uint32_t v) { push(static_cast<std::uint8_t>(v >> 8)), push(static_cast<std::uint8_t>(v)); }
    void push_be32(std::uint32_t v) { push_be16(v >> 16), push_be16(v & 0xFFFF); }
    void push(Bytes bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    Bytes view() const noexcept { return bytes_; }
    bool fits() const noexcept { return bytes_.size() <= kLongest; }

private:
    WipedBytes bytes_;
};

// ---- Checks -------------------------------------------------------------------------------------

struct Rule {
    enum class Kind : std::uint8_t { none, handle, in_range, one_of, holds };
    Kind kind = Kind::none;
    std::uint8_t arg = 0;                    // the number that is checked
    std::int64_t low = 0, high = 0;          // in_range, both ends included
    std::array<std::int64_t, 8> values{};    // one_of
    std::size_t value_count = 0;
    bool (*ok)(const Args&) = nullptr;       // holds
    std::int16_t status = VNR_E_BAD_ARGUMENT;
    const char* line = nullptr;              // written when the check fails; none when null

    bool passes(const Args& args) const noexcept;
};

// icdev below 1 gives VNR_E_BAD_HANDLE.
constexpr Rule handle(const char* line) noexcept {
    return {.kind = Rule::Kind::handle, .status = VNR_E_BAD_HANDLE, .line = line};
}
// Number `arg` from `low` to `high`, both included; else VNR_E_BAD_ARGUMENT (or `status`).
constexpr Rule in_range(std::uint8_t arg, std::int64_t low, std::int64_t high, const char* line,
                        std::int16_t status = VNR_E_BAD_ARGUMENT) noexcept {
    return {.kind = Rule::Kind::in_range, .arg = arg, .low = low, .high = high, .status = status, .line = line};
}
constexpr Rule at_most(std::uint8_t arg, std::int64_t high, const char* line) noexcept {
    return in_range(arg, INT64_MIN, high, line);
}
// Number `arg` is one of at most eight `values`.
constexpr Rule one_of(std::uint8_t arg, std::initializer_list<std::int64_t> values, const char* line) noexcept {
    Rule rule{.kind = Rule::Kind::one_of, .arg = arg, .line = line};
    for (const std::int64_t v : values)
        if (rule.value_count < rule.values.size()) rule.values[rule.value_count++] = v;
    return rule;
}
// Any other condition on the arguments.
constexpr Rule holds(bool (*ok)(const Args&), const char* line, std::int16_t status = VNR_E_BAD_ARGUMENT) noexcept {
    return {.kind = Rule::Kind::holds, .ok = ok, .status = status, .line = line};
}

// ---- Command fields -----------------------------------------------------------------------------

struct Field {
    enum class Kind : std::uint8_t { none, literal, byte, be16, be32, bytes, padded, custom };
    Kind kind = Kind::none;
    std::uint8_t value = 0;          // literal
    std::uint8_t arg = 0;            // the number (byte, be16, be32) or the input buffer (bytes, padded)
    std::uint8_t count_arg = 0;      // bytes, padded: the number that counts the input's bytes
    std::uint16_t fixed = 0;         // bytes: a fixed count when count_arg is kNoCount; padded: the width
    void (*write)(const Args&, CommandBytes&) = nullptr;  // custom

    static constexpr std::uint8_t kNoCount = 0xFF;

    constexpr Field() noexcept = default;
    // A literal byte of the command, so that rows read {0x31, 0x12, byte(0)}: implicit on purpose.
    // cppcheck-suppress noExplicitConstructor
    constexpr Field(int literal) noexcept : kind(Kind::literal), value(static_cast<std::uint8_t>(literal)) {}
    constexpr Field(Kind k, std::uint8_t a, std::uint8_t count, std::uint16_t n) noexcept
        : kind(k), arg(a), count_arg(count), fixed(n) {}

    // The number of input bytes this field reads from the caller (0 for the other kinds).
    std::size_t input_count(const Args& args) const noexcept;
    void append(const Args& args, CommandBytes& out) const;
};

// The low byte of number `arg`; its low 16 or 32 bits, high byte first.
constexpr Field byte(std::uint8_t arg) noexcept { return {Field::Kind::byte, arg, 0, 0}; }
constexpr Field be16(std::uint8_t arg) noexcept { return {Field::Kind::be16, arg, 0, 0}; }
constexpr Field be32(std::uint8_t arg) noexcept { return {Field::Kind::be32, arg, 0, 0}; }
// Input buffer `in`, as many bytes as number `count_arg` says (it must be checked against a bound).
constexpr Field bytes(std::uint8_t in, std::uint8_t count_arg) noexcept { return {Field::Kind::bytes, in, count_arg, 0}; }
// Input buffer `in`, exactly `count` bytes.
constexpr Field fixed_bytes(std::uint8_t in, std::uint16_t count) noexcept {
    return {Field::Kind::bytes, in, Field::kNoCount, count};
}
// Input buffer `in`, number `count_arg` of bytes, then zeros up to `width` bytes.
constexpr Field padded(std::uint8_t in, std::uint8_t count_arg, std::uint16_t width) noexcept {
    return {Field::Kind::padded, in, count_arg, width};
}
// Bytes that a function of the arguments writes.
constexpr Field custom(void (*write)(const Args&, CommandBytes&)) noexcept {
    Field f{Field::Kind::custom, 0, 0, 0};
    f.write = write;
    return f;
}

// ---- The wait -----------------------------------------------------------------------------------

struct Wait {
    enum class Kind : std::uint8_t { standing, fixed, by_rule };
    Kind kind = Kind::standing;
    std::uint32_t timeout_ms = 0;
    std::uint32_t delay_ms = 0;
    std::uint32_t restore_delay_ms = 0;
    std::optional<std::uint32_t> (*rule)(const Args&) = nullptr;
};

// This command waits `timeout_ms` (with `delay_ms` before each HID report); the standing wait comes back
// afterwards, with `restore_delay_ms`.
constexpr Wait wait_ms(std::uint32_t timeout_ms, std::uint32_t delay_ms = 0, std::uint32_t restore_delay_ms = 0) noexcept {
    return {Wait::Kind::fixed, timeout_ms, delay_ms, restore_delay_ms, nullptr};
}
// The wait is worked out from the arguments (none: it stays); the standing wait comes back in any case.
constexpr Wait wait_by(std::optional<std::uint32_t> (*rule)(const Args&)) noexcept {
    return {Wait::Kind::by_rule, 0, 0, 0, rule};
}

// ---- What of the reply goes to the caller -------------------------------------------------------

enum class LengthOut : std::uint8_t { none, u8, u32 };

struct Take {
    enum class Kind : std::uint8_t { nothing, first_byte, all, head, custom };
    Kind kind = Kind::nothing;
    std::uint8_t out = 0;                      // the output buffer that gets the bytes
    LengthOut length = LengthOut::none;        // all: where their count goes
    std::uint8_t length_out = 0;               //   and in which output
    std::uint8_t count_arg = 0;                // head: the number that says how many bytes
    std::int16_t (*apply)(Bytes data, Bytes room, const Args&) = nullptr;  // custom: gives the status
};

// The first byte of the room (0 when the reply had no data) to output `out`, a one-byte buffer.
constexpr Take first_byte(std::uint8_t out) noexcept { return {.kind = Take::Kind::first_byte, .out = out}; }
// All of the reply's data to output `out` (which holds the command's room), and its count to output
// `length_out` as one byte or as an unsigned 32-bit number.
constexpr Take all_data(std::uint8_t out, LengthOut length = LengthOut::none, std::uint8_t length_out = 0) noexcept {
    return {.kind = Take::Kind::all, .out = out, .length = length, .length_out = length_out};
}
// As many bytes of the room as number `count_arg` says, whatever the reader sent.
constexpr Take head(std::uint8_t out, std::uint8_t count_arg) noexcept {
    return {.kind = Take::Kind::head, .out = out, .count_arg = count_arg};
}
constexpr Take take_by(std::int16_t (*apply)(Bytes data, Bytes room, const Args&)) noexcept {
    return {.kind = Take::Kind::custom, .apply = apply};
}

// ---- The result line ----------------------------------------------------------------------------

struct Result {
    const char* line = nullptr;    // written with the status whatever it is
    const char* failed = nullptr;  // or: written with the status when it is not 0,
    const char* done = nullptr;    //     and this when it is
};

// ---- The row ------------------------------------------------------------------------------------

struct Command {
    const char* name = "";               // the function's name, for the refusal of a missing buffer
    const char* entry = nullptr;         // the entry line; none when null
    std::array<Rule, 4> checks{};        // in their order; the first that fails ends the call
    std::array<Field, 8> fields{};       // the command's bytes
    std::size_t room = 100;              // the reply's room, which is also what an output of all_data holds
    Wait wait{};
    Take take{};
    Result result{};
    Secret secret{};                     // what of the exchange the log must not show (keys, PINs)
};

// Carries out the row: lock, entry line, checks, command, exchange with its wait, copy-out, result line.
// An input or output buffer the row uses that is null is refused with VNR_E_BAD_ARGUMENT after the row's
// own checks, before anything goes to the reader.
std::int16_t run(const Command& command, const Args& args);

}  // namespace vnr::core
