#include "agent/sdk/Clock.h"

#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>

#include <atomic>
#include <memory>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

std::atomic<std::int64_t (*)() noexcept> replacement{nullptr};

// The system's tick count, which never runs back as performance counters of XP's machines may, beyond the 32
// bits in which it wraps every 49 days.
std::int64_t tickCount() noexcept {
    static ACE_Thread_Mutex& lock = *std::make_unique<ACE_Thread_Mutex>().release();  // outlives every thread
    static std::uint32_t last = 0;
    static std::int64_t wraps = 0;
    const ACE_Guard<ACE_Thread_Mutex> guard(lock);
    const std::uint32_t now = ::GetTickCount();
    if (now < last) ++wraps;
    last = now;
    return wraps << 32 | now;
}

}  // namespace

std::int64_t SteadyMilliseconds() noexcept {
    if (auto* const source = replacement.load(std::memory_order_acquire)) return source();
    return tickCount();
}

std::int64_t SystemMilliseconds() noexcept {
    FILETIME time;
    ::GetSystemTimeAsFileTime(&time);
    const std::int64_t ticks =
        static_cast<std::int64_t>(time.dwHighDateTime) << 32 | static_cast<std::int64_t>(time.dwLowDateTime);
    constexpr std::int64_t kTicksTo1970 = 116'444'736'000'000'000;
    return (ticks - kTicksTo1970) / 10'000;
}

void ReplaceSteadyClock(std::int64_t (*source)() noexcept) noexcept {
    replacement.store(source, std::memory_order_release);
}

}  // namespace CorvaneAgent
