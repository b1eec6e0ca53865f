#include "foundation/Clock.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/FakeClock.h"

namespace WindowsAgentCommon::detail {
namespace {

TEST(Clock, SteadyTimeBeginsAtTheSystemsTimeAndNeverRunsBack) {
    const std::int64_t system = SystemTicks();
    std::int64_t last = SteadyTicks();
    EXPECT_NEAR(static_cast<double>(last - system), 0, 60.0 * kTicksPerSecond);
    for (int i = 0; i < 10000; ++i) {
        const std::int64_t now = SteadyTicks();
        ASSERT_GE(now, last);
        last = now;
    }
}

std::uint32_t nextCount;
TickCount* askedMeanwhile;
std::int64_t givenMeanwhile;

std::uint32_t Count() noexcept {
    if (TickCount* const count = std::exchange(askedMeanwhile, nullptr))
        givenMeanwhile = count->Milliseconds();
    return nextCount;
}

TEST(Clock, TheCountGoesOnWhereTheSystemsStepsBack) {
    TickCount count(Count);
    std::int64_t last = 0x7FFF'FFF0;
    nextCount = 0x7FFF'FFF0;
    ASSERT_EQ(count.Milliseconds(), last);
    for (const std::uint32_t next :
         {0x7FFF'FFFFU, 0x8000'0000U, 0xFFFF'FFF0U, 0x10U, 0x10U, 0x9000'0000U, 0x0U}) {
        SCOPED_TRACE(next);
        last += next - nextCount;
        nextCount = next;
        askedMeanwhile = &count;  // as by another thread, between the reading of the half and of the count
        EXPECT_EQ(count.Milliseconds(), last);
        EXPECT_EQ(givenMeanwhile, last);
    }
}

TEST(Clock, OnlySystemTimeFollowsASetClock) {
    test::FakeClock clock;
    clock.SetBySeconds(-3600);
    SleepMilliseconds(1500);
    EXPECT_EQ(SystemTicks(), clock.kStart - 3600 * kTicksPerSecond + 1500 * kTicksPerMillisecond);
    EXPECT_EQ(SteadyTicks(), clock.kStart + 1500 * kTicksPerMillisecond);
}

}  // namespace
}  // namespace WindowsAgentCommon::detail
