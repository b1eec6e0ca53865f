#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <ace/Event_Handler.h>

#include "WindowsAgentCommon/Heartbeat.h"
#include "WindowsAgentCommon/Scheduler.h"

namespace CorvaneAgent {

/// Sends a heartbeat to the status server at once and then at each interval, on the scheduler's thread; every
/// one carries heartbeat_custom.props as it is then.
class HeartbeatTimer : private WindowsAgentCommon::Heartbeat, private ACE_Event_Handler {
public:
    /// settings: the agent's own, of which "LogMonitor.Level" is not looked at. interval: seconds, above 0.
    /// Throws InitializationException when no sender can be made, or the scheduler cannot be started.
    HeartbeatTimer(const std::multimap<std::string, std::string>& settings, long interval);

    /// Lets the scheduler's thread give up the sender, which takes up to a second; the destructor waits for
    /// it.
    void BeginStop();

    /// Returns when the last heartbeat is handed over, at most a second after that.
    ~HeartbeatTimer() override;

private:
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;

    std::unique_ptr<WindowsAgentCommon::Scheduler> scheduler_;
};

}  // namespace CorvaneAgent
