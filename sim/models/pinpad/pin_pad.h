// sim/models/pinpad/pin_pad.h: the model "pinpad", the PIN pad on the reader: its entry time-out and
// PIN length, its main and work keys, and the reads that wait for a person to type a PIN (given on the
// control channel or scripted in the deck, vnrsim/awaited.h). Its deck section and control words are in
// pin_pad_control.cpp, told by help(); its cipher is pad_des.h.
//
// Commands (group C5, then the code, then 00):
//   C5 01 00 S                    entry time-out: S seconds, 1 to 255
//   C5 02 00 L                    PIN length: L digits, 1 to 16
//   C5 03 00 T M KEY              main key M: T 0 and 8 bytes, or T 1 and 16 bytes, in the clear
//   C5 04 00 T M U KEY            work key U: T 0 and 8 bytes, or T 1 and 16, in the clear, under main key
//                                 M, which must be loaded first
//   C5 05 00 1B 49|45             PIN read, first entry (49) or entry again (45): the PIN's digits in ASCII
//   C5 06 00 1B 49|45 U 00 00 A6  enciphered PIN read: the PIN block of the PIN and the six bytes A6,
//                                 enciphered under work key U (DES or two-key triple DES by its length)
// The PIN block is ISO 9564 format 0: the PIN field 0, the PIN's length, its digits, F nibbles to 16;
// the account field 0000 and the six bytes as they come (normally the 12 rightmost digits of the
// account number without its check digit, packed two a byte); the block is their XOR.
//
// A read waits up to the entry time-out for a PIN; its reply comes later (vnrsim/model.h). It answers:
// the PIN (plain) or 8 bytes of enciphered block; kPinTimeOutStatus when the time-out runs out;
// kPinCancelledStatus when the person presses cancel; kPinLengthStatus for a PIN of another length than
// the one set. Refused at once: fields of the wrong length kPinFieldLengthStatus, a value the pad does
// not take kPinValueStatus (a PIN length over 14 for an enciphered read among them: the block holds no
// more), a key number that names no loaded key kPinNoKeyStatus.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vnrsim/awaited.h"
#include "vnrsim/model.h"

namespace vnrsim {

constexpr std::uint16_t kPinTimeOutStatus = 0x6400;     // no PIN within the entry time-out
constexpr std::uint16_t kPinCancelledStatus = 0x6401;   // the person cancelled the entry
constexpr std::uint16_t kPinLengthStatus = 0x6402;      // a PIN of another length than the one set
constexpr std::uint16_t kPinFieldLengthStatus = 0x6700; // the command's fields are not as long as it takes
constexpr std::uint16_t kPinValueStatus = 0x6A80;       // a field's value the pad does not take
constexpr std::uint16_t kPinNoKeyStatus = 0x6A88;       // the key named is not loaded

constexpr std::size_t kLongestPin = 16;       // the longest PIN a length sets
constexpr std::size_t kLongestBlockPin = 14;  // the longest PIN a format 0 block holds

// What the person does at the pad: types a PIN and presses enter, or presses cancel.
struct PinEntry {
    std::string pin;  // digits, 1 to kLongestPin of them; empty for a cancel
    bool cancel = false;
};

// The ISO 9564 format 0 PIN block of `pin` (1 to kLongestBlockPin digits) and the account field's last
// six bytes. Throws std::invalid_argument for another PIN.
std::array<std::uint8_t, 8> pin_block(std::string_view pin, std::span<const std::uint8_t, 6> account);

class PinPad : public Model {
public:
    const ModelHelp& help() const override;
    void load(const nlohmann::json& section, const std::filesystem::path& folder) override;
    // The commands that answer at once; the reads only through answer_at(), which has the time.
    std::optional<Answer> answer(std::span<const std::uint8_t> command) override;
    std::optional<Answer> answer_at(std::span<const std::uint8_t> command, Clock::time_point now) override;
    Answer settle(Clock::time_point now) override;
    void abandon() override { entries_.abandon(); }
    std::string control(const ControlLine& line) override;

    // The person at the pad now, as on the control channel: the waiting read takes it, or the next one.
    void enter(PinEntry entry) { entries_.give(std::move(entry)); }

    std::uint8_t timeout_s() const noexcept { return timeout_s_; }
    std::uint8_t pin_length() const noexcept { return pin_length_; }
    // The keys by number, as the pad holds them.
    const std::map<std::uint8_t, std::vector<std::uint8_t>>& main_keys() const noexcept { return main_keys_; }
    const std::map<std::uint8_t, std::vector<std::uint8_t>>& work_keys() const noexcept { return work_keys_; }
    const Awaited<PinEntry>& entries() const noexcept { return entries_; }

private:
    // The read waiting for the person: which prompt, and for an enciphered one its key and account.
    struct Read {
        bool again = false;
        std::optional<std::uint8_t> work_key;
        std::array<std::uint8_t, 6> account{};
    };
    Answer reply(const Awaited<PinEntry>::Outcome& outcome) const;

    std::uint8_t timeout_s_ = 30;
    std::uint8_t pin_length_ = 6;
    std::map<std::uint8_t, std::vector<std::uint8_t>> main_keys_;
    std::map<std::uint8_t, std::vector<std::uint8_t>> work_keys_;
    Awaited<PinEntry> entries_;
    Read read_;  // the latest read, the waiting one while entries_.waiting()
};

}  // namespace vnrsim
