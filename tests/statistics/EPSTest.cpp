#include "WindowsAgentCommon/EPSCollector.h"
#include "WindowsAgentCommon/SimpleEPS.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Thread.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <map>

using namespace WindowsAgentCommon;

namespace {

TEST(EPSCollector, EntryIsFormattedByTheSizeOfItsAverage) {
    const std::pair<double, std::string> rows[] = {{0, "0"},
                                                   {0.00000049, "0"},
                                                   {0.0000005, "0.000000"},
                                                   {0.000049, "0.000049"},
                                                   {0.00005, "0.0001"},
                                                   {0.00499, "0.0050"},
                                                   {0.005, "0.01"},
                                                   {9.999, "10.00"},
                                                   {12.7, "12"},
                                                   {-3.7, "-3"},
                                                   {1e300, "2147483647"},
                                                   {std::nan(""), "0"}};
    for (const auto& [average, text] : rows) {
        EPSCollector collector("Minutes", 60);
        collector.push(average, 3000000000);
        EXPECT_EQ(collector.report(false, true), "1 Minutes: " + text + "/-1294967296 ")
            << "%d, deliberately";
        EXPECT_EQ(collector.report(false, false), "1 Minutes: " + text + " ");
    }
}

TEST(EPSCollector, FullOneDropsItsTwoOldestEntriesAndReportsWhatEmptiedSlotsHold) {
    // Size; whether it was full at each of six pushes; its report then; the full report when it is emptied.
    const std::tuple<int, std::string, std::string, std::string> rows[] = {
        {-1, "111111", "0 D: ", "0 D: "},
        {1, "111111", "1 D: 16 ", "1 D: 16 "},
        {3, "001010", "2 D: 16 15 ", "3 D: 15 16 15 "}};  // the shift leaves the last slots alone
    for (const auto& [size, wasFull, entries, left] : rows) {
        SCOPED_TRACE(size);
        EPSCollector collector("D", size), coarse("C", 2);
        std::string full;
        for (int i = 11; i <= 16; ++i) full += collector.push(i, 0) ? "1" : "0";
        EXPECT_EQ(full, wasFull);
        EXPECT_EQ(collector.report(false, false), entries);
        EXPECT_FALSE(coarse.push(collector));
        EXPECT_TRUE(collector.isEmpty());
        EXPECT_EQ(collector.report(true, false), left);
    }
}

TEST(EPSCollector, CoarserEntryIsTheMeanOfTheEntriesAndTheLargestOfAllSlots) {
    EPSCollector fine("F", 4), coarse("C", 3);
    fine.push(20, 7);
    fine.push(30, 90);
    EXPECT_FALSE(coarse.push(fine));
    fine.push(40, 3);  // the 90 is still in an emptied slot, and counts
    EXPECT_FALSE(coarse.push(fine));
    EXPECT_TRUE(coarse.push(fine)) << "of no entries";
    EXPECT_EQ(coarse.report(true, true), "3 C: 0/90 40/90 25/90 ");
}

struct SimpleEPSTest : testing::Test {
    // Adds the events of a minute, each at its second; the minute ends after 60.
    void Minute(SimpleEPS& counting, const std::map<int, unsigned long>& events) {
        int second = 0;
        for (const auto& [at, count] : events) {
            clock.AdvanceSeconds(at - second);
            second = at;
            counting.Add(count);
        }
        clock.AdvanceSeconds(60 - second);
        counting.OnMinute();
    }

    test::FakeClock clock;
    SimpleEPS stat{"s"};
};

TEST_F(SimpleEPSTest, MinuteIsItsMeanAndItsPeakRateWhateverTheClockIsSetTo) {
    const std::pair<std::map<int, unsigned long>, std::string> rows[] = {
        {{}, "0/0"},
        {{{0, 1}}, "0.02/1"},     // a rate below 1 counts as 1
        {{{30, 120}}, "2.00/4"},  // 120 in the 30 seconds since the minute before
        {{{10, 5}, {11, 100}, {15, 8}}, "1.88/100"},
        {{{20, 199}}, "3.32/10"},                // 9.95 and 0.05, in any precision
        {{{1, 0xFFFFFFFF}, {2, 2}}, "0.02/-1"},  // the count of the minute is modulo 2^32
    };
    for (const auto& [events, entry] : rows)
        for (const int setBy : {0, -3600, 86400}) {
            SimpleEPS fresh("s");
            clock.SetBySeconds(setBy);
            Minute(fresh, events);
            EXPECT_EQ(fresh.Report(true), "1 Minutes: " + entry + " ");
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
    for (int minute = 1; minute <= rows.rbegin()->first; ++minute) {
        Minute(stat, {{60, 120}});
        if (rows.count(minute) == 0) continue;
        ASSERT_EQ(stat.Report(false), rows.at(minute)) << minute;
    }
}

TEST_F(SimpleEPSTest, ThreadsThatAddAtOnceLoseNothing) {
    std::deque<test::Thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int call = 0; call < 30000; ++call) stat.Add(2);
        });
    threads.clear();
    stat.OnMinute();
    EXPECT_EQ(stat.Report(false), "1 Minutes: 4000 ");
}

TEST_F(SimpleEPSTest, LockIsTriedAfter21YieldsAndThenEverySecond) {
    CV_Trans lock;
    std::vector<unsigned int> sleeps, expected(21, 0);
    clock.OnSleep([&](unsigned int milliseconds) {
        sleeps.push_back(milliseconds);
        if (sleeps.size() == 23) lock.EndTransaction();
    });
    EXPECT_TRUE(lock.StartTransaction() && sleeps.empty());
    EXPECT_TRUE(lock.StartTransaction());
    expected.insert(expected.end(), 2, 1000);
    EXPECT_EQ(sleeps, expected);
}

}  // namespace
