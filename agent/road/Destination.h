#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include <ace/Condition_Thread_Mutex.h>

#include "WindowsAgentCommon/BacklogMonitor.h"
#include "WindowsAgentCommon/IDestination.h"
#include "WindowsAgentCommon/IPayloadBuilder.h"
#include "WindowsAgentCommon/KORTask.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "agent/road/Sink.h"
#include "agent/sdk/AlarmLadder.h"
#include "agent/sdk/IDeliveryBarrier.h"

namespace WindowsAgentCommon {
class IPayloadFactory;
}

namespace CorvaneAgent {

/// A bounded queue of events, threads that render them, and a sink that gets the lines in the order in which
/// the events came. An event that cannot be rendered is dropped and counted; for lack of memory it is tried
/// again.
///
/// Events are gathered into batches of up to 256 events, 1 MiB or 5 ms. Between one and Options::workers
/// threads render a batch each; a backlog monitor over the queue, asked once a second, decides how many.
/// Whoever has rendered the batch that is next writes it. What is queued, being rendered or written counts
/// until the sink has it: when that is Options::capacity events or 16 MiB of payload, Send fails and the
/// collector tries again. A small event takes about 2.5 KiB of memory, whatever its size, once for all
/// destinations.
class Destination : public WindowsAgentCommon::IDestination,
                    public IDeliveryBarrier,
                    private WindowsAgentCommon::KORTask {
public:
    struct Options {
        std::string name;
        std::size_t capacity = 4000;  ///< Events.
        unsigned int workers = 2;     ///< At most.
    };

    Destination(const Options& options, std::unique_ptr<Sink> sink, WindowsAgentCommon::Log log);
    ~Destination() override;  ///< Stop, at once.

    std::string GetName() const override { return options_.name; }

    /// Takes the payload, which nobody else may use from now on; kQueued. A failure when the queue is full or
    /// after BeginStop.
    WindowsAgentCommon::StreamRoutingResult Send(
        const std::shared_ptr<WindowsAgentCommon::IPayload>& payload) override;

    /// Keeps a place in the queue; false when there is none. Followed by SendReserved or Unreserve, so that
    /// an event can go to several destinations or to none.
    bool Reserve();
    void Unreserve();
    void SendReserved(const std::shared_ptr<WindowsAgentCommon::IPayload>& payload);

    bool WaitUntilSafe(unsigned int timeoutMs) override;

    /// Starts the sink and the first worker. Throws InitializationException.
    void Start(WindowsAgentCommon::IPayloadFactory& factory);

    /// Judges queue and workers; to be called once a second by one thread. now: SteadyMilliseconds().
    void Tick(std::int64_t now);

    void BeginStop();  ///< From now on Send fails.

    /// Waits until everything queued is written, until drainDeadline at the latest, then ends threads and
    /// sink, until deadline. What is left is not written, and never counts as safe. Both:
    /// SteadyMilliseconds().
    void Stop(std::int64_t drainDeadline, std::int64_t deadline);

    void AddStatus(WindowsAgentCommon::EnvironmentBlock& status) const;  ///< Each name after "<name>.".

private:
    using Guard = ACE_Guard<ACE_Thread_Mutex>;
    using Payloads = std::vector<std::shared_ptr<WindowsAgentCommon::IPayload>>;

    struct Batch {
        std::uint64_t number = 0;
        Payloads payloads;
        std::size_t bytes = 0;
    };
    struct Rendered {
        LineBatch lines;
        std::size_t events = 0;  // damaged ones included
        std::size_t bytes = 0;   // of their payloads
    };

    int svc() override;
    std::size_t window() const { return options_.workers + 2; }  // batches between the queue and the sink
    Rendered& slot(std::uint64_t number) { return done_[static_cast<std::size_t>(number % window())]; }
    bool isClosedOrFullLocked();
    void putLocked(const std::shared_ptr<WindowsAgentCommon::IPayload>& payload);
    void sealLocked();
    bool take(unsigned int worker, Batch& batch);
    void render(WindowsAgentCommon::IPayloadBuilder& builder, Batch& batch, Rendered& out);
    bool renderOne(WindowsAgentCommon::IPayloadBuilder& builder, WindowsAgentCommon::IPayload& payload,
                   std::string& line, LineBatch& lines);
    bool waitForMemory();
    void countDamaged(const char* why);
    void pass(std::uint64_t number, Rendered&& rendered);
    bool writeOut(const LineBatch& lines);
    bool addWorkerLocked();
    void adjustWorkers(std::int64_t now);

    const Options options_;
    WindowsAgentCommon::Log log_;
    const std::unique_ptr<Sink> sink_;
    std::vector<std::shared_ptr<WindowsAgentCommon::IPayloadBuilder>>
        builders_;  // set by Start, one a worker

    mutable ACE_Thread_Mutex lock_;      // guards what follows, up to the next lock
    ACE_Condition_Thread_Mutex work_;    // for workers: something to take
    ACE_Condition_Thread_Mutex active_;  // for workers that are not needed
    ACE_Condition_Thread_Mutex passed_;  // for those who wait for the sink
    Batch current_;                      // being gathered
    std::deque<Batch> ready_;
    std::vector<Rendered> done_;    // by number, modulo window(); without events: not there yet
    std::vector<LineBatch> spare_;  // buffers
    std::uint64_t nextBatch_ = 0;   // number of current_
    std::uint64_t nextOut_ = 0;     // number that the sink gets next
    bool writing_ = false;
    std::size_t queued_ = 0;   // events
    std::size_t waiting_ = 0;  // of them not taken by a worker
    std::size_t queuedBytes_ = 0;
    std::size_t reserved_ = 0;
    unsigned int workers_ = 0;  // wanted
    unsigned int started_ = 0;  // threads, some of which may not be needed
    unsigned int begun_ = 0;    // threads that have their number
    unsigned int idle_ = 0;     // threads that wait for work_
    bool closed_ = false;
    bool ended_ = false;
    bool unsafe_ = false;                          // something could not be written
    std::uint64_t refused_ = 0, refusedSeen_ = 0;  // by Send for being full; at the last Tick
    std::uint64_t rendered_ = 0, damaged_ = 0, unwritten_ = 0;
    std::uint64_t failed_ = 0, failedSeen_ = 0;  // attempts without memory; at the last Tick
    bool workersFixed_ = false;                  // no more threads to be had; the log was told

    mutable ACE_Thread_Mutex tickLock_;  // guards the ladder; it logs under it
    AlarmLadder alarm_;
    WindowsAgentCommon::BacklogMonitor monitor_;  // Tick's own
    bool failing_ = false;                        // Tick's own: what the log was told
};

}  // namespace CorvaneAgent
