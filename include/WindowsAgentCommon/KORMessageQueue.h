#pragma once

#include <ace/Condition_Thread_Mutex.h>
#include <ace/Message_Queue_T.h>
#include <ace/Synch_Traits.h>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// The queue of message blocks that components hand work over with: ACE's thread-safe queue with limits of
/// the library's own. Everything but the constructor is ACE's, unchanged:
///
/// - A new queue is activated and empty. Its high and low water mark are both 16384 bytes: deliberately there
///   is no band between them. Callers that need more room raise both after construction.
/// - An enqueue that finds the marks reached waits until dequeues have brought the bytes held below them. The
///   block that crosses them is taken whatever its size, so the bytes held exceed the mark by less than that
///   block. Bytes are those of the blocks' contents (total_size), not of their headers.
/// - Times given are ends of waits by the system's clock (not spans); null waits without end. When they pass,
///   -1 with errno EWOULDBLOCK. Setting the clock moves these ends.
/// - After deactivate() every waiting and later enqueue and dequeue returns -1 with errno ESHUTDOWN; pulse()
///   wakes those who wait and leaves the queue usable.
/// - A block that is queued belongs to the queue, one that is taken out to the taker.
///
/// Any thread may call anything but the destructor.
class CORVANE_API KORMessageQueue : public ACE_Message_Queue<ACE_MT_SYNCH> {
public:
    KORMessageQueue();

    /// Releases every block still queued. Nobody may be waiting any more: deactivate the queue and join the
    /// threads first.
    ~KORMessageQueue() override;

    KORMessageQueue(const KORMessageQueue&) = delete;
    KORMessageQueue& operator=(const KORMessageQueue&) = delete;
};

}  // namespace WindowsAgentCommon
