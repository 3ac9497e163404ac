// emv/card_session.h: the EMV reader's talk with one card through vnr_32's exported functions: power
// up or activation, APDUs with the card's 61xx and 6Cxx follow-ups within fixed bounds, power down.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace vnr::emv {

using Bytes = std::vector<std::uint8_t>;

// The bounds of one command's follow-ups: GET RESPONSE (61xx) and the command again (6Cxx) at most
// this many times, and at most this many bytes of answer collected.
inline constexpr int kMaxFollowUps = 64;
inline constexpr std::size_t kMaxAnswerBytes = 4096;

// A card's answer: its data and its status word.
struct CardAnswer {
    Bytes data;
    std::uint16_t sw = 0;
    bool ok() const noexcept { return sw == 0x9000; }
};

class CardSession {
public:
    CardSession(std::int32_t icdev, bool contactless) noexcept : icdev_(icdev), contactless_(contactless) {}
    // Powers a contact card that power_up() powered down again.
    ~CardSession();
    CardSession(const CardSession&) = delete;
    CardSession& operator=(const CardSession&) = delete;

    // Powers the contact card up, or activates the contactless one; false when it did not answer.
    bool power_up();
    // The card's whole answer to `apdu`, its follow-ups done; nullopt when an exchange failed or the
    // card went past the bounds (failed() tells then).
    std::optional<CardAnswer> transmit(Bytes apdu);

    bool contactless() const noexcept { return contactless_; }
    bool failed() const noexcept { return failed_; }
    std::uint16_t apdus() const noexcept { return apdus_; }
    std::uint16_t last_sw() const noexcept { return last_sw_; }
    std::int16_t reader_status() const noexcept { return reader_status_; }

private:
    std::int32_t icdev_;
    bool contactless_;
    bool powered_ = false;
    bool failed_ = false;
    std::uint16_t apdus_ = 0;
    std::uint16_t last_sw_ = 0;
    std::int16_t reader_status_ = 0;
};

}  // namespace vnr::emv
