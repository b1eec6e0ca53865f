#pragma once

#include <string>
#include <vector>

#include "WindowsAgentCommon/ServiceConfig.h"

namespace CorvaneAgent {

class ComponentFactory;

/// What became of services that differ from those in force. UTF-8; names stand behind a blank each.
struct Takeover {
    std::string done;     ///< Collectors that were started, stopped, or started anew.
    std::string restart;  ///< Services that are no collectors: they stay as they are.
    std::string refused;  ///< Collectors that do not start, each as " NAME: WHY;".
    bool again = false;   ///< One does not run at all now: the next takeover tries again.

    bool IsWhole() const { return restart.empty() && refused.empty(); }
};

/// Starts the collectors that are new in wanted, stops those that are gone, and starts those anew that
/// differ, which go on from the position that they kept and count from 0. One that does not start as wanted
/// is started as it was. inForce: becomes what runs now, and what could not even start as it was. On the
/// factory's thread; blocks as long as collectors take to stop, which is about a second for all of them
/// together.
Takeover TakeOverCollectors(ComponentFactory& factory,
                            std::vector<WindowsAgentCommon::ServiceConfig>& inForce,
                            const std::vector<WindowsAgentCommon::ServiceConfig>& wanted);

}  // namespace CorvaneAgent
