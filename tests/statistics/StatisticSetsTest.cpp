#include "WindowsAgentCommon/InstanceStatisticsSet.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PerformanceTimer.h"
#include "WindowsAgentCommon/SimpleStatistic.h"

#include <gtest/gtest.h>

namespace WindowsAgentCommon {
namespace {

TEST(PerformanceTimer, EndsWhereItIsTold) {
    PerformanceTimer timer;
    EXPECT_EQ(timer.Final(), 0);
    timer.Start();
    EXPECT_LT(timer.Final(), 0);
    timer.End();
    EXPECT_GE(timer.Final(), 0);
    EXPECT_GE(timer.Current(), timer.Final());
}

TEST(IStatisticsServer, HasAName) { EXPECT_EQ(IStatisticsServer::GetServiceName(), "StatisticsServer"); }

TEST(InstanceStatisticsSet, KeepsStatisticsByInstance) {
    using Statistics = std::set<std::shared_ptr<IStatistic>>;
    struct : InstanceStatisticsSet, IStatisticsVisitor {
        void Visit(const std::shared_ptr<IStatistic>& statistic) override {
            seen.insert(statistic);
            std::shared_ptr<IStatistic> another = std::make_shared<SimpleStatistic>();
            UpdateStatistic(1, another);  // which is not visited
        }
        Statistics seen;
    } set;
    std::shared_ptr<IStatistic> one = std::make_shared<SimpleStatistic>(),
                                two = std::make_shared<SimpleStatistic>(), none;
    for (auto& statistic : {std::ref(one), std::ref(two), std::ref(one)}) set.UpdateStatistic(1, statistic);
    set.UpdateStatistic(-1, one);
    EXPECT_THROW(set.UpdateStatistic(2, none), ObjectDoesNotExistException);
    std::set<std::int64_t> instances = {7};
    EXPECT_EQ(set.GetCurrentInstances(instances), 3u) << "those that were there before count";
    EXPECT_EQ(set.GetSize(), 2u);
    Statistics statistics;
    EXPECT_FALSE(set.GetStatisticsByInstance(2, statistics) || set.VisitStatisticsByInstance(2, &set));
    EXPECT_TRUE(set.seen.empty());
    EXPECT_TRUE(set.VisitStatisticsByInstance(1, &set));
    EXPECT_EQ(set.seen, (Statistics{one, two}));
    EXPECT_TRUE(set.GetStatisticsByInstance(1, statistics));
    EXPECT_EQ(statistics.size(), 4u);
    EXPECT_THROW(set.VisitStatisticsByInstance(1, nullptr), ObjectDoesNotExistException);
}

}  // namespace
}  // namespace WindowsAgentCommon
