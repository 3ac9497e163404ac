// src/magstripe/reply.h: magstripe. The reply of a stripe read and the track record the caller gets.
// Pure: no lock, no I/O.
//
// Reply data: three length bytes (tracks 1, 2, 3; 0xF5 means no track and counts as 0), then the tracks
// one behind the other. Track record, 771 bytes: the three lengths, then 256 bytes of room per track.
#pragma once

#include "core/bytes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace vnr::magstripe {

inline constexpr std::size_t kTrackCount = 3;
inline constexpr std::size_t kTrackRoom = 256;
inline constexpr std::size_t kTrackRecordSize = kTrackCount + kTrackCount * kTrackRoom;  // 771
inline constexpr std::uint8_t kNoTrack = 0xF5;

using TrackLengths = std::array<std::uint8_t, kTrackCount>;

// Lays the tracks of `data` into `record`: each track's length and its bytes; the bytes behind a
// track's length stay as they were. When the first byte of the track area is a start sentinel ('%' or
// ';'), every track loses its first and its last byte, and a track 2 that begins with ";:" its first
// two and its last; a track too short for that (a length of 1 or 2) gets length 0. Otherwise the
// tracks go in as they came. Tracks are found by the reply's lengths, never the record's.
// Gives the record's three lengths, or nullopt (and the record untouched) when the reply is shorter
// than its three lengths and the tracks they declare.
std::optional<TrackLengths> fill_track_record(core::Bytes data, std::span<std::uint8_t, kTrackRecordSize> record) noexcept;

}  // namespace vnr::magstripe
