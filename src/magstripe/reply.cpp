// src/magstripe/reply.cpp: magstripe. The track record from a stripe read's reply (see magstripe/reply.h).
#include "magstripe/reply.h"

#include <algorithm>

namespace vnr::magstripe {

namespace {

constexpr std::uint8_t kTrack1Start = '%';
constexpr std::uint8_t kTrack2Start = ';';
constexpr std::uint8_t kTrack2Second = ':';

// The bytes of one track that go into the record.
core::Bytes kept_bytes(core::Bytes track, std::size_t index, bool sentinels) noexcept {
    if (!sentinels) return track;
    const bool double_start = index == 1 && track.size() >= 2 && track[0] == kTrack2Start && track[1] == kTrack2Second;
    const std::size_t drop_front = double_start ? 2 : 1;
    constexpr std::size_t kDropBack = 1;
    if (track.size() < drop_front + kDropBack) return {};
    return track.subspan(drop_front, track.size() - drop_front - kDropBack);
}

}  // namespace

std::optional<TrackLengths> fill_track_record(core::Bytes data, std::span<std::uint8_t, kTrackRecordSize> record) noexcept {
    core::ByteReader reader(data);
    const std::optional<core::Bytes> lengths = reader.take(kTrackCount);
    if (!lengths) return std::nullopt;
    // Every track is taken before anything is written, so a reply that lies leaves the record alone.
    std::array<core::Bytes, kTrackCount> tracks;
    for (std::size_t i = 0; i < kTrackCount; ++i) {
        const std::size_t length = (*lengths)[i] == kNoTrack ? 0 : (*lengths)[i];
        const std::optional<core::Bytes> track = reader.take(length);
        if (!track) return std::nullopt;
        tracks[i] = *track;
    }
    const bool sentinels = data.size() > kTrackCount && (data[kTrackCount] == kTrack1Start || data[kTrackCount] == kTrack2Start);
    TrackLengths kept_lengths{};
    for (std::size_t i = 0; i < kTrackCount; ++i) {
        const core::Bytes kept = kept_bytes(tracks[i], i, sentinels);  // at most 255 bytes: it fits its room
        kept_lengths[i] = static_cast<std::uint8_t>(kept.size());
        record[i] = kept_lengths[i];
        std::copy(kept.begin(), kept.end(), record.begin() + static_cast<std::ptrdiff_t>(kTrackCount + i * kTrackRoom));
    }
    return kept_lengths;
}

}  // namespace vnr::magstripe
