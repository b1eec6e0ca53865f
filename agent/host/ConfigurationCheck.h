#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "WindowsAgentCommon/ServiceConfig.h"

namespace CorvaneAgent {

/// The agent's own settings, in milliseconds.
struct Intervals {
    std::int64_t state = 0;
    std::int64_t reload = 0;
    std::int64_t heartbeat = 0;  ///< 0: no heartbeats, or no status server to send them to.
};

/// What is wrong with the agent's own settings or with the services' names, UTF-8; empty when nothing is.
/// Then intervals are set.
std::string CheckConfiguration(const WindowsAgentCommon::EnvironmentBlock& settings,
                               const std::vector<WindowsAgentCommon::ServiceConfig>& services,
                               Intervals& intervals);

/// A file's time of the last write (UTC) and size, as "2024-02-29T12:34:56.123455047Z, 1234 bytes"; empty
/// when it cannot be looked at. source: its path, UTF-8.
std::string StampOf(const std::string& source);

/// Whether two services are configured alike.
bool SameService(const WindowsAgentCommon::ServiceConfig& one,
                 const WindowsAgentCommon::ServiceConfig& other);

}  // namespace CorvaneAgent
