// sim/models/pinpad/pin_pad.cpp: the PIN pad's answers and its PIN block (see pin_pad.h).
#include "models/pinpad/pin_pad.h"

#include <algorithm>
#include <stdexcept>

#include "models/pinpad/pad_des.h"

namespace vnrsim {
namespace {

constexpr std::uint8_t kGroup = 0xC5;
constexpr std::uint8_t kTimeout = 0x01, kLength = 0x02, kMainKey = 0x03, kWorkKey = 0x04, kRead = 0x05,
                       kEncipheredRead = 0x06;
constexpr std::uint8_t kEscape = 0x1B, kFirstEntry = 0x49, kEntryAgain = 0x45;
constexpr std::size_t kReadSize = 5, kEncipheredReadSize = 14;

std::size_t key_size(std::uint8_t type) { return type == 0 ? 8 : 16; }

}  // namespace

std::array<std::uint8_t, 8> pin_block(std::string_view pin, std::span<const std::uint8_t, 6> account) {
    if (pin.empty() || pin.size() > kLongestBlockPin ||
        !std::all_of(pin.begin(), pin.end(), [](char c) { return c >= '0' && c <= '9'; }))
        throw std::invalid_argument("a PIN block holds 1 to 14 digits");
    // The PIN field as 16 nibbles: 0, the length, the digits, F behind them.
    std::array<std::uint8_t, 16> nibbles;
    nibbles.fill(0xF);
    nibbles[0] = 0;
    nibbles[1] = static_cast<std::uint8_t>(pin.size());
    for (std::size_t i = 0; i < pin.size(); ++i) nibbles[2 + i] = static_cast<std::uint8_t>(pin[i] - '0');
    std::array<std::uint8_t, 8> block;
    for (std::size_t i = 0; i < 8; ++i) {
        const std::uint8_t account_byte = i < 2 ? 0 : account[i - 2];
        block[i] = static_cast<std::uint8_t>((nibbles[2 * i] << 4 | nibbles[2 * i + 1]) ^ account_byte);
    }
    return block;
}

std::optional<Answer> PinPad::answer(std::span<const std::uint8_t> command) {
    if (command.size() < 2 || command[0] != kGroup || command[1] < kTimeout || command[1] > kEncipheredRead)
        return std::nullopt;
    if (command.size() < 4) return Answer{kPinFieldLengthStatus};
    if (command[2] != 0) return Answer{kPinValueStatus};
    const std::uint8_t code = command[1];
    if (code == kTimeout || code == kLength) {
        if (command.size() != 4) return Answer{kPinFieldLengthStatus};
        const std::uint8_t value = command[3];
        if (value == 0 || (code == kLength && value > kLongestPin)) return Answer{kPinValueStatus};
        (code == kTimeout ? timeout_s_ : pin_length_) = value;
        return Answer{0};
    }
    if (code == kMainKey || code == kWorkKey) {
        const std::uint8_t type = command[3];
        const std::size_t head = code == kMainKey ? 5 : 6;  // C5 code 00 type main [user]
        if (type > 1) return Answer{kPinValueStatus};
        if (command.size() != head + key_size(type)) return Answer{kPinFieldLengthStatus};
        const auto key = command.subspan(head);
        if (code == kMainKey) {
            main_keys_[command[4]].assign(key.begin(), key.end());
            return Answer{0};
        }
        // A work key comes in the clear, under a main key that must have been loaded before it.
        if (!main_keys_.contains(command[4])) return Answer{kPinNoKeyStatus};
        work_keys_[command[5]].assign(key.begin(), key.end());
        return Answer{0};
    }
    return std::nullopt;  // a read: answer_at() takes it
}

std::optional<Answer> PinPad::answer_at(std::span<const std::uint8_t> command, Clock::time_point now) {
    if (command.size() < 2 || command[0] != kGroup || (command[1] != kRead && command[1] != kEncipheredRead))
        return answer(command);
    const bool enciphered = command[1] == kEncipheredRead;
    if (command.size() != (enciphered ? kEncipheredReadSize : kReadSize)) return Answer{kPinFieldLengthStatus};
    if (command[2] != 0 || command[3] != kEscape || (command[4] != kFirstEntry && command[4] != kEntryAgain))
        return Answer{kPinValueStatus};
    Read read{command[4] == kEntryAgain, std::nullopt, {}};
    if (enciphered) {
        if (command[6] != 0 || command[7] != 0 || pin_length_ > kLongestBlockPin) return Answer{kPinValueStatus};
        if (!work_keys_.contains(command[5])) return Answer{kPinNoKeyStatus};
        read.work_key = command[5];
        std::copy_n(command.begin() + 8, 6, read.account.begin());
    }
    read_ = read;
    const auto outcome = entries_.begin(now, std::chrono::seconds(timeout_s_));
    if (outcome.due) return Answer::later(*outcome.due);
    return reply(outcome);
}

Answer PinPad::settle(Clock::time_point now) {
    const auto outcome = entries_.settle(now);
    if (outcome.due) return Answer::later(*outcome.due);
    return reply(outcome);
}

Answer PinPad::reply(const Awaited<PinEntry>::Outcome& outcome) const {
    if (!outcome.event) return Answer{kPinTimeOutStatus};
    const PinEntry& entry = *outcome.event;
    if (entry.cancel) return Answer{kPinCancelledStatus};
    if (entry.pin.size() != pin_length_) return Answer{kPinLengthStatus};
    if (!read_.work_key) return Answer{0, std::vector<std::uint8_t>(entry.pin.begin(), entry.pin.end())};
    // The key was there when the read began, and no command can come between.
    const pad_des::Block block = pad_des::encipher(work_keys_.at(*read_.work_key), pin_block(entry.pin, read_.account));
    return Answer{0, std::vector<std::uint8_t>(block.begin(), block.end())};
}

}  // namespace vnrsim
