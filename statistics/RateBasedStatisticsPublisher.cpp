#include "WindowsAgentCommon/RateBasedStatisticsPublisher.h"

#include "WindowsAgentCommon/AggregatedStatistics.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "foundation/Clock.h"
#include "logging/ProcessEnd.h"
#include "queues/AceTime.h"

#include <ace/Guard_T.h>

#include <exception>
#include <utility>

namespace WindowsAgentCommon {
namespace {

using Guard = ACE_Guard<ACE_Recursive_Thread_Mutex>;

constexpr unsigned int kWindow = 64;  // ticks
constexpr std::int64_t kText = 1, kNumber = 9;

// In one piece, which a plain read of 64 bits is not on this machine.
std::int64_t Read(const std::int64_t& counter) noexcept {
    return __atomic_load_n(&counter, __ATOMIC_SEQ_CST);
}

void LogLost(const std::string& name, const char* why) {
    GetLoggerFactory().GetLog("Code.Statistics")->Error("Rates of %s are lost: %s", name.c_str(), why);
}

}  // namespace

struct RateBasedStatisticsPublisher::Registration {
    std::shared_ptr<IPublishingProfile> profile;
    std::string name;
    int instance;
    std::shared_ptr<std::int64_t> counter;
    std::int64_t previous;
    AggregatedStatistics aggregate;
};

class RateBasedStatisticsPublisher::TimerHandler final : public ACE_Event_Handler {
public:
    explicit TimerHandler(RateBasedStatisticsPublisher& publisher) : publisher_(publisher) {}

    int handle_timeout(const ACE_Time_Value&, const void*) override {
        publisher_.OnTimerExpired(0);
        return 0;
    }

private:
    RateBasedStatisticsPublisher& publisher_;
};

RateBasedStatisticsPublisher::RateBasedStatisticsPublisher()
    : interval_(0), initialized_(false), handler_(std::make_unique<TimerHandler>(*this)) {}

RateBasedStatisticsPublisher::~RateBasedStatisticsPublisher() {
    Shutdown();
    scheduler_.reset();  // before the lock, for which a tick that comes too late may be waiting
}

void RateBasedStatisticsPublisher::Initialize(unsigned int intervalSeconds) {
    if (intervalSeconds == 0)
        throw KORStatisticsException(__FILE__, __FUNCTION__, __LINE__, "Rates need an interval above 0");
    const Guard guard(lock_);
    if (!scheduler_) scheduler_ = std::make_unique<Scheduler>();
    const std::int64_t wait = std::int64_t{intervalSeconds} * detail::kTicksPerSecond;
    auto timer = scheduler_->Schedule(handler_.get(), nullptr, detail::AceTime(wait),
                                      detail::AceTime(detail::SystemTicks() - detail::kTicksTo1970 + wait));
    timer.swap(timer_);
    scheduler_->Cancel(timer);  // of an earlier call
    interval_ = intervalSeconds;
    initialized_ = true;
}

void RateBasedStatisticsPublisher::Register(std::shared_ptr<IPublishingProfile>& profile,
                                            const std::string& name, std::shared_ptr<std::int64_t>& counter,
                                            int instance) {
    if (!profile || !counter)
        throw ObjectDoesNotExistException(__FILE__, __FUNCTION__, __LINE__, "a counter or its profile");
    const Guard guard(lock_);
    registrations_.push_back(std::make_shared<Registration>(
        Registration{profile, name, instance, counter, Read(*counter), AggregatedStatistics(name, kWindow)}));
}

void RateBasedStatisticsPublisher::OnTimerExpired(int) {
    const Guard guard(lock_);
    const auto registrations = registrations_;  // a profile may register another, or shut down
    for (const auto& registration : registrations) {
        if (!initialized_) return;
        try {
            Tick(*registration);
        } catch (const std::exception& failure) {
            LogLost(registration->name, failure.what());
        } catch (...) {
            LogLost(registration->name, "an unknown exception");
        }
    }
}

void RateBasedStatisticsPublisher::Tick(Registration& registration) const {
    const std::int64_t current = Read(*registration.counter);
    // Without sign, where a counter may run over.
    const auto delta = static_cast<std::int64_t>(static_cast<std::uint64_t>(current) -
                                                 static_cast<std::uint64_t>(registration.previous));
    registration.previous = current;
    const double rate = static_cast<double>(delta) / static_cast<double>(interval_);
    AggregatedStatistics& aggregate = registration.aggregate;
    aggregate.Update(StatisticValue(kNumber, rate));
    const auto publish = [&](const char* suffix, StatisticValue value) {
        if (!initialized_) return;  // the profile has shut down
        registration.profile->UpdateStatistic(registration.name + suffix, value, registration.instance);
    };
    const auto [slope, intercept] = aggregate.GetTrendRegressionLine();
    std::string trend;
    AggregatedStatistics::TrendToText(aggregate.GetTrending(), trend);
    publish("PerSecCurrent", StatisticValue(kNumber, rate));
    publish("PerSecMaximum", StatisticValue(kNumber, aggregate.GetMaximum()));
    publish("PerSecAverage", StatisticValue(kNumber, aggregate.GetAverage()));
    publish("PerSecRollingAverage", StatisticValue(kNumber, aggregate.GetRollingAverage()));
    publish("PerSecTrendCoeff1", StatisticValue(kNumber, slope));
    publish("PerSecTrendCoeff2", StatisticValue(kNumber, intercept));
    publish("PerSecTrend", StatisticValue(kText, trend));
}

void RateBasedStatisticsPublisher::Shutdown() {
    if (CorvaneLogger::detail::ProcessIsEnding()) return;  // a thread that is no more may hold the lock
    const Guard guard(lock_);
    if (!initialized_) return;
    scheduler_->Cancel(timer_);
    initialized_ = false;
    registrations_.clear();
}

}  // namespace WindowsAgentCommon
