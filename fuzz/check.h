// fuzz/check.h: fuzz. What every target needs beside the code under test: a check that stops the run
// with its condition (a finding, as a sanitizer's is), and a read of every byte a parser hands back, so
// that a view reaching past its input is caught by the address sanitizer even when nothing else reads it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#define FUZZ_CHECK(condition)                                                                  \
    do {                                                                                       \
        if (!(condition)) {                                                                    \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                      \
        }                                                                                      \
    } while (0)

namespace vnr::fuzz {

inline void touch(std::span<const std::uint8_t> bytes) {
    static volatile std::uint8_t sink;
    for (const std::uint8_t byte : bytes) sink = static_cast<std::uint8_t>(sink ^ byte);
}
inline void touch(std::span<const char> text) {
    touch(std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

}  // namespace vnr::fuzz
