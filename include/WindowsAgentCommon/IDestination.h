#pragma once

#include <memory>
#include <string>

#include "WindowsAgentCommon/IServiceComponent.h"
#include "WindowsAgentCommon/StreamRoutingResult.h"

namespace WindowsAgentCommon {

class IPayload;

/// Where events end. Any thread.
class CORVANE_API IDestination {
public:
    IDestination() = default;
    IDestination(const IDestination&) {}
    IDestination& operator=(const IDestination&) { return *this; }
    virtual ~IDestination();

    virtual std::string GetName() const = 0;
    /// Takes an event; the result says whether it was queued, and a failure that it was not taken.
    virtual StreamRoutingResult Send(const std::shared_ptr<IPayload>& payload) = 0;
};

/// Keeps the agent's destinations by name. After Initialize any thread may call it.
class CORVANE_API IDestinationManager : public IServiceComponent {
public:
    ~IDestinationManager() override;

    static std::string GetServiceName();  ///< "DestinationManager"

    /// The destination of that name; null when there is none.
    virtual std::shared_ptr<IDestination> GetDestination(const std::string& name) = 0;
};

}  // namespace WindowsAgentCommon
