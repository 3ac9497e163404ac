// src/magstripe/read.h: magstripe. The stripe read that magnetic_read and magnetic_read_ms share, and
// the waits of each.
#pragma once

#include <cstdint>

namespace vnr::magstripe {

// What sets the two reads apart in the log.
struct StripeRead {
    const char* entry_line;
    const char* end_format;            // "%d": 0, the reply's data length, the record's three lengths
    const char* missing_record_line;
};

// The seconds the reader waits for a swipe (the command's third byte) and the library's read time-out.
struct StripeWait {
    std::uint8_t reader_s;
    std::uint32_t library_ms;
};

// magnetic_read: 0 s waits 1000 ms, 1 to 3 s wait 5000 ms, more waits a second longer than the reader.
std::uint32_t read_wait_ms(std::uint8_t wait_s) noexcept;

// magnetic_read_ms: the reader gets the whole seconds (low 8 bits), the library waits 1000 ms longer;
// 0 waits 1000 ms. A negative wait counts as 0.
StripeWait stripe_wait_of_ms(std::int32_t wait_ms) noexcept;

// Sends 32 60 and the reader's wait, and fills the 771-byte track record on success. A reply whose
// lengths reach past its data gives VNR_E_END_BYTE and leaves the record alone.
std::int16_t read_stripe(const StripeRead& read, std::int32_t icdev, StripeWait wait, std::uint8_t* tracks);

}  // namespace vnr::magstripe
