#pragma once

#include "WindowsAgentCommon/IRegistryCache.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"
#include "queues/ApplicationPerformance.h"
#include "services/CachedRegistry.h"

#include <ace/Service_Object.h>
#include <ace/Thread_Mutex.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace WindowsAgentCommon {

/// The registry cache (docs/registry-cache.md), which also holds the performance monitor of this process.
///
/// Settings: "RefreshSeconds" (60; 0 to 86400), how long a value is good; "RetrySeconds" (60; 1 to 86400),
/// how long a machine that failed is left alone; "WaitSeconds" (10; 0 to 3600), how long a caller waits while
/// another one asks the same machine; "CacheKilobytes" (4096; 0 to 65536), what the values may take. A number
/// outside its range becomes the nearest one in it.
///
/// Shutdown waits for a sample of the counters that is being taken, but not for a machine that is being
/// asked.
class RegistryCache : public ServiceComponentBase<IRegistryCache, ACE_Service_Object> {
public:
    RegistryCache();
    /// The sources must outlive the cache and its readers.
    RegistryCache(detail::RegistrySource& registry, detail::PerformanceSystem& performance);
    RegistryCache(const RegistryCache&) = delete;
    RegistryCache& operator=(const RegistryCache&) = delete;
    ~RegistryCache() override;

    InitializeResult Initialize(const EnvironmentBlock& settings) override;
    void Shutdown() override;

    /// "Machines", "CachedValues", "CachedBytes" and "UnreachableMachines", all numbers.
    void GetStatus(EnvironmentBlock& status) const override;

    unsigned long GetPerformanceCounter(const std::wstring& name, double& value) override;
    unsigned long GetPerformanceCounters(std::map<std::wstring, double>& values) override;
    unsigned long GetReader(const std::wstring& machine, std::shared_ptr<IRegistryCacheReader>& out) override;

private:
    using Machines = std::map<std::wstring, std::shared_ptr<detail::CachedRegistry>>;  // by folded name

    Machines TakeUnusedLocked();
    void DropOldLocked();

    detail::RegistrySource& registry_;
    detail::PerformanceSystem& system_;

    mutable ACE_Thread_Mutex lock_;  // guards what follows
    std::shared_ptr<detail::RegistryCacheState> state_;
    Machines machines_;
    std::int64_t dropAt_ = 0;  // when old values are looked for again

    ACE_Thread_Mutex performanceLock_;  // guards performance_, and lets one call at a time into it
    std::unique_ptr<detail::ApplicationPerformance> performance_;
};

}  // namespace WindowsAgentCommon
