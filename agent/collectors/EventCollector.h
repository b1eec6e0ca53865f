#pragma once

#include <string_view>

#include "agent/collectors/EventRecord.h"
#include "agent/sdk/Collector.h"

namespace CorvaneAgent {

/// What the collectors of Windows events share: how an event becomes a payload (docs/agent-collectors.md has
/// the fields).
class EventCollector : public Collector {
protected:
    /// Emits an event; false when the collector is to stop.
    bool EmitEvent(const EventRecord& record);

private:
    void addSystem(WindowsAgentCommon::IPayload& payload, const EventRecord& record);
    void addText(WindowsAgentCommon::IPayload& payload, std::string_view name, std::string_view value);
    void addData(WindowsAgentCommon::IPayload& payload, std::string_view name, std::string_view value);
    void addIfAny(WindowsAgentCommon::IPayload& payload, std::string_view name, std::string_view value);
    void addIfAny(WindowsAgentCommon::IPayload& payload, std::string_view name, std::int64_t value);

    std::string escaped_;  // reused
};

}  // namespace CorvaneAgent
