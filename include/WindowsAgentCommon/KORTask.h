#pragma once

#include <ace/Synch_Traits.h>
#include <ace/Task_T.h>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// What components with worker threads derive from: ACE's task, unchanged but for its construction. A derived
/// class overrides svc, the body of each thread, and starts threads with activate, as many as it says.
///
/// The task uses the process's thread manager and has a queue of its own, msg_queue(), an
/// ACE_Message_Queue<ACE_MT_SYNCH> with ACE's marks (16 KiB each), which goes with the task. How such a queue
/// behaves stands in KORMessageQueue.h.
///
/// A derived class ends its threads and waits for them (wait()) before it is destroyed: the base does not,
/// and a thread must not outlive what it works on. Nothing may escape svc.
class CORVANE_API KORTask : public ACE_Task<ACE_MT_SYNCH> {
public:
    /// Starts the ACE runtime if need be, since activate needs it; so not from DllMain unless it runs
    /// already. Throws InitializationException when it cannot be started.
    KORTask();

    ~KORTask() override;

    KORTask(const KORTask&) = delete;
    KORTask& operator=(const KORTask&) = delete;
};

}  // namespace WindowsAgentCommon
