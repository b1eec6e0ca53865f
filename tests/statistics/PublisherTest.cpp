#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PublishingProfileBase.h"
#include "WindowsAgentCommon/RateBasedStatisticsPublisher.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Thread.h"

#include <ace/Auto_Event.h>
#include <gtest/gtest.h>

#include <functional>
#include <cstdint>
#include <sstream>

using namespace WindowsAgentCommon;

namespace {

std::string Text(const std::string& name, const StatisticValue& value) {
    std::ostringstream text;
    const auto data = value.GetData();
    text << name << "=";
    if (const auto* number = boost::get<double>(&data)) text << *number << " ";
    if (const auto* word = boost::get<std::string>(&data)) text << *word << " ";
    return text.str();
}

/// Tells what it shows and what it is given.
struct Profile : PublishingProfileBase, IStatisticsVisitor {
    Profile() : PublishingProfileBase("Reader", "/agent/reader") {}
    void Visit(const std::shared_ptr<IStatistic>& statistic) override {
        text += Text(statistic->GetName(), statistic->GetValue());
    }
    void UpdateStatistic(const std::string& name, StatisticValue& value, int instance) override {
        text += Text(name.substr(name.size() > 6 ? 7 : 0), value);
        if (const auto action = onUpdate) action();
        PublishingProfileBase::UpdateStatistic(name, value, instance);
    }
    std::string Show(int instance = -2) {
        text.clear();
        instance == -2 ? VisitStatistics(this) : PublishingProfileBase::VisitStatistics(this, instance);
        return text;
    }

    std::string text;
    std::function<void()> onUpdate;
};

TEST(PublishingProfileBase, InstanceGetsACopyOfTheDefaultsAtItsFirstUpdate) {
    Profile profile;
    StatisticValue value(9, 5.0);
    profile.UpdateStatistic("b", value, 3);
    EXPECT_EQ(profile.Show(), "") << "there are no defaults";
    EXPECT_THROW(profile.VisitStatistics(nullptr), ObjectDoesNotExistException);
    profile.DeclareStatistic("b", "second", {9, 1.0});
    profile.DeclareStatistic("a", "first", {9, 2.0});
    profile.UpdateStatistic("b", value, 3);
    profile.DeclareStatistic("a", "first", {9, 7.0});
    profile.UpdateStatistic("none", value, 3);
    profile.UpdateStatistic("none", value, 0);
    EXPECT_EQ(profile.Show(3), "a=2 b=5 ");
    EXPECT_EQ(profile.Show(9), "");
    EXPECT_EQ(profile.Show(), "a=7 b=1 a=7 b=1 a=2 b=5 ") << "by instance, the defaults first";
}

struct PublisherTest : testing::Test {
    test::FakeClock clock;
    std::shared_ptr<Profile> profile = std::make_shared<Profile>();
    std::shared_ptr<IPublishingProfile> published = profile;
    std::shared_ptr<std::int64_t> counter = std::make_shared<std::int64_t>(1000);
    RateBasedStatisticsPublisher publisher;
};

TEST_F(PublisherTest, TickPublishesTheRateSinceTheLastOneAndWhatFollowsFromIt) {
    publisher.Register(published, "n", counter, 4);
    publisher.OnTimerExpired(0);
    EXPECT_EQ(profile->text, "") << "not initialised";
    publisher.Initialize(1000);  // longer than the test's time: only the test ticks
    const std::string none = "TrendCoeff1=inf TrendCoeff2=inf Trend=N/A ";
    const std::tuple<std::int64_t, std::string, std::string> rows[] = {
        {10000, "Current=10 Maximum=10 Average=10 RollingAverage=10 " + none, ""},
        {0, "Current=0 Maximum=10 Average=5 RollingAverage=5 ", "Trend=N/A "},
        {20000, "Current=20 Maximum=20 Average=10 RollingAverage=10 TrendCoeff1=1 ", "Upwards "},
        {-80000, "Current=-80 Maximum=20 Average=-12.5 RollingAverage=-12.5 TrendCoeff1=-5 ", "Steep "}};
    for (const auto& [added, text, trend] : rows) {
        *counter += added;
        clock.AdvanceSeconds(5);
        clock.SetBySeconds(3600);
        profile->text.clear();
        publisher.OnTimerExpired(0);
        EXPECT_EQ(profile->text.substr(0, text.size()), text);
        EXPECT_EQ(profile->text.substr(profile->text.size() - trend.size()), trend) << text;
    }
    for (const std::int64_t count : {INT64_MIN, INT64_MAX}) {  // the difference is -1, in 64 bits
        profile->text.clear();
        *counter = count;
        publisher.OnTimerExpired(0);
    }
    EXPECT_EQ(profile->text.substr(0, 14), "Current=-0.001");
}

TEST_F(PublisherTest, ProfileThatThrowsRegistersOrShutsDownHarmsNoOther) {
    const auto other = std::make_shared<Profile>();
    std::shared_ptr<IPublishingProfile> otherPublished = other;
    other->onUpdate = [] { throw 7; };
    publisher.Register(otherPublished, "x", counter, 0);
    publisher.Register(published, "n", counter, 0);
    publisher.Initialize(1);
    *counter += 3;
    publisher.OnTimerExpired(0);
    EXPECT_EQ(profile->text.substr(0, 10), "Current=3 ");
    other->onUpdate = [&] {
        other->onUpdate = nullptr;
        publisher.Register(published, "n", counter, 1);
        publisher.Shutdown();
    };
    profile->text.clear();
    other->text.clear();
    publisher.OnTimerExpired(0);
    EXPECT_EQ(profile->text, "");
    EXPECT_EQ(other->text, "Current=0 ") << "not even the rest of its own";
    EXPECT_EQ(profile.use_count(), 2) << "nothing is registered any more";
    counter.reset();
    EXPECT_THROW(publisher.Register(published, "n", counter, 0), ObjectDoesNotExistException);
    EXPECT_THROW(publisher.Initialize(0), KORStatisticsException);
}

TEST_F(PublisherTest, TimerTicksAndShutdownWaitsForATickAtWork) {
    ACE_Auto_Event inside;
    std::atomic<int> updates{0};
    std::atomic<bool> release{false};
    profile->onUpdate = [&] {
        if (++updates == 1) inside.signal();
        while (!release) ::Sleep(0);
    };
    publisher.Register(published, "n", counter, 0);
    publisher.Initialize(1);
    clock.AdvanceSeconds(1);
    inside.wait();  // the thread looks at the clock once a second has passed outside
    int atShutdown = 0;
    {
        const test::Thread thread([&] {
            publisher.Shutdown();
            atShutdown = updates;
        });
        for (int i = 0; i < 1000; ++i) ::Sleep(0);
        release = true;
    }
    EXPECT_EQ(atShutdown, 7);
}

}  // namespace
