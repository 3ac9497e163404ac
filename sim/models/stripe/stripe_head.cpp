// sim/models/stripe/stripe_head.cpp: the stripe head's answers (see stripe_head.h).
#include "models/stripe/stripe_head.h"

#include <algorithm>
#include <stdexcept>

namespace vnrsim {
namespace {

constexpr std::uint8_t kGroup = 0x32;
constexpr std::uint8_t kRead = 0x60, kModeZero = 0x61, kModeOne = 0x62, kModeByte = 0x63;
constexpr std::uint8_t kModes[] = {0x40, 0x41, 0x80, 0x81, 0xC0, 0xC1};  // those 32 63 carries
constexpr char kStartSentinels[] = {'%', ';', ';'};
constexpr char kEndSentinel = '?';

}  // namespace

void check_track(std::size_t index, std::string_view text) {
    const char low = index == 0 ? ' ' : '0', high = index == 0 ? '_' : '>';
    for (const char c : text)
        if (c < low || c > high || c == kStartSentinels[index] || c == kEndSentinel || c == '%')
            throw std::invalid_argument("track " + std::to_string(index + 1) + " cannot hold \"" + std::string(1, c) +
                                        "\" (it takes '" + low + "' to '" + high + "' but its sentinels)");
    if (text.size() > kTrackRoom[index])
        throw std::invalid_argument("track " + std::to_string(index + 1) + " holds " +
                                    std::to_string(kTrackRoom[index]) + " characters at most, not " +
                                    std::to_string(text.size()));
}

std::vector<std::uint8_t> swipe_data(const Swipe& swipe) {
    std::vector<std::uint8_t> data;
    for (const std::string& track : swipe.tracks)
        data.push_back(track.empty() ? kNoTrack : static_cast<std::uint8_t>(track.size() + 2));
    for (std::size_t i = 0; i < swipe.tracks.size(); ++i) {
        if (swipe.tracks[i].empty()) continue;
        data.push_back(static_cast<std::uint8_t>(kStartSentinels[i]));
        data.insert(data.end(), swipe.tracks[i].begin(), swipe.tracks[i].end());
        data.push_back(static_cast<std::uint8_t>(kEndSentinel));
    }
    return data;
}

std::optional<Answer> StripeHead::answer(std::span<const std::uint8_t> command) {
    if (command.size() < 2 || command[0] != kGroup) return std::nullopt;
    switch (command[1]) {
        case kModeZero:
        case kModeOne:
            if (command.size() != 2) return Answer{kStripeLengthStatus};
            mode_ = command[1] == kModeZero ? 0 : 1;
            return Answer{0};
        case kModeByte:
            if (command.size() != 3) return Answer{kStripeLengthStatus};
            if (std::find(std::begin(kModes), std::end(kModes), command[2]) == std::end(kModes))
                return Answer{kStripeValueStatus};
            mode_ = command[2];
            return Answer{0};
        default:
            return std::nullopt;
    }
}

std::optional<Answer> StripeHead::answer_at(std::span<const std::uint8_t> command, Clock::time_point now) {
    if (command.size() < 2 || command[0] != kGroup || command[1] != kRead) return answer(command);
    if (command.size() != 3) return Answer{kStripeLengthStatus};
    const auto outcome = swipes_.begin(now, std::chrono::seconds(command[2]));
    if (outcome.due) return Answer::later(*outcome.due);
    return reply(outcome, kNoSwipeStatus);
}

Answer StripeHead::settle(Clock::time_point now) {
    const auto outcome = swipes_.settle(now);
    if (outcome.due) return Answer::later(*outcome.due);
    return reply(outcome, kSwipeTimeOutStatus);
}

Answer StripeHead::reply(const Awaited<Swipe>::Outcome& outcome, std::uint16_t nothing_status) const {
    if (!outcome.event) return Answer{nothing_status};
    if (outcome.event->bad) return Answer{kBadSwipeStatus};
    return Answer{0, swipe_data(*outcome.event)};
}

}  // namespace vnrsim
