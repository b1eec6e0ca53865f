#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <ace/Thread_Mutex.h>

#include "WindowsAgentCommon/IDiskManager.h"
#include "WindowsAgentCommon/KORTask.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"

namespace WindowsAgentCommon {

/// The library's disk manager, made by _make_DiskManager. It starts no thread. Before Initialize, and while
/// accounting is off, every reservation is granted.
///
/// Settings, read by Initialize:
///
/// | Name | Type | Default | Meaning |
/// |---|---|---|---|
/// | Enabled | boolean | true | accounting; when it is off, the base path is empty and nothing is created |
/// | Capacity | MiB, 64-bit | 1000 | 0 turns accounting off; more than 2^44 - 1 count as 2^64 - 1 bytes |
/// | BasePath | path | `DiskManager` in the bin path | made, with what is missing above it |
class DiskManager : public ServiceComponentBase<IDiskManager, KORTask> {
public:
    DiskManager();

    /// Counts what lies in the folder already; more than the capacity is a warning only. Always kDone. Throws
    /// InitializationException when the folder cannot be made or its absolute path needs 260 characters or
    /// more; the base path is then the one before.
    InitializeResult Initialize(const EnvironmentBlock& settings) override;

    void GetStatus(EnvironmentBlock& status) const override;  ///< Enabled, CapacityBytes, UsedBytes.
    void Shutdown() override;

    bool ReserveSpace(unsigned int caller, std::uint64_t bytes) override;
    void ReleaseSpace(unsigned int caller, std::uint64_t bytes) override;
    const std::wstring& GetBasePath() const override;

private:
    void PrepareBasePath(std::wstring& basePath) const;
    std::uint64_t MeasureContent(const std::wstring& basePath, std::uint64_t capacity) const;
    void SetAccount(std::uint64_t capacity, std::uint64_t used);

    std::atomic<bool> enabled_{false};
    Log log_;
    std::uint64_t capacity_ = 0;  // bytes; guarded by lock_
    std::uint64_t used_ = 0;      // bytes; guarded by lock_
    std::wstring basePath_;
    mutable ACE_Thread_Mutex lock_;
};

}  // namespace WindowsAgentCommon
