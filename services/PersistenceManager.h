#pragma once

#include <memory>
#include <string>

#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/KORTask.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"

namespace CorvaneLogger::detail {
class ModuleReference;
}

namespace WindowsAgentCommon {

namespace detail {
class RecordWriter;
}

/// The persistence manager. One process at a time uses a folder.
///
/// Setting "BasePath": the folder, UTF-8, with references to environment variables; a relative one is below
/// the working folder of the moment. Without the setting `Persistence` in the agent's cache folder.
/// Initialize makes the folder, deletes what a killed process left half written, and starts the thread. It
/// throws InitializationException where the folder or the thread cannot be had.
///
/// A write that fails is tried again every 30 s and at each Flush; it is an error in the log when it begins
/// to fail or fails otherwise, and an information when nothing fails any more. What waits is limited to 32
/// MiB and a record to 16 MiB.
///
/// Shutdown writes what waits, trying three times in 200 ms. What cannot be written then is an error in the
/// log for each record, and still waits: Initialize tries again. Records may be kept longer than the manager
/// is initialised: meanwhile they save nothing, but load what there is.
///
/// Status: "RecordsWaiting", "BytesWaiting", and "LastError", the Windows error code of the last write that
/// failed, 0 when nothing waits because of one.
class PersistenceManager final : public ServiceComponentBase<IPersistenceManager, KORTask> {
public:
    PersistenceManager();
    ~PersistenceManager() override;

    InitializeResult Initialize(const EnvironmentBlock& settings) override;
    void GetStatus(EnvironmentBlock& status) const override;
    void Shutdown() override;

    unsigned long OpenRecord(const std::string& name, std::shared_ptr<IPersistentRecord>& out) override;
    unsigned long Flush() override;

    int svc() override;  ///< The thread's work; not called by others.

private:
    const std::shared_ptr<detail::RecordWriter> writer_;  // shared with the records
    std::unique_ptr<CorvaneLogger::detail::ModuleReference> module_;
};

}  // namespace WindowsAgentCommon
