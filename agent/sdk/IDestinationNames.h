#pragma once

#include <string>
#include <vector>

namespace CorvaneAgent {

/// Says which destinations there are. The agent's destination manager offers it beside IDestinationManager
/// (dynamic_cast).
class IDestinationNames {
public:
    virtual ~IDestinationNames() = default;

    /// The names, in the order of the configuration; they stay the same from Initialize to Shutdown. Any
    /// thread.
    virtual std::vector<std::string> GetDestinationNames() const = 0;
};

}  // namespace CorvaneAgent
