#pragma once

#include <cstdint>
#include <string>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/IStatistic.h"
#include "WindowsAgentCommon/StatisticValue.h"

namespace WindowsAgentCommon {

/// What a component publishes: a named set of statistics with defaults, kept once per instance of the
/// component. PublishingProfileBase implements it and says what the operations mean.
class CORVANE_API IPublishingProfile : public IStatisticsSource {
public:
    ~IPublishingProfile() override;

    virtual std::string GetObjectName() const = 0;
    virtual std::string GetObjectPath() const = 0;
    virtual std::int32_t GetObjectTypeId() const = 0;
    virtual void VisitStatistics(IStatisticsVisitor* visitor) = 0;
    virtual void RegisterObjectType() = 0;
    virtual void DeclareStatistic(const std::string& name, const std::string& description,
                                  const StatisticValue& value) = 0;
    virtual void UpdateStatistic(const std::string& name, StatisticValue& value, int instance) = 0;
};

}  // namespace WindowsAgentCommon
