#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <ace/Event_Handler.h>
#include <ace/Recursive_Thread_Mutex.h>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/IPublishingProfile.h"
#include "WindowsAgentCommon/Scheduler.h"

namespace WindowsAgentCommon {

/// Turns counters into rates: on a fixed interval it reads each registered counter and publishes, in the
/// counter's profile and instance, seven statistics: the base name and
/// | suffix | value |
/// |---|---|
/// | PerSecCurrent | counts per second since the last tick; negative when the counter went back |
/// | PerSecMaximum, PerSecAverage | of all ticks |
/// | PerSecRollingAverage | of the last 64 ticks |
/// | PerSecTrendCoeff1, PerSecTrendCoeff2 | slope and intercept of their line; infinite until the third |
/// | PerSecTrend | its tendency as text ("Upwards - Slight"); "N/A" until the third |
///
/// All but the text have the type tag 9 and a double, the text has 1 and a std::string. What the numbers mean
/// in full says AggregatedStatistics. A profile gets only what it has declared.
///
/// Any thread may call anything. Ticks come from a thread of the publisher's own, at a steady time: setting
/// the system's clock neither stops nor bunches them. A late tick divides by the interval all the same.
/// A tick holds the publisher's recursive lock while it calls profiles; one that throws is logged as an error
/// and costs the others nothing. A profile may call back, but must not destroy the publisher.
class CORVANE_API RateBasedStatisticsPublisher {
public:
    RateBasedStatisticsPublisher();
    RateBasedStatisticsPublisher(const RateBasedStatisticsPublisher&) = delete;
    RateBasedStatisticsPublisher& operator=(const RateBasedStatisticsPublisher&) = delete;

    /// Shutdown, and the end of the thread, which takes 100 ms more.
    ~RateBasedStatisticsPublisher();

    /// Starts ticking, the first time after one interval. A later call changes the interval. Not from
    /// DllMain. Throws KORStatisticsException when the interval is 0, InitializationException when there is
    /// no thread to be had; nothing has changed then.
    void Initialize(unsigned int intervalSeconds);

    /// Adds a counter, whose rate counts from its present value on. counter: shared with the component that
    /// changes it, by interlocked operations unless it stays below 2^32; read as a whole, without a lock.
    /// Counters may be added before Initialize; Shutdown after it forgets them all.
    /// Throws ObjectDoesNotExistException when profile or counter is empty, std::bad_alloc.
    void Register(std::shared_ptr<IPublishingProfile>& profile, const std::string& name,
                  std::shared_ptr<std::int64_t>& counter, int instance);

    /// One tick; nothing unless initialised. The argument is not used.
    void OnTimerExpired(int);

    /// Ends ticking and forgets all counters. A tick that is at work is waited for, unless it is the caller:
    /// afterwards no profile is called. Initialize may follow.
    void Shutdown();

private:
    struct Registration;
    class TimerHandler;

    void Tick(Registration& registration) const;

    std::unique_ptr<Scheduler> scheduler_;  // from the first Initialize on
    std::shared_ptr<ScheduleInfo> timer_;
    ACE_Recursive_Thread_Mutex lock_;  // guards all members
    std::vector<std::shared_ptr<Registration>> registrations_;
    std::uint32_t interval_;  // seconds
    bool initialized_;
    std::unique_ptr<ACE_Event_Handler> handler_;
};

}  // namespace WindowsAgentCommon
