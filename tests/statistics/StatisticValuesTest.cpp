#include "WindowsAgentCommon/AggregatedStatistics.h"
#include "WindowsAgentCommon/InstanceStatisticsSet.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PerformanceTimer.h"
#include "WindowsAgentCommon/SimpleStatistic.h"
#include "tests/support/FakeClock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace WindowsAgentCommon;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr int kStart = 1'772'366'400;  // the fake clock's, seconds since 1970
using Int64 = std::int64_t;

TEST(SimpleStatistic, OnlyAnotherValueIsCollected) {
    test::FakeClock clock;
    SimpleStatistic statistic("a", "b", {9, Int64{5}});
    const std::pair<StatisticValue, bool> rows[] = {
        {{9, Int64{5}}, false},  // the same
        {{7, Int64{5}}, true},    {{7, 5u}, true},          {{7, 6u}, true}, {{7, 6u}, false},
        {{7, kNotANumber}, true}, {{7, kNotANumber}, true},  // which differs from itself
    };
    ACE_Time_Value now(kStart), collected = now;
    for (const auto& [value, changed] : rows) {
        clock.AdvanceMilliseconds(1500);
        now += ACE_Time_Value(1, 500'000);
        if (changed) collected = now;
        EXPECT_EQ(statistic.SetValue(value), changed);
        EXPECT_EQ(statistic.GetCollectedTimestamp(), collected);
    }
    statistic.SetPublishedTimestamp(ACE_Time_Value(9));
    clock.SetBySeconds(100'000'000'000);  // beyond 32 bits of seconds
    statistic.Initialize("B", "d", {1, std::string("x")});
    EXPECT_EQ(statistic.GetPublishedTimestamp(), ACE_Time_Value::zero);
    EXPECT_EQ(statistic.GetCollectedTimestamp().sec(), std::numeric_limits<std::int32_t>::max());
    EXPECT_TRUE(statistic < SimpleStatistic("a", "", {1, true}));
    EXPECT_FALSE(SimpleStatistic("\xC3\xA4", "", {1, true}) < SimpleStatistic("z", "", {1, true}));
}

TEST(PerformanceTimer, EndsWhereItIsTold) {
    PerformanceTimer timer;
    EXPECT_EQ(timer.Final(), 0);
    timer.Start();
    EXPECT_LT(timer.Final(), 0);
    timer.End();
    EXPECT_TRUE(timer.Final() >= 0 && timer.Current() >= timer.Final());
}

TEST(InstanceStatisticsSet, KeepsStatisticsByInstanceAndVisitsThoseOfTheBeginning) {
    struct : InstanceStatisticsSet, IStatisticsVisitor {
        void Visit(const std::shared_ptr<IStatistic>& statistic) override {
            std::shared_ptr<IStatistic> another = std::make_shared<SimpleStatistic>();
            UpdateStatistic(1, another);
            seen.insert(statistic);
        }
        std::set<std::shared_ptr<IStatistic>> seen;
    } set;
    std::shared_ptr<IStatistic> one = std::make_shared<SimpleStatistic>(), none;
    for (const int instance : {1, 1, -1}) set.UpdateStatistic(instance, one);
    EXPECT_THROW(set.UpdateStatistic(2, none), ObjectDoesNotExistException);
    EXPECT_THROW(set.VisitStatisticsByInstance(1, nullptr), ObjectDoesNotExistException);
    std::set<Int64> instances = {7};
    EXPECT_EQ(set.GetCurrentInstances(instances), 3u) << "one was there before";
    EXPECT_EQ(instances, (std::set<Int64>{-1, 1, 7}));
    EXPECT_EQ(set.GetSize(), 2u);
    std::set<std::shared_ptr<IStatistic>> statistics = {none};
    EXPECT_TRUE(!set.GetStatisticsByInstance(2, statistics) && statistics == std::set{none});
    EXPECT_TRUE(set.GetStatisticsByInstance(1, statistics) && statistics == std::set{one});
    EXPECT_TRUE(set.VisitStatisticsByInstance(1, &set) && !set.VisitStatisticsByInstance(2, &set));
    EXPECT_EQ(set.seen, std::set{one});
}

TEST(AggregatedStatistics, BeginsWithInfinitiesAndFollowsItsSamples) {
    test::FakeClock clock;
    AggregatedStatistics series("s", 3);
    const auto expect = [&](const std::vector<double>& numbers, TrendingTendency_t trend) {
        EXPECT_EQ((std::vector<double>{series.GetTotal(), series.GetMinimum(), series.GetMaximum(),
                                       series.GetAverage(), series.GetRollingAverage(),
                                       series.GetTrendRegressionLine().first}),
                  numbers);
        EXPECT_EQ(series.GetTrending(), trend);
    };
    expect({0, kInfinity, kInfinity, kInfinity, kInfinity, kInfinity}, kTrendUnknown);
    EXPECT_EQ(series.GetTrendRegressionLine().second, kInfinity);
    series.Repeat();  // a text: nothing
    const auto update = [&](double value) {
        EXPECT_TRUE(series.Update({9, value}));
        clock.AdvanceSeconds(16);
    };
    update(4);
    update(1);
    expect({5, 1, 4, 2.5, 2.5, kInfinity}, kTrendUnknown);
    clock.SetBySeconds(-3600);  // bends no trend
    update(7);
    expect({12, 1, 7, 4, 4, 0.09375}, kTrendUpwardsSlight);
    EXPECT_EQ(series.GetTrendRegressionLine().second, 4 - 0.09375 * (kStart + 16));
    series.Repeat();
    expect({19, 1, 7, 4.75, 5, 0.1875}, kTrendUpwards);
    for (int i = 0; i < 4; ++i) series.Update({9, 1.0});  // at one moment
    expect({23, 1, 7, 2.875, 1, kInfinity}, kTrendUpwardsSteep);
    AggregatedStatistics degrees("s", 3);
    for (int i = 0; i < 3; ++i, clock.AdvanceSeconds(1)) degrees.Update({9, i * 1.00000000003});
    EXPECT_EQ(degrees.GetTrending(), kTrendUpwards);  // by the full 180 / pi it is above 45 degrees
}

TEST(AggregatedStatistics, TakesInWhatItsTagSaysAndNothingElse) {
    const Int64 one = 1, lowest = std::numeric_limits<Int64>::min();
    const std::pair<StatisticValue, double> rows[] = {
        {{5, one << 40}, 1099511627776.0},
        {{6, -one}, -1},
        {{7, one}, 1},
        {{8, 2.5}, 2.5},
        {{9, -kInfinity}, -kInfinity},
        {{9, kNotANumber}, kNotANumber},
        {{0x109, 2.5}, 2.5},
        {{10, ACE_Time_Value(2'000'000, 500'999)}, 2000000500.0}};
    for (const auto& [value, taken] : rows) {
        SCOPED_TRACE(value.GetType());
        AggregatedStatistics series("s", 4);
        EXPECT_TRUE(series.Update(value));
        EXPECT_TRUE(series.GetMaximum() == taken || std::isnan(taken));
    }
    const StatisticValue rejected[] = {{9, kInfinity}, {0x10009, 2.5}, {lowest + 9, 2.5}, {4, one},
                                       {11, one},      {7, 1u},        {9, one},          {10, 2.5}};
    for (const StatisticValue& value : rejected) {
        SCOPED_TRACE(value.GetType());
        AggregatedStatistics series("s", 4);
        EXPECT_FALSE(series.Update(value));
        EXPECT_EQ(series.GetNumberOfSamples(), 0u);
        EXPECT_TRUE(series.GetCurrent().GetData() == value.GetData());
    }
}

TrendingTendency_t Convert(double angle);
template <TrendingTendency_t (*Function)(double)>
struct Opener {  // an explicit instantiation may name what is private
    friend TrendingTendency_t Convert(double angle) { return Function(angle); }
};
template struct Opener<&AggregatedStatistics::ConvertSlopeToTrend>;

TEST(AggregatedStatistics, TendenciesHaveTheirBoundsAndTexts) {
    const std::pair<double, int> rows[] = {
        {-90.5, 7}, {-90, 1},     {-45.0001, 1}, {-45, 2},     {-10.0001, 2},
        {-10, 3},   {-1.0001, 3}, {-1, 4},       {1, 4},       {1.0001, 5},
        {10, 5},    {10.0001, 6}, {45, 6},       {45.0001, 7}, {kNotANumber, 7},
    };
    for (const auto& [angle, trend] : rows) EXPECT_EQ(Convert(angle), trend) << angle;
    std::string text, texts;
    for (int trend = -1; trend <= 8; ++trend) {
        AggregatedStatistics::TrendToText(static_cast<TrendingTendency_t>(trend), text);
        texts += text + "|";
    }
    EXPECT_EQ(texts,
              "|N/A|Downwards - Steep|Downwards|Downwards - Slight|Even|Upwards - Slight|Upwards|"
              "Upwards - Steep||");
}

}  // namespace
