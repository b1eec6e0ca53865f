#include "agent/sdk/Clock.h"

#include <atomic>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

std::atomic<std::int64_t (*)() noexcept> replacement{nullptr};

}  // namespace

std::int64_t SteadyMilliseconds() noexcept {
    if (auto* const source = replacement.load(std::memory_order_acquire)) return source();
    static const std::int64_t frequency = [] {
        LARGE_INTEGER value;
        ::QueryPerformanceFrequency(&value);
        return value.QuadPart;
    }();
    LARGE_INTEGER counter;
    ::QueryPerformanceCounter(&counter);
    // In two steps, since counter times 1000 overflows after some months of a fast counter.
    return counter.QuadPart / frequency * 1000 + counter.QuadPart % frequency * 1000 / frequency;
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
