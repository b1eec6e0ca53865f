#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/IStatistic.h"

namespace WindowsAgentCommon {

/// Statistics by the instance of the component that produced them. Instances are ordered by number, their
/// statistics by address. Nothing is ever taken out: an instance stays known.
///
/// Thread rule: one thread changes it at a time, with no other call beside that. Nothing blocks; besides what
/// is stated, the functions throw only std::bad_alloc.
class CORVANE_API InstanceStatisticsSet {
public:
    InstanceStatisticsSet();
    InstanceStatisticsSet(const InstanceStatisticsSet& other);             ///< Shares other's statistics.
    InstanceStatisticsSet& operator=(const InstanceStatisticsSet& other);  ///< Shares other's statistics.
    virtual ~InstanceStatisticsSet();

    /// Adds a statistic to an instance, which becomes known. One that is there already stays there once; two
    /// objects of one name are two statistics.
    /// Throws ObjectDoesNotExistException when statistic is empty, and changes nothing.
    void UpdateStatistic(std::int64_t instance, std::shared_ptr<IStatistic>& statistic);

    /// Replaces out by the statistics of an instance. Returns false, and leaves out alone, when it is
    /// unknown.
    bool GetStatisticsByInstance(std::int64_t instance, std::set<std::shared_ptr<IStatistic>>& out) const;

    /// Shows the visitor each statistic that an instance has now, in order; the visitor may change the set.
    /// Returns false, without a call of the visitor, when the instance is unknown.
    /// Throws ObjectDoesNotExistException when visitor is null, and what the visitor throws.
    bool VisitStatisticsByInstance(std::int64_t instance, IStatisticsVisitor* visitor) const;

    /// Adds the number of each known instance to out. Returns how many out has then.
    unsigned int GetCurrentInstances(std::set<std::int64_t>& out) const;

    unsigned int GetSize() const;  ///< The number of instances.

private:
    std::map<std::int64_t, std::set<std::shared_ptr<IStatistic>>> instances_;
};

}  // namespace WindowsAgentCommon
