#pragma once

#include <deque>
#include <memory>
#include <string>

#include <ace/Condition_Thread_Mutex.h>

#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/ISender.h"
#include "WindowsAgentCommon/KORTask.h"
#include "agent/road/Sink.h"
#include "agent/road/Spool.h"
#include "agent/sdk/AlarmLadder.h"

namespace CorvaneAgent {

/// The last stage of a network destination: every line goes to the spool, and a thread of its own, the
/// feeder, takes the lines from there to a sender.
///
/// Everything before the confirmed position counts as delivered, is kept no longer and not sent again, also
/// after a restart. A line is confirmed when more than resendWindow bytes, and besides what waits in the
/// sender, were handed over after it; or after 5 seconds on a connection that was not lost meanwhile and with
/// nothing waiting in the sender. When the connection is lost, the feeder goes back to the confirmed
/// position: each line arrives at least once, the first time in order, and what is repeated is at most the
/// window, what waited in the sender, and 4 KiB and a line.
///
/// Deleting the oldest events, and log lines about changes of state, happen under the lock.
class SpoolSink : public Sink, private WindowsAgentCommon::KORTask {
public:
    struct Options {
        std::string name;  ///< Of the destination, for the log.
        Spool::Options spool;
        std::uint64_t resendWindow = 0;  ///< Bytes.
        bool dropOldest = false;         ///< When the spool is full; otherwise Write blocks.
        std::size_t lowWaterMark = 0;    ///< Bytes in the sender's queue: feeding goes on below it,
        std::size_t highWaterMark = 0;   ///< and stops at this many.
    };

    /// Opens the spool. sender: not open yet. record: keeps the confirmed position. disk outlives the sink.
    /// Throws InitializationException when the folder cannot be used.
    SpoolSink(const Options& options, WindowsAgentCommon::IDiskManager& disk,
              std::shared_ptr<WindowsAgentCommon::ISender> sender,
              std::shared_ptr<WindowsAgentCommon::IPersistentRecord> record, WindowsAgentCommon::Log log);
    ~SpoolSink() override;

    void Start() override;
    bool Write(const LineBatch& batch) override;
    void Tick(std::int64_t now) override;
    void Cancel() override;
    void Stop(std::int64_t deadline) override;
    void AddStatus(const std::string& prefix, WindowsAgentCommon::EnvironmentBlock& status) const override;

private:
    using Guard = ACE_Guard<ACE_Thread_Mutex>;

    /// Some lines that were handed over.
    struct Mark {
        SpoolPosition end;         // behind them
        std::uint64_t handed = 0;  // handed_ after them
        std::uint64_t lines = 0;
        std::int64_t time = 0;  // ms
    };

    int svc() override;
    bool feed();
    void checkLoss();
    void discardChunk(std::uint64_t first);
    void confirm(std::int64_t now);
    void save(std::int64_t now, bool always);
    bool handOver();
    std::size_t handOverLines();
    void mark(const SpoolPosition& end, std::uint64_t lines, std::uint64_t bytes, std::int64_t now);
    bool writeOne(const LineBatch& batch);
    bool writeLineByLine(const LineBatch& batch);
    bool dropOldest(const LineBatch& batch);
    void noteWriteError(unsigned long error);
    bool waitForFeeder(int milliseconds);

    const Options options_;
    WindowsAgentCommon::Log log_;
    Spool spool_;
    const std::shared_ptr<WindowsAgentCommon::ISender> sender_;
    const std::shared_ptr<WindowsAgentCommon::IPersistentRecord> record_;

    mutable ACE_Thread_Mutex lock_;  // guards what follows, up to the feeder's own
    ACE_Condition_Thread_Mutex changed_;
    bool cancelled_ = false;
    bool stopping_ = false;
    bool feederWaits_ = false;  // for something to be in the spool
    bool caughtUp_ = false;     // nothing in the spool that was not handed over
    SpoolPosition fetched_;     // what lies before it was handed over, or is
    std::uint64_t inHand_ = 0;  // in the feeder's hands: bytes, record headers included
    std::uint64_t spooled_ = 0, sent_ = 0, resent_ = 0;
    std::uint64_t droppedFull_ = 0, droppedOversize_ = 0;
    std::uint64_t positionErrors_ = 0;  // attempts to keep the position that failed
    std::uint64_t lastSent_ = 0;        // ms since 1970
    unsigned long writeError_ = 0;      // what the log was told
    bool refused_ = false;              // a Write found the spool full since the last Tick
    std::uint64_t fullBytes_ = 0;       // what the spool had then
    std::int64_t refusedUntil_ = 0;     // ms; until then it counts as full
    bool dropping_ = false;             // what the log was told
    AlarmLadder alarm_;

    // The feeder's own.
    SpoolPosition confirmed_, saved_;
    std::int64_t savedAt_ = 0;
    unsigned long saveError_ = 0;  // what the log was told
    std::deque<Mark> marks_;       // what is not confirmed
    std::uint64_t handed_ = 0;     // bytes
    unsigned int lossSeen_ = 0;
    bool senderFull_ = false;
    LineBatch chunk_;              // read from the spool
    std::size_t chunkLine_ = 0;    // the next one to hand over
    std::size_t chunkByte_ = 0;    // where it begins
    SpoolPosition chunkPosition_;  // where it stands
};

}  // namespace CorvaneAgent
