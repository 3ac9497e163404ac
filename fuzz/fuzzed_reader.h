// fuzz/fuzzed_reader.h: fuzz. A reader on the serial link that answers every command of an exported
// function with a reply the fuzzer writes, in a good frame, so that a family's functions meet any reply
// data: a status pair and data of any length, or data behind a success. The fuzzer's bytes also pick the
// functions and their arguments: FuzzedDataProvider takes numbers from the end and replies from the front.
#pragma once

#include "core/frame.h"
#include "core/state.h"
#include "fuzzed_link.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <vector>

namespace vnr::fuzz {

// The longest reply data a command of these families may meet: the APDU's 3073 bytes and a few more.
inline constexpr std::size_t kLongestReply = 3100;

// The fuzzed reader for one input: while it stands, every command gets the next reply that `bytes`
// gives (none when they run out: the read fails).
class FuzzedReader {
public:
    explicit FuzzedReader(FuzzedDataProvider& bytes) {
        Incoming& in = incoming();
        in.rest = {};
        in.chunk = 4096;
        in.sent.clear();
        in.queued.clear();
        in.queued_at = 0;
        in.answer = [&bytes] {
            std::vector<std::uint8_t> payload;
            // Mostly a success with data; else a status pair (or less) and data as they come.
            if (bytes.ConsumeIntegral<std::uint8_t>() % 4 != 0) payload = {0x00, 0x00};
            const std::vector<std::uint8_t> data =
                bytes.ConsumeBytes<std::uint8_t>(bytes.ConsumeIntegralInRange<std::size_t>(0, kLongestReply));
            payload.insert(payload.end(), data.begin(), data.end());
            std::vector<std::uint8_t> frame(core::wire_length(core::FrameForm::plain, payload.size()));
            core::encode_frame(payload, core::FrameForm::plain, frame);
            return frame;
        };
        core::link_state().com_mode = core::kLinkSerial;
        core::link_state().trans_mode = core::kSplitForm;
        core::set_comm_timeout(core::kStandingTimeoutMs, 0);
    }
    ~FuzzedReader() { incoming().answer = nullptr; }
    FuzzedReader(const FuzzedReader&) = delete;
    FuzzedReader& operator=(const FuzzedReader&) = delete;

    std::int32_t icdev() const { return fuzzed_port_handle(); }
};

// A buffer of exactly `size` bytes, so that a write past a documented room is caught.
inline std::vector<std::uint8_t> room(std::size_t size) { return std::vector<std::uint8_t>(size, 0xA5); }

}  // namespace vnr::fuzz
