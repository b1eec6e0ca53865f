#pragma once

#include "WindowsAgentCommon/CV_Statistics.h"

namespace WindowsAgentCommon::detail {

/// What making and testing the registry needs beyond its interface.
struct StatisticsAccess {
    static std::unique_ptr<CV_Statistics> Make() { return std::unique_ptr<CV_Statistics>(new CV_Statistics); }
    static void Add(CV_Statistics& stats, const std::shared_ptr<CV_Stat>& stat) {
        stats.registry_[stat->Name()] = stat;
    }
    static void Remove(CV_Statistics& stats, const std::string& name) { stats.registry_.erase(name); }
    static void SetRunning(CV_Statistics& stats, bool running) { stats.running_ = running; }
};

}  // namespace WindowsAgentCommon::detail
