#include "WindowsAgentCommon/SimpleEPS.h"

#include "tests/support/FakeClock.h"
#include "tests/support/Thread.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <vector>

namespace WindowsAgentCommon {
namespace {

class SimpleEPSTest : public testing::Test {
protected:
    // Adds the events of a minute, each at its second; the minute ends after 60.
    void Minute(SimpleEPS& stat, const std::map<int, unsigned long>& events) {
        int second = 0;
        for (const auto& [at, count] : events) {
            clock.AdvanceSeconds(at - second);
            second = at;
            stat.Add(count);
        }
        clock.AdvanceSeconds(60 - second);
        stat.OnMinute();
    }

    test::FakeClock clock;
};

TEST_F(SimpleEPSTest, MinuteIsItsMeanAndItsPeakRateWhateverTheClockIsSetTo) {
    const struct {
        std::map<int, unsigned long> events;
        std::string entry;
    } rows[] = {
        {{}, "0/0"},
        {{{0, 1}}, "0.02/1"},     // a rate below 1 counts as 1
        {{{30, 120}}, "2.00/4"},  // 120 in the 30 seconds since the minute before
        {{{10, 5}, {11, 100}, {15, 8}}, "1.88/100"},
        {{{20, 199}}, "3.32/10"},                // 9.95 and 0.05, in any precision
        {{{1, 0xFFFFFFFF}, {2, 2}}, "0.02/-1"},  // the count of the minute is modulo 2^32
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.entry);
        for (const int setBy : {0, -3600, 86400}) {
            SimpleEPS stat("s");
            clock.SetBySeconds(setBy);
            Minute(stat, row.events);
            EXPECT_EQ(stat.Report(true), "1 Minutes: " + row.entry + " ");
        }
    }
}

TEST_F(SimpleEPSTest, MinutesBecomeHoursAndHoursBecomeDays) {
    const auto repeat = [](int times, const std::string& entry) {
        std::string text;
        while (times-- > 0) text += entry;
        return text;
    };
    const std::string minutes = "60 Minutes: " + repeat(60, "2.00 "), hour = "2.00/2 ";
    const auto days = [&](int count) {
        return minutes + " ==>> 24 Hours: " + repeat(24, hour) + " ==>> " + std::to_string(count) +
               " Days: " + repeat(count, hour);
    };
    const std::map<int, std::string> rows = {{59, "59 Minutes: " + repeat(59, "2.00 ")},
                                             {60, minutes + " ==>> 1 Hours: " + hour},
                                             {24 * 60, days(1)},
                                             {30 * 24 * 60, days(30)},
                                             {31 * 24 * 60, days(29)},
                                             {32 * 24 * 60, days(30)}};
    SimpleEPS stat("s");
    for (int minute = 1; minute <= rows.rbegin()->first; ++minute) {
        Minute(stat, {{60, 120}});
        if (rows.count(minute) == 0) continue;
        ASSERT_EQ(stat.Report(false), rows.at(minute)) << minute;
    }
}

TEST_F(SimpleEPSTest, ThreadsThatAddAtOnceLoseNothing) {
    SimpleEPS stat("s");
    {
        std::deque<test::Thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                for (int call = 0; call < 30000; ++call) stat.Add(2);
            });
    }
    stat.OnMinute();
    EXPECT_EQ(stat.Report(false), "1 Minutes: 4000 ");
}

TEST_F(SimpleEPSTest, LockIsTriedAfter21YieldsAndThenEverySecond) {
    CV_Trans lock;
    std::vector<unsigned int> sleeps;
    clock.OnSleep([&](unsigned int milliseconds) {
        sleeps.push_back(milliseconds);
        if (sleeps.size() == 23) lock.EndTransaction();
    });
    EXPECT_TRUE(lock.StartTransaction());
    EXPECT_TRUE(sleeps.empty());
    EXPECT_TRUE(lock.StartTransaction());
    std::vector<unsigned int> expected(21, 0);
    expected.insert(expected.end(), 2, 1000);
    EXPECT_EQ(sleeps, expected);
}

}  // namespace
}  // namespace WindowsAgentCommon
