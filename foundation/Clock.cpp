#include "foundation/Clock.h"

#include <atomic>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {
namespace {

std::int64_t SystemTicksOfWindows() noexcept {
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(now.dwHighDateTime) << 32 |
                                     now.dwLowDateTime);
}

std::int64_t PerformanceCounter() noexcept {
    LARGE_INTEGER count;
    ::QueryPerformanceCounter(&count);  // never fails on XP and later
    return count.QuadPart;
}

/// Where the steady time begins.
struct SteadyOrigin {
    std::int64_t ticks = SystemTicksOfWindows();
    std::int64_t count = PerformanceCounter();
    std::int64_t frequency = 1;
    SteadyOrigin() noexcept {
        LARGE_INTEGER perSecond;
        if (::QueryPerformanceFrequency(&perSecond)) frequency = perSecond.QuadPart;
    }
};

std::int64_t SteadyTicksOfWindows() noexcept {
    static const SteadyOrigin origin;
    const std::int64_t passed = PerformanceCounter() - origin.count;
    // In two steps: the counter times ticks per second would overflow after some days.
    return origin.ticks + passed / origin.frequency * kTicksPerSecond +
           passed % origin.frequency * kTicksPerSecond / origin.frequency;
}

void SleepOfWindows(unsigned int milliseconds) noexcept { ::Sleep(milliseconds); }

const Clock kWindowsClock = {SystemTicksOfWindows, SteadyTicksOfWindows, SleepOfWindows};
std::atomic<const Clock*> current{&kWindowsClock};

}  // namespace

std::int64_t SystemTicks() noexcept { return current.load(std::memory_order_relaxed)->systemTicks(); }

std::int64_t SteadyTicks() noexcept { return current.load(std::memory_order_relaxed)->steadyTicks(); }

void SleepMilliseconds(unsigned int milliseconds) noexcept {
    current.load(std::memory_order_relaxed)->sleepMilliseconds(milliseconds);
}

void ReplaceClock(const Clock* clock) noexcept { current = clock != nullptr ? clock : &kWindowsClock; }

}  // namespace WindowsAgentCommon::detail
