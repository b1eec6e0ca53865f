#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/CV_Stat.h"
#include "WindowsAgentCommon/EPSCollector.h"

namespace WindowsAgentCommon {

/// Events per second of one channel: an entry per minute for the last hour, one per hour for the last day,
/// one per day for the last month. A full hour of minutes becomes an hour, a full day of hours a day.
///
/// Any number of threads may call Add; the registry's thread calls the rest. Nothing throws but Report, and
/// that only std::bad_alloc. Time is steady: setting the system's clock changes no number.
class CORVANE_API SimpleEPS : public CV_Stat {
public:
    explicit SimpleEPS(const std::string& name);

    /// Counts events; those of one minute and of one second modulo 2^32. Waits as CV_Trans says.
    void Add(unsigned long events) noexcept;

    /// Ends the minute: an entry of its events divided by 60 and of its peak. The peak is the highest rate
    /// between two calls of Add in different seconds, plus 0.05 and cut to a whole number, and at least 1
    /// when there was an event.
    void OnMinute() override;

    /// The minutes, " ==>> " and the hours, " ==>> " and the days, each part from its newest entry on, hours
    /// and days with maxima, minutes if asked for. Parts without entries are left out; the parts finer than
    /// one that is there are reported in full (EPSCollector::report). Takes no lock: not beside OnMinute.
    std::string Report(bool withMinuteMaxima) override;

protected:
    /// Measures the rate since it was last measured, unless that was in this second. Called under the lock.
    void maxEPS() noexcept;

private:
    void MaxEPSAt(std::int64_t now) noexcept;

    EPSCollector minutes_;
    EPSCollector hours_;
    EPSCollector days_;
    std::uint32_t events_;      // this minute; all numbers are under the base's lock
    std::uint32_t peakEvents_;  // since the rate was last measured
    double peak_;               // events per second, this minute
    std::int64_t peakTime_;     // when the rate was last measured, steady seconds
};

/// The SimpleEPS of that name in the process's registry (CV_Statistics::TheStats), made by the first call.
/// Throws only std::bad_alloc. Any thread.
CORVANE_API std::shared_ptr<SimpleEPS> Reg_SimpleEPS(const std::string& name);

}  // namespace WindowsAgentCommon
