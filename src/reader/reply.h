// src/reader/reply.h: reader. Pure readers of the reader's own replies: no lock, no I/O.
#pragma once

#include "core/bytes.h"

#include <optional>

namespace vnr::reader {

// tf_bend: the number in the first four bytes R0 to R3 of the reply, ((R0*65535 + R1)*256 + R2)*256 + R3
// taken modulo 2^32 as an unsigned value. The factor of R0 is 65535, not 256: that is how the reader's
// value is read, so 01 00 00 00 gives 4294901760. nullopt when the reply has fewer than four bytes.
std::optional<double> bend_value(core::Bytes data) noexcept;

}  // namespace vnr::reader
