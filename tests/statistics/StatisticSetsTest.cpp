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

TEST(Statistics, RolesAreFoundByTypeAndName) {
    struct : IStatisticsPublisher, IStatisticsSubscriber {
    } both;
    IStatisticsParticipant* const participant = &both;  // one, whichever role leads to it
    EXPECT_NE(dynamic_cast<IStatisticsSubscriber*>(participant), nullptr);
    EXPECT_EQ(IStatisticsServer::GetServiceName(), "StatisticsServer");
}

TEST(InstanceStatisticsSet, KeepsStatisticsByInstance) {
    InstanceStatisticsSet set;
    std::shared_ptr<IStatistic> one = std::make_shared<SimpleStatistic>(),
                                two = std::make_shared<SimpleStatistic>(), none;
    for (std::shared_ptr<IStatistic>& statistic : {std::ref(one), std::ref(two), std::ref(one)})
        set.UpdateStatistic(1, statistic);
    set.UpdateStatistic(-1, one);
    EXPECT_THROW(set.UpdateStatistic(2, none), ObjectDoesNotExistException);
    EXPECT_EQ(set.GetSize(), 2u);
    std::set<std::int64_t> instances = {7};
    EXPECT_EQ(set.GetCurrentInstances(instances), 3u);
    EXPECT_EQ(instances, (std::set<std::int64_t>{-1, 1, 7}));

    struct : IStatisticsVisitor {
        void Visit(const std::shared_ptr<IStatistic>& statistic) override {
            seen.insert(statistic);
            std::shared_ptr<IStatistic> another = std::make_shared<SimpleStatistic>();
            changed->UpdateStatistic(1, another);  // which is not visited
        }
        std::set<std::shared_ptr<IStatistic>> seen;
        InstanceStatisticsSet* changed = nullptr;
    } visitor;
    visitor.changed = &set;
    std::set<std::shared_ptr<IStatistic>> statistics;
    EXPECT_TRUE(set.GetStatisticsByInstance(1, statistics));
    EXPECT_FALSE(set.GetStatisticsByInstance(2, statistics) || set.VisitStatisticsByInstance(2, &visitor));
    EXPECT_EQ(statistics, (std::set<std::shared_ptr<IStatistic>>{one, two}));
    EXPECT_TRUE(visitor.seen.empty());
    EXPECT_TRUE(set.VisitStatisticsByInstance(1, &visitor));
    EXPECT_EQ(visitor.seen, statistics);
    EXPECT_THROW(set.VisitStatisticsByInstance(1, nullptr), ObjectDoesNotExistException);
}

}  // namespace
}  // namespace WindowsAgentCommon
