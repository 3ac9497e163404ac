// src/platform/win32/clock.cpp: platform (Windows). Tick count, performance counter, local time and
// sleeping.
#include "platform/clock.h"

#include "platform/win32/unique_handle.h"

#include <windows.h>

#include <algorithm>

namespace vnr::platform {

namespace {
constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
// One timer wait never asks for more than this, so the 100 ns count below cannot overflow.
constexpr std::uint64_t kLongestWaitUs = 3'600ull * kMicrosecondsPerSecond;

// `microseconds` in counts of a counter running at `frequency` per second, without overflowing.
std::uint64_t counts_of(std::uint64_t microseconds, std::uint64_t frequency) {
    return microseconds / kMicrosecondsPerSecond * frequency +
           microseconds % kMicrosecondsPerSecond * frequency / kMicrosecondsPerSecond;
}
}  // namespace

// GetTickCount64 rather than GetTickCount: the 32-bit count wraps after 49.7 days.
std::uint64_t tick_ms() noexcept { return ::GetTickCount64(); }

std::uint64_t performance_counter() noexcept {
    LARGE_INTEGER count{};
    ::QueryPerformanceCounter(&count);  // cannot fail since Windows XP
    return static_cast<std::uint64_t>(count.QuadPart);
}

std::uint64_t performance_frequency() noexcept {
    LARGE_INTEGER frequency{};
    ::QueryPerformanceFrequency(&frequency);
    return static_cast<std::uint64_t>(frequency.QuadPart);
}

LocalTime local_time() noexcept {
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    return LocalTime{now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

void sleep_us(std::uint64_t microseconds) noexcept {
    if (microseconds == 0) return;
    // A waitable timer takes its due time in 100 ns units, finer than Sleep's milliseconds. Either
    // may wake a little early on a coarse system tick, so the performance counter decides when the
    // wait is over.
    const std::uint64_t frequency = std::max<std::uint64_t>(performance_frequency(), 1);
    const std::uint64_t due = performance_counter() + counts_of(microseconds, frequency);
    const UniqueObjectHandle timer{::CreateWaitableTimerW(nullptr, TRUE, nullptr)};
    for (;;) {
        const std::uint64_t now = performance_counter();
        if (now >= due) return;
        const std::uint64_t left_counts = due - now;
        const std::uint64_t left_us = std::min(
            left_counts / frequency * kMicrosecondsPerSecond + left_counts % frequency * kMicrosecondsPerSecond / frequency + 1,
            kLongestWaitUs);
        LARGE_INTEGER relative{};
        relative.QuadPart = -static_cast<LONGLONG>(left_us * 10);  // negative: relative to now
        if (timer && ::SetWaitableTimer(timer.get(), &relative, 0, nullptr, nullptr, FALSE) &&
            ::WaitForSingleObject(timer.get(), INFINITE) == WAIT_OBJECT_0)
            continue;
        ::Sleep(static_cast<DWORD>((left_us + 999) / 1000));
    }
}

}  // namespace vnr::platform
