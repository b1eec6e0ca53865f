#pragma once

#include <memory>
#include <string>

#include <ace/Time_Value.h>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/StatisticValue.h"

namespace WindowsAgentCommon {

/// \file
/// One named statistic, and the roles around a statistics service. The service lies outside this library, as
/// do the operations of the roles: their interfaces let components hand each other around and be asked for by
/// type. None of them holds data; copying one copies nothing.

/// One named statistic. SimpleStatistic is the plain implementation and says what the operations mean.
class CORVANE_API IStatistic {
public:
    virtual ~IStatistic();

    virtual std::string GetName() = 0;
    virtual std::string GetDescription() = 0;
    virtual const StatisticValue& GetValue() const = 0;
    virtual bool SetValue(const StatisticValue& value) = 0;
    virtual ACE_Time_Value GetPublishedTimestamp() = 0;
    virtual void SetPublishedTimestamp(const ACE_Time_Value& time) = 0;
    virtual ACE_Time_Value GetCollectedTimestamp() = 0;
    virtual void SetCollectedTimestamp(const ACE_Time_Value& time) = 0;
    virtual void Initialize(const std::string& name, const std::string& description,
                            const StatisticValue& value) = 0;
};

/// Is shown statistics one by one.
class CORVANE_API IStatisticsVisitor {
public:
    /// statistic: never empty; may be kept. What this throws ends the visit and reaches the one who began it.
    virtual void Visit(const std::shared_ptr<IStatistic>& statistic) = 0;  // the first virtual function

    virtual ~IStatisticsVisitor();
};

/// Has statistics to show.
class CORVANE_API IStatisticsSource {
public:
    virtual ~IStatisticsSource() = 0;
};

/// Takes part in the statistics service.
class CORVANE_API IStatisticsParticipant {
public:
    virtual ~IStatisticsParticipant() = 0;
};

/// Gives statistics to the service.
class CORVANE_API IStatisticsPublisher : public virtual IStatisticsParticipant {
public:
    ~IStatisticsPublisher() override = 0;
};

/// Gets statistics from the service. One component may be both.
class CORVANE_API IStatisticsSubscriber : public virtual IStatisticsParticipant {
public:
    ~IStatisticsSubscriber() override = 0;
};

/// Takes what a streamer of statistics writes.
class CORVANE_API IStatisticStreamerSink {
public:
    virtual ~IStatisticStreamerSink() = 0;
};

/// The statistics service.
class CORVANE_API IStatisticsServer {
public:
    virtual ~IStatisticsServer() = 0;

    /// The name under which the component factory has the service: "StatisticsServer".
    static std::string GetServiceName();
};

}  // namespace WindowsAgentCommon
