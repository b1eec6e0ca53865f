#include "agent/host/HeartbeatTimer.h"

#include <exception>

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

HeartbeatTimer::HeartbeatTimer(const std::multimap<std::string, std::string>& settings, long interval) {
    std::multimap<std::string, std::string> own = settings;
    own.erase("LogMonitor.Level");
    own.emplace("LogMonitor.Level", "1");  // a heartbeat is no matter of level
    Initialize(own);
    scheduler_ = std::make_unique<Scheduler>();
    scheduler_->Schedule(this, nullptr, ACE_Time_Value(interval));
}

void HeartbeatTimer::BeginStop() {
    try {
        scheduler_->Schedule(this, this, ACE_Time_Value::zero);
    } catch (const std::exception&) {
        return;  // for want of memory: the destructor shuts down, if later
    }
}

HeartbeatTimer::~HeartbeatTimer() {
    scheduler_.reset();
    Shutdown();
}

int HeartbeatTimer::handle_timeout(const ACE_Time_Value&, const void* act) {
    try {
        if (act) {
            Shutdown();
            return 0;
        }
        GetCustomProps({});
        OnMessage(kMonitorInfo, "Agent.Heartbeat", "running");
    } catch (const std::exception&) {
        return 0;  // for want of memory: this heartbeat is missing, the next one may not be
    }
    return 0;
}

}  // namespace CorvaneAgent
