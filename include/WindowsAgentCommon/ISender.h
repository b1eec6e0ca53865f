#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/EnvironmentBlock.h"

namespace WindowsAgentCommon {

/// Where a connection stands.
enum class ConnectionState : int {
    kClosed = 0,      ///< Not opened, or closed.
    kConnecting = 1,  ///< Trying, or waiting before the next try.
    kConnected = 2,   ///< A datagram sender is connected as soon as its address is known.
};

/// Takes finished events and sends them to one place from a queue of its own. Any thread may call Send and
/// the getters; one thread opens and closes.
class CORVANE_API ISender {
public:
    ISender() = default;
    ISender(const ISender&) {}
    ISender& operator=(const ISender&) { return *this; }
    virtual ~ISender();

    virtual unsigned long
    Open() = 0;  ///< Starts to connect; does not wait for it. The Windows code, 0 = success.

    /// Queues a copy of size bytes, one event. False, and the event counted as dropped, when the queue is
    /// full, the sender is closed, or it drops its queue with a lost connection and GetLossCount was not
    /// called since. Never blocks on the network.
    virtual bool Send(const char* data, std::size_t size) = 0;

    virtual ConnectionState GetState() const = 0;
    virtual std::string GetTarget() const = 0;                   ///< "udp://host:port", "tcp://host:port".
    virtual std::size_t GetQueuedBytes() const = 0;              ///< What waits to be sent.
    virtual void GetStatus(EnvironmentBlock& status) const = 0;  ///< Adds its counters as name and value.

    /// How often a connection was lost: what was sent since then, or shortly before, may not have arrived.
    /// For a sender that drops its queue with a lost connection the call says, too, that the caller knows:
    /// from then on Send takes events again. So only the one that sends may call it.
    virtual unsigned int GetLossCount() const = 0;

    /// Sends what is queued for up to timeoutMs milliseconds, then closes; what is left counts as dropped.
    virtual void Close(unsigned int timeoutMs) = 0;
};

}  // namespace WindowsAgentCommon
