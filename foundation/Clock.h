#pragma once

#include <cstdint>

namespace WindowsAgentCommon::detail {

/// \file
/// Where the library takes its time from. Nothing in it asks the system for the time or sleeps in another
/// way, except PerformanceTimer, which is about the machine's counter itself. Times are 100-ns units since
/// 1601 (UTC), as in FILETIME. All functions are thread-safe.

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMillisecond = 10'000;

/// The system's time, for what people read. It jumps when somebody sets the clock.
std::int64_t SystemTicks() noexcept;

/// A time for intervals: begins at the system's time of its first use and advances steadily from there,
/// whatever is done to the system's clock.
std::int64_t SteadyTicks() noexcept;

/// Blocks the calling thread.
void SleepMilliseconds(unsigned int milliseconds) noexcept;

/// A source of time. Tests put one of their own in place of the system's.
struct Clock {
    std::int64_t (*systemTicks)() noexcept;
    std::int64_t (*steadyTicks)() noexcept;
    void (*sleepMilliseconds)(unsigned int) noexcept;
};

/// Makes every later call use clock, which must outlive its use; null means the system again.
void ReplaceClock(const Clock* clock) noexcept;

}  // namespace WindowsAgentCommon::detail
