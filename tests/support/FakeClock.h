#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include "foundation/Clock.h"

namespace WindowsAgentCommon::test {

/// Time that stands still until the test moves it, for the whole library while the object lives (programs
/// that link the library's objects, not the DLL). One at a time.
class FakeClock {
public:
    /// Both times begin at 2026-03-01 12:00:00 UTC.
    FakeClock() {
        system_ = steady_ = kStart;
        slept_ = 0;
        onSleep_ = nullptr;
        static const detail::Clock clock = {System, Steady, Sleep};
        detail::ReplaceClock(&clock);
    }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;
    ~FakeClock() { detail::ReplaceClock(nullptr); }

    /// Lets time pass.
    void AdvanceMilliseconds(std::int64_t milliseconds) { Advance(milliseconds); }
    void AdvanceSeconds(std::int64_t seconds) { Advance(seconds * 1000); }

    /// Sets the system's clock forward or back; steady time does not notice.
    void SetBySeconds(std::int64_t seconds) { system_ += seconds * detail::kTicksPerSecond; }

    /// How long the library has slept so far. Sleeping lets time pass at once.
    std::int64_t SleptMilliseconds() const { return slept_; }

    /// Calls action with the milliseconds of each later sleep, in the thread that sleeps, once it is over.
    void OnSleep(std::function<void(unsigned int)> action) { onSleep_ = std::move(action); }

    static constexpr std::int64_t kStart = 134'168'400'000'000'000;

private:
    static void Advance(std::int64_t milliseconds) {
        system_ += milliseconds * detail::kTicksPerMillisecond;
        steady_ += milliseconds * detail::kTicksPerMillisecond;
    }
    static std::int64_t System() noexcept { return system_; }
    static std::int64_t Steady() noexcept { return steady_; }
    static void Sleep(unsigned int milliseconds) noexcept {
        slept_ += milliseconds;
        Advance(milliseconds);
        if (onSleep_) onSleep_(milliseconds);
    }

    static inline std::function<void(unsigned int)> onSleep_;
    static inline std::atomic<std::int64_t> system_{0}, steady_{0}, slept_{0};
};

}  // namespace WindowsAgentCommon::test
