// sim/models/stripe/stripe_head.h: the model "stripe", the reader's magnetic stripe head: a read that
// waits for a swipe, the swipes given on the control channel or scripted in the deck (vnrsim/awaited.h),
// and the head's mode. Its deck section and control words are in stripe_control.cpp, told by help().
//
// Commands:
//   32 60 WAIT       read: waits up to WAIT seconds for a swipe; its reply comes later (vnrsim/model.h).
//                    WAIT 0 answers at once with the swipe there is, or kNoSwipeStatus.
//   32 61, 32 62     mode 0 and mode 1; 32 63 MODE: mode 40, 41, 80, 81, C0 or C1. Taken and kept.
// A swipe's reply: status 0, data: three length bytes (kNoTrack for a track the card lacks) and the
// tracks, each framed by its sentinels: track 1 '%' ... '?', tracks 2 and 3 ';' ... '?'; a length
// counts the sentinels. A bad swipe answers kBadSwipeStatus, a wait that runs out kSwipeTimeOutStatus.
// Command fields of the wrong length answer kStripeLengthStatus, a mode outside the list
// kStripeValueStatus.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "vnrsim/awaited.h"
#include "vnrsim/model.h"

namespace vnrsim {

constexpr std::uint16_t kSwipeTimeOutStatus = 0x6400;  // no swipe came within the wait
constexpr std::uint16_t kBadSwipeStatus = 0x6403;      // a card went through, but the head read no track
constexpr std::uint16_t kNoSwipeStatus = 0x6404;       // a read without a wait found no swipe there
constexpr std::uint16_t kStripeLengthStatus = 0x6700;  // the command's fields are not as long as it takes
constexpr std::uint16_t kStripeValueStatus = 0x6A80;   // a mode the head does not know

constexpr std::uint8_t kNoTrack = 0xF5;  // the length byte of a track the card does not have

// The most characters a track holds between its sentinels.
constexpr std::array<std::size_t, 3> kTrackRoom{76, 37, 104};

// One swipe: the three tracks' text without sentinels (an empty one: the card lacks the track); or a
// bad swipe, whose tracks are not looked at.
struct Swipe {
    std::array<std::string, 3> tracks;
    bool bad = false;
};

// Checks track `index` (0 to 2): the characters of its kind (track 1: ' ' to '_' without '%' and '?';
// tracks 2 and 3: '0' to '>' without ';'), at most kTrackRoom. Throws std::invalid_argument saying why.
void check_track(std::size_t index, std::string_view text);

// The reply data of a good swipe, as the head frames it.
std::vector<std::uint8_t> swipe_data(const Swipe& swipe);

class StripeHead : public Model {
public:
    const ModelHelp& help() const override;
    void load(const nlohmann::json& section, const std::filesystem::path& folder) override;
    // The mode commands; the read only through answer_at(), which has the time.
    std::optional<Answer> answer(std::span<const std::uint8_t> command) override;
    std::optional<Answer> answer_at(std::span<const std::uint8_t> command, Clock::time_point now) override;
    Answer settle(Clock::time_point now) override;
    void abandon() override { swipes_.abandon(); }
    std::string control(const ControlLine& line) override;

    // A swipe now, as on the control channel: the waiting read takes it, or the next read.
    void swipe(Swipe swipe) { swipes_.give(std::move(swipe)); }
    // The last mode command's mode (0 before any).
    std::uint8_t mode() const noexcept { return mode_; }
    // The swipes to come.
    const Awaited<Swipe>& swipes() const noexcept { return swipes_; }

private:
    Answer reply(const Awaited<Swipe>::Outcome& outcome, std::uint16_t nothing_status) const;

    Awaited<Swipe> swipes_;
    std::uint8_t mode_ = 0;
};

}  // namespace vnrsim
