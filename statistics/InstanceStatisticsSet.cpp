#include "WindowsAgentCommon/InstanceStatisticsSet.h"

#include "WindowsAgentCommon/KORException.h"

namespace WindowsAgentCommon {

InstanceStatisticsSet::InstanceStatisticsSet() = default;
InstanceStatisticsSet::InstanceStatisticsSet(const InstanceStatisticsSet& other) = default;
InstanceStatisticsSet& InstanceStatisticsSet::operator=(const InstanceStatisticsSet& other) = default;
InstanceStatisticsSet::~InstanceStatisticsSet() = default;

void InstanceStatisticsSet::UpdateStatistic(std::int64_t instance, std::shared_ptr<IStatistic>& statistic) {
    if (statistic == nullptr)
        throw ObjectDoesNotExistException(__FILE__, __FUNCTION__, __LINE__, "statistic");
    instances_[instance].insert(statistic);
}

bool InstanceStatisticsSet::GetStatisticsByInstance(std::int64_t instance,
                                                    std::set<std::shared_ptr<IStatistic>>& out) const {
    const auto found = instances_.find(instance);
    if (found == instances_.end()) return false;
    out = found->second;
    return true;
}

bool InstanceStatisticsSet::VisitStatisticsByInstance(std::int64_t instance,
                                                      IStatisticsVisitor* visitor) const {
    if (visitor == nullptr) throw ObjectDoesNotExistException(__FILE__, __FUNCTION__, __LINE__, "visitor");
    std::set<std::shared_ptr<IStatistic>> statistics;  // a copy: one that the visitor adds is not visited
    if (!GetStatisticsByInstance(instance, statistics)) return false;
    for (const std::shared_ptr<IStatistic>& statistic : statistics) visitor->Visit(statistic);
    return true;
}

unsigned int InstanceStatisticsSet::GetCurrentInstances(std::set<std::int64_t>& out) const {
    for (const auto& entry : instances_) out.insert(entry.first);
    return out.size();
}

unsigned int InstanceStatisticsSet::GetSize() const { return instances_.size(); }

}  // namespace WindowsAgentCommon
