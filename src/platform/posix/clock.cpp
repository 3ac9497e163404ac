// src/platform/posix/clock.cpp: platform (POSIX). Monotonic clocks and the local time.
#include "platform/clock.h"

#include <time.h>

#include <cerrno>

namespace vnr::platform {

namespace {
std::uint64_t monotonic_ns() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000u + static_cast<std::uint64_t>(now.tv_nsec);
}
}  // namespace

std::uint64_t tick_ms() noexcept { return monotonic_ns() / 1'000'000u; }

std::uint64_t performance_counter() noexcept { return monotonic_ns(); }

std::uint64_t performance_frequency() noexcept { return 1'000'000'000u; }

LocalTime local_time() noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm fields{};
    localtime_r(&now.tv_sec, &fields);
    return LocalTime{fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday, fields.tm_hour,
                     fields.tm_min,         fields.tm_sec,     static_cast<int>(now.tv_nsec / 1'000'000)};
}

void sleep_us(std::uint64_t microseconds) noexcept {
    timespec wait{static_cast<time_t>(microseconds / 1'000'000u), static_cast<long>(microseconds % 1'000'000u) * 1000};
    while (nanosleep(&wait, &wait) != 0 && errno == EINTR) {
    }
}

}  // namespace vnr::platform
