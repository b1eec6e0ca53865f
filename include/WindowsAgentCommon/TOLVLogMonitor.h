#pragma once

#include <map>
#include <memory>
#include <string>

#include <ace/Thread_Mutex.h>

#include "WindowsAgentCommon/ILogMonitor.h"

namespace WindowsAgentCommon {

class ISender;

/// Sends the agent's own log lines to the status server as events. The host makes one, initialises it and
/// installs it in the LoggerFactory; it uninstalls it before it destroys it. Any thread may call anything.
///
/// Settings of Initialize. In texts, "%NAME%" stands for the environment variable; a number that is not
/// positive, or no number, is replaced by the default.
///
/// | Key | Default | Meaning |
/// |---|---|---|
/// | LogMonitor.Socket.Type | UDP | a text that begins with T or t: TCP; anything else: UDP |
/// | LogMonitor.Socket.* | - | passed on to the sender under what stands behind "Socket." |
/// | LogMonitor.Level | 4 | lowest level forwarded, as a MessageLevel_t; above 6: none |
/// | ConfigurationServer | - | the central server: "host", "host:port", "[v6 address]:port" |
/// | StatusServer | ConfigurationServer | the server that receives the lines, in the same form |
/// | ApplicationIdentifier | - | appended to the category |
/// | QueueLowWaterMark | 999500 | of the sender's queue, bytes |
/// | QueueHighWaterMark | 1000000 | of the sender's queue, bytes |
/// | TargetAddress | host of the status server | where the lines are sent |
/// | TargetPort | port of the status server, else 514 | any but 1 to 65535: the default, with a warning |
/// | MaxPayloadSize | 1020, TCP 32000 | largest event in bytes |
/// | PayloadBuilderType | TOLVPayloadBuilder | passed on to the sender |
class CORVANE_API TOLVLogMonitor : public ILogMonitor {
public:
    TOLVLogMonitor();
    TOLVLogMonitor(const TOLVLogMonitor& other);             ///< The copy has the same sender.
    TOLVLogMonitor& operator=(const TOLVLogMonitor& other);  ///< The copy has the same sender.

    /// Lets the sender go without closing it, as assignment does with the one before: a copy may use it
    /// still. Without a copy, Shutdown comes first, or what is queued is left to the sender's destructor.
    ~TOLVLogMonitor() override;

    /// Makes the sender through the connection factory and opens it. Without a target server it stays
    /// inactive and says so in the log. Throws InitializationException when there is no connection factory,
    /// or it makes no sender of these settings; the monitor is then inactive. The sender before is closed as
    /// by Shutdown, and of two calls at a time the one that ends last keeps its sender.
    virtual void Initialize(const std::multimap<std::string, std::string>& settings);

    using ILogMonitor::OnMessage;

    /// Sends the line, unless its level is below the lowest one or the monitor is inactive. What the sender
    /// does not take is lost, and counted there.
    void OnMessage(MessageLevel_t level, const std::string& category, const std::string& message) override;

    /// Gives the sender up; lines are dropped from now on. Whoever else holds the sender may go on with it:
    /// the monitor closes it, waiting up to a second for what is queued.
    void Shutdown();

protected:
    /// Replaces what is appended to the category.
    void SetApplicationIdentifier(const std::string& text);

private:
    struct State {
        std::shared_ptr<ISender> sender;  // null: inactive
        int minimumLevel = kMonitorWarn;
        std::string localHost;
        std::string destination;
        std::string applicationIdentifier;
    };

    State state() const;

    mutable ACE_Thread_Mutex lock_;
    State state_;  // under lock_
};

}  // namespace WindowsAgentCommon
