#pragma once

#include <atomic>
#include <string>

#include <ace/Task.h>

#include "logging/ModuleReference.h"

namespace WindowsAgentCommon::detail {

/// Removes what earlier versions left behind, once, in a thread of its own: the files "Corvane_Code_*.log",
/// "Corvane_Device_*.log" and "Corvane_System_*.log" of the log folder, and the folders
/// "archived_patch_checkpoint*" of the checkpoint folder with all that is in them; of one that is a junction
/// only the link. What it does and what fails is logged at DEBUG under "Code.LoggerFactory.Cleanup".
class CleanupLogFolder : public ACE_Task_Base {
public:
    /// Paths are absolute; where one is empty, nothing is removed there.
    CleanupLogFolder(const std::wstring& logFolder, const std::wstring& checkpointFolder);
    CleanupLogFolder(const CleanupLogFolder&) = delete;
    CleanupLogFolder& operator=(const CleanupLogFolder&) = delete;

    /// Waits for the thread, unless the process is ending and the system has ended it already.
    ~CleanupLogFolder() override;

    /// Starts the thread. False when none can be had. Throws InitializationException when ACE cannot be
    /// started.
    bool Start();

    /// Lets the thread end when it is through with the pattern or folder in hand.
    void Stop() noexcept { stopping_ = true; }

    int svc() override;

private:
    void RemoveLogFiles() const;
    void RemoveCheckpoints() const;

    const std::wstring logFolder_;
    const std::wstring checkpointFolder_;
    std::atomic<bool> stopping_;
    CorvaneLogger::detail::ModuleReference module_;
};

}  // namespace WindowsAgentCommon::detail
