#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <ace/Thread_Mutex.h>

#include "WindowsAgentCommon/ISender.h"
#include "WindowsAgentCommon/ISocket.h"
#include "WindowsAgentCommon/KORTask.h"
#include "WindowsAgentCommon/RandomInteger.h"
#include "agent/net/Backoff.h"
#include "agent/net/ConnectionLog.h"
#include "agent/net/LineQueue.h"
#include "agent/net/SenderSettings.h"
#include "agent/sdk/AlarmLadder.h"
#include "agent/sdk/Handle.h"

namespace CorvaneAgent {

/// Sends events by UDP or TCP from a bounded queue of its own, with one thread of its own that connects, and
/// connects again after a loss. How it behaves is told in docs/agent-connections.md.
///
/// Besides what ISender says: an empty event is nothing to send and gives true. Open on an open sender does
/// nothing; a closed one may be opened again. The last owner's destructor closes without waiting.
///
/// With DiscardOnLoss a loss drops what is queued, and Send refuses everything until GetLossCount has told
/// the caller of it, so that nothing overtakes what that one is going to send again.
class Sender final : public WindowsAgentCommon::ISender {
public:
    /// Throws KORException when Windows Sockets, the ACE runtime or an event are not to be had.
    explicit Sender(SenderSettings settings);
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;
    ~Sender() override;

    unsigned long Open() override;
    bool Send(const char* data, std::size_t size) override;
    WindowsAgentCommon::ConnectionState GetState() const override;
    std::string GetTarget() const override { return target_; }
    std::size_t GetQueuedBytes() const override;
    void GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const override;
    unsigned int GetLossCount() const override;
    void Close(unsigned int timeoutMs) override;

private:
    struct Worker final : WindowsAgentCommon::KORTask {
        explicit Worker(Sender& owner) : sender(owner) {}
        int svc() override;
        Sender& sender;
    };
    struct Counters {
        std::uint64_t sent = 0, sentBytes = 0, queueFull = 0, closed = 0, onLoss = 0, tooLong = 0, cut = 0;
        std::uint64_t connects = 0, connectFailures = 0;
        unsigned int losses = 0;
        std::int64_t lastSent = 0;
    };

    bool push(const char* data, std::size_t size);
    bool isFinished();
    void run();
    bool connect();
    void waitBeforeNextTry();
    unsigned long serve();
    bool hasWork();
    unsigned long sendStream(std::size_t& sent);
    unsigned long sendDatagram(std::size_t& sent);
    void account(std::size_t sent);
    unsigned long discardInput();
    void lose(unsigned long code);
    std::size_t eventBegin() const;
    bool resetIfTorn();
    void countLoss();
    std::size_t dropAll();
    void endStream();
    void wait(unsigned long milliseconds);
    void watch();

    const SenderSettings settings_;
    const std::string target_;
    const std::shared_ptr<void> winsock_;  // kept from one connection to the next
    Handle wake_, socketEvent_;            // both reset themselves

    mutable ACE_Thread_Mutex lock_;
    LineQueue queue_;                      // under lock_
    Counters counters_;                    // under lock_
    mutable unsigned int toldLosses_ = 0;  // under lock_; by GetLossCount
    bool isOpen_ = false;                  // under lock_
    bool closing_ = false;                 // under lock_
    bool sleeping_ = false;                // under lock_: the worker waits for the next event
    std::int64_t closeAt_ = 0;             // under lock_
    std::atomic<WindowsAgentCommon::ConnectionState> state_{WindowsAgentCommon::ConnectionState::kClosed};
    std::atomic<AlarmLadder::State> alarmState_{AlarmLadder::State::kNormal};

    // The worker's own, or that of the thread that closes once the worker has ended.
    std::unique_ptr<WindowsAgentCommon::ISocket> socket_;
    Chunk chunk_;             // being sent
    std::size_t offset_ = 0;  // bytes of chunk_ that are sent
    std::size_t line_ = 0;    // events of chunk_ that are sent
    std::int64_t progressAt_ = 0;
    ConnectionLog log_;
    AlarmLadder alarm_;
    Backoff backoff_;
    WindowsAgentCommon::RandomInteger chance_{0, Backoff::kMaxChance};

    ACE_Thread_Mutex openLock_;  // one Open or Close at a time
    Worker worker_{*this};
};

}  // namespace CorvaneAgent
