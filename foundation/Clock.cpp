#include "foundation/Clock.h"

#include "foundation/FileTime.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {
namespace {

std::int64_t SystemTicksOfWindows() noexcept {
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    return TicksOf(now);
}

std::uint32_t MillisecondsOfWindows() noexcept { return ::GetTickCount(); }

TickCount tickCount(MillisecondsOfWindows);

// Not the performance counter: on machines of XP's time it may differ from core to core, so that it runs
// back, and costs a microsecond.
std::int64_t SteadyTicksOfWindows() noexcept {
    static const std::int64_t origin =
        SystemTicksOfWindows() - tickCount.Milliseconds() * kTicksPerMillisecond;
    return origin + tickCount.Milliseconds() * kTicksPerMillisecond;
}

void SleepOfWindows(unsigned int milliseconds) noexcept { ::Sleep(milliseconds); }

const Clock kWindowsClock = {SystemTicksOfWindows, SteadyTicksOfWindows, SleepOfWindows};
std::atomic<const Clock*> current{&kWindowsClock};

}  // namespace

std::int64_t TickCount::Milliseconds() noexcept {
    // The steps before the count: a thread that is held up in between sees a later count, never an earlier
    // one. Whoever comes first moves the steps on, for all.
    std::uint32_t steps = steps_.load(std::memory_order_acquire);
    const std::uint32_t count = read_();
    const std::uint32_t passed = ((count >> 16) - steps) & 0xFFFF;
    const std::uint32_t now = steps + passed;
    if (passed != 0) steps_.compare_exchange_strong(steps, now);
    return static_cast<std::int64_t>(now) << 16 | (count & 0xFFFF);
}

std::int64_t SystemTicks() noexcept { return current.load(std::memory_order_relaxed)->systemTicks(); }

std::int64_t SteadyTicks() noexcept { return current.load(std::memory_order_relaxed)->steadyTicks(); }

void SleepMilliseconds(unsigned int milliseconds) noexcept {
    current.load(std::memory_order_relaxed)->sleepMilliseconds(milliseconds);
}

void ReplaceClock(const Clock* clock) noexcept { current = clock != nullptr ? clock : &kWindowsClock; }

}  // namespace WindowsAgentCommon::detail
