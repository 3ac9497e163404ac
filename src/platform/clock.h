// src/platform/clock.h: platform. Clocks and the local time.
#pragma once

#include <cstdint>

namespace vnr::platform {

// Milliseconds from an arbitrary start, never going back (GetTickCount's role).
std::uint64_t tick_ms() noexcept;

// A high-resolution counter and its frequency in counts per second
// (QueryPerformanceCounter / QueryPerformanceFrequency's role).
std::uint64_t performance_counter() noexcept;
std::uint64_t performance_frequency() noexcept;

// Wall-clock time in the local time zone, split into fields (GetLocalTime's role).
struct LocalTime {
    int year = 0;         // e.g. 2017
    int month = 0;        // 1 to 12
    int day = 0;          // 1 to 31
    int hour = 0;         // 0 to 23
    int minute = 0;       // 0 to 59
    int second = 0;       // 0 to 59 (60 on a leap second where the system reports one)
    int millisecond = 0;  // 0 to 999
};
LocalTime local_time() noexcept;

// Suspends the calling thread for at least `microseconds`.
void sleep_us(std::uint64_t microseconds) noexcept;

}  // namespace vnr::platform
