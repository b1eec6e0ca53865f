#pragma once

#include <map>
#include <memory>
#include <string>

#include <ace/Recursive_Thread_Mutex.h>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/IPublishingProfile.h"

namespace WindowsAgentCommon {

/// A publishing profile, from which components derive theirs. Texts are UTF-8.
///
/// Any thread may call anything: the profile's recursive lock is held in every operation, also while a
/// visitor and what a derived class overrides are called. A visitor may thus call the profile, and reads
/// values that nobody changes meanwhile; it must not call a RateBasedStatisticsPublisher that publishes here,
/// which waits for this lock under its own. Besides what is stated, everything throws only std::bad_alloc.
class CORVANE_API PublishingProfileBase : public IPublishingProfile {
public:
    PublishingProfileBase(const std::string& objectName, const std::string& objectPath);
    PublishingProfileBase(const PublishingProfileBase&) = delete;
    PublishingProfileBase& operator=(const PublishingProfileBase&) = delete;
    ~PublishingProfileBase() override;

    std::string GetObjectName() const override;
    std::string GetObjectPath() const override;
    std::int32_t GetObjectTypeId() const override;  ///< 0 here: none.

    /// Shows the visitor all statistics, the defaults (instance -1) first, by instance number and then by
    /// name. Throws ObjectDoesNotExistException when visitor is null, and what the visitor throws.
    void VisitStatistics(IStatisticsVisitor* visitor) override;

    void RegisterObjectType() override;  ///< Does nothing here.

    /// Adds a default statistic, in place of one of the same name. Instances that have their statistics
    /// already keep those.
    void DeclareStatistic(const std::string& name, const std::string& description,
                          const StatisticValue& value) override;

    /// Sets a statistic of an instance, which is given a copy of the defaults first when it has none.
    /// Where there are no defaults, or the instance has no statistic of that name, the value is dropped and a
    /// debug line says so. value: not changed.
    void UpdateStatistic(const std::string& name, StatisticValue& value, int instance) override;

protected:
    /// Gives the instance a statistic for each default one, with that one's name, description and present
    /// value, in place of those it has. Does nothing without defaults, or for -1.
    virtual void InitializeInstanceWithDefaults(int instance);

    /// The same as above for one instance; nothing is shown of one that has none.
    virtual void VisitStatistics(IStatisticsVisitor* visitor, int instance);

    /// A new SimpleStatistic, which is the caller's. An override that returns null adds none.
    virtual IStatistic* CreateStatistic(const std::string& name, const std::string& description,
                                        const StatisticValue& value);

    virtual void Initialize();  ///< Does nothing here.

private:
    using Statistics = std::map<std::string, std::shared_ptr<IStatistic>>;

    void AddTo(Statistics& statistics, const std::string& name, const std::string& description,
               const StatisticValue& value);

    std::string objectName_;
    std::string objectPath_;
    std::map<int, Statistics> instances_;  // under lock_; -1 has the defaults
    mutable ACE_Recursive_Thread_Mutex lock_;
};

}  // namespace WindowsAgentCommon
