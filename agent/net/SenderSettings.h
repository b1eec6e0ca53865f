#pragma once

#include <cstddef>
#include <string>

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "agent/net/LineQueue.h"

namespace CorvaneAgent {

/// What a sender is made of. The settings of the same names, their units and defaults stand in
/// docs/agent-connections.md.
struct SenderSettings {
    bool stream = false;
    std::string targetAddress;
    unsigned short targetPort = 514;
    Framing framing = Framing::kNone;
    std::size_t queueLowWaterMark = 0, queueHighWaterMark = 0;
    std::size_t maxPayloadSize = 0;
    bool discardOnLoss = false;
    unsigned int connectTimeout = 0, backoffMin = 0, backoffMax = 0, sendTimeout = 0;

    std::string GetTarget() const;  ///< "udp://host:port", "tcp://host:port".
};

/// Throws InitializationException, whose message names the setting, for a value that cannot be used. Other
/// settings in the block are somebody else's.
SenderSettings ReadSenderSettings(const WindowsAgentCommon::EnvironmentBlock& block);

}  // namespace CorvaneAgent
