// src/reader/reply.cpp: reader. Pure readers of the reader's own replies (see reader/reply.h).
#include "reader/reply.h"

#include <cstdint>

namespace vnr::reader {

std::optional<double> bend_value(core::Bytes data) noexcept {
    core::ByteReader reader(data);
    const std::optional<core::Bytes> r = reader.take(4);
    if (!r) return std::nullopt;
    // Unsigned 32-bit arithmetic wraps modulo 2^32 at each step, which is the same as once at the end.
    constexpr std::uint32_t kHighFactor = 65535;
    const std::uint32_t value = (((*r)[0] * kHighFactor + (*r)[1]) * 256u + (*r)[2]) * 256u + (*r)[3];
    return static_cast<double>(value);
}

}  // namespace vnr::reader
