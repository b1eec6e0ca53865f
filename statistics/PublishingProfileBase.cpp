#include "WindowsAgentCommon/PublishingProfileBase.h"

#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/SimpleStatistic.h"

#include <ace/Guard_T.h>

#include <utility>

namespace WindowsAgentCommon {
namespace {

using Guard = ACE_Guard<ACE_Recursive_Thread_Mutex>;

constexpr int kDefaults = -1;

void Require(const IStatisticsVisitor* visitor) {
    if (visitor == nullptr)
        throw ObjectDoesNotExistException(__FILE__, __FUNCTION__, __LINE__, "a statistics visitor");
}

}  // namespace

IPublishingProfile::~IPublishingProfile() = default;

PublishingProfileBase::PublishingProfileBase(const std::string& objectName, const std::string& objectPath)
    : objectName_(objectName), objectPath_(objectPath) {}

PublishingProfileBase::~PublishingProfileBase() = default;

std::string PublishingProfileBase::GetObjectName() const { return objectName_; }

std::string PublishingProfileBase::GetObjectPath() const { return objectPath_; }

std::int32_t PublishingProfileBase::GetObjectTypeId() const { return 0; }

void PublishingProfileBase::RegisterObjectType() {}

void PublishingProfileBase::Initialize() {}

void PublishingProfileBase::VisitStatistics(IStatisticsVisitor* visitor) {
    Require(visitor);
    const Guard guard(lock_);
    const auto instances = instances_;  // the visitor may add some
    for (const auto& instance : instances) VisitStatistics(visitor, instance.first);
}

void PublishingProfileBase::VisitStatistics(IStatisticsVisitor* visitor, int instance) {
    Require(visitor);
    const Guard guard(lock_);
    const auto found = instances_.find(instance);
    if (found == instances_.end()) return;
    const Statistics statistics = found->second;
    for (const auto& statistic : statistics) visitor->Visit(statistic.second);
}

void PublishingProfileBase::DeclareStatistic(const std::string& name, const std::string& description,
                                             const StatisticValue& value) {
    const Guard guard(lock_);
    AddTo(instances_[kDefaults], name, description, value);
}

void PublishingProfileBase::UpdateStatistic(const std::string& name, StatisticValue& value, int instance) {
    const Log log = GetLoggerFactory().GetLog("Code.Statistics");
    const Guard guard(lock_);
    auto found = instances_.find(instance);
    if (found == instances_.end()) {
        InitializeInstanceWithDefaults(instance);
        found = instances_.find(instance);
    }
    if (found == instances_.end()) {
        log->Debug("There was no matching set of default statistics for profile %s", objectName_.c_str());
        return;
    }
    const auto statistic = found->second.find(name);
    if (statistic != found->second.end())
        statistic->second->SetValue(value);
    else
        log->Debug("There was no matching section for statistic %s : %s", objectName_.c_str(), name.c_str());
}

void PublishingProfileBase::InitializeInstanceWithDefaults(int instance) {
    const Guard guard(lock_);
    const auto defaults = instances_.find(kDefaults);
    if (instance == kDefaults || defaults == instances_.end()) return;
    Statistics copies;
    for (const auto& [name, statistic] : defaults->second)
        AddTo(copies, name, statistic->GetDescription(), statistic->GetValue());
    instances_[instance] = std::move(copies);
}

void PublishingProfileBase::AddTo(Statistics& statistics, const std::string& name,
                                  const std::string& description, const StatisticValue& value) {
    std::shared_ptr<IStatistic> statistic(CreateStatistic(name, description, value));
    if (statistic) statistics[name] = std::move(statistic);
}

IStatistic* PublishingProfileBase::CreateStatistic(const std::string& name, const std::string& description,
                                                   const StatisticValue& value) {
    return std::make_unique<SimpleStatistic>(name, description, value).release();
}

}  // namespace WindowsAgentCommon
