// fuzz/magstripe_reply_fuzz.cpp: a stripe read's reply (magstripe/reply.h) over any bytes: the three
// track lengths (0xF5 for none), the tracks behind them, the sentinels dropped, laid into the 771-byte
// track record, which must keep every track within its room and stay untouched when the reply lies.
#include "check.h"
#include "magstripe/reply.h"

#include <algorithm>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::magstripe;
    auto record = std::make_unique<std::array<std::uint8_t, kTrackRecordSize>>();
    record->fill(0xA5);
    const auto lengths = fill_track_record(vnr::core::Bytes(data, size), *record);
    if (!lengths) {
        FUZZ_CHECK(std::all_of(record->begin(), record->end(), [](std::uint8_t b) { return b == 0xA5; }));
        return 0;
    }
    for (std::size_t i = 0; i < kTrackCount; ++i) {
        FUZZ_CHECK((*record)[i] == (*lengths)[i]);
        FUZZ_CHECK((*lengths)[i] < kTrackRoom);
    }
    return 0;
}
