#pragma once

#include <atomic>
#include <cstdint>

namespace WindowsAgentCommon::detail {

/// \file
/// Where the library takes its time from. Nothing in it asks the system for the time or sleeps in another
/// way, except PerformanceTimer, which is about the machine's counter itself. Times are 100-ns units since
/// 1601 (UTC), as in FILETIME. All functions are thread-safe.

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMillisecond = 10'000;
constexpr std::int64_t kTicksTo1970 =
    11'644'473'600 * kTicksPerSecond;  ///< Where Unix's and ACE's times begin.

/// The system's time, for what people read. It jumps when somebody sets the clock.
std::int64_t SystemTicks() noexcept;

/// A time for intervals: begins at the system's time of its first use and advances steadily from there,
/// whatever is done to the system's clock. Never less than any thread has been given before; in the steps of
/// the system's timer (10 to 16 ms on Windows).
std::int64_t SteadyTicks() noexcept;

/// Blocks the calling thread.
void SleepMilliseconds(unsigned int milliseconds) noexcept;

/// A counter of milliseconds with 32 bits, such as the system's, continued beyond them. Takes no lock. A time
/// of more than 49 days in which nobody asks it counts 49.7 days less.
class TickCount {
public:
    explicit constexpr TickCount(std::uint32_t (*read)() noexcept) noexcept : read_(read), steps_(0) {}
    std::int64_t Milliseconds() noexcept;  ///< Never less than any thread has been given before.

private:
    std::uint32_t (*read_)() noexcept;
    std::atomic<std::uint32_t> steps_;  // of 2^16 ms that have passed; they wrap after 8,900 years
};

/// A source of time. Tests put one of their own in place of the system's.
struct Clock {
    std::int64_t (*systemTicks)() noexcept;
    std::int64_t (*steadyTicks)() noexcept;
    void (*sleepMilliseconds)(unsigned int) noexcept;
};

/// Makes every later call use clock, which must outlive its use; null means the system again.
void ReplaceClock(const Clock* clock) noexcept;

}  // namespace WindowsAgentCommon::detail
