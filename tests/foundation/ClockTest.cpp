#include "foundation/Clock.h"

#include <gtest/gtest.h>

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

TEST(Clock, OnlySystemTimeFollowsASetClock) {
    test::FakeClock clock;
    clock.SetBySeconds(-3600);
    SleepMilliseconds(1500);
    EXPECT_EQ(SystemTicks(), clock.kStart - 3600 * kTicksPerSecond + 1500 * kTicksPerMillisecond);
    EXPECT_EQ(SteadyTicks(), clock.kStart + 1500 * kTicksPerMillisecond);
}

}  // namespace
}  // namespace WindowsAgentCommon::detail
