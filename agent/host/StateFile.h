#pragma once

#include <string>
#include <utility>
#include <vector>

#include "WindowsAgentCommon/EnvironmentBlock.h"

namespace CorvaneAgent {

/// What the state file says.
struct AgentState {
    std::string status;              ///< "starting", "running", "stopping", "stopped".
    std::string configuration;       ///< Version of the configuration in force.
    std::string configurationFile;   ///< Its path.
    std::string configurationStamp;  ///< The file's time and size when it was read.
    std::string reload;              ///< Result of the last look at the configuration file.
    std::vector<std::pair<std::string, WindowsAgentCommon::EnvironmentBlock>> components;  ///< By name.
};

/// The state as JSON (UTF-8): status, time, process id, the configuration's three, reload, and for each
/// component its status as an object, in which numbers stand as numbers. Bytes that are no valid UTF-8 become
/// "?".
std::string ToJson(const AgentState& state);

/// Replaces the file as a whole; a reader sees the old content or the new one. Returns the Windows code.
unsigned long ReplaceFileContent(const std::wstring& path, const std::string& content);

}  // namespace CorvaneAgent
