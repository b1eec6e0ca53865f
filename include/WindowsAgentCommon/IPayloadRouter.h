#pragma once

#include <memory>
#include <string>

#include "WindowsAgentCommon/IServiceComponent.h"
#include "WindowsAgentCommon/StreamRoutingResult.h"

namespace WindowsAgentCommon {

class IPayload;

/// Decides about single events. Any thread.
class CORVANE_API IEventFilter {
public:
    IEventFilter() = default;
    IEventFilter(const IEventFilter&) {}
    IEventFilter& operator=(const IEventFilter&) { return *this; }
    virtual ~IEventFilter();

    virtual bool Accept(const IPayload& payload) const = 0;  ///< Whether the event passes.
};

/// Takes each event to the destinations that want it. After Initialize any thread may call it.
class CORVANE_API IPayloadRouter : public IServiceComponent {
public:
    ~IPayloadRouter() override;

    static std::string GetServiceName();  ///< "PayloadRouter"

    /// Sends what filter accepts (null: everything) to the destination of that name from now on.
    virtual void AddRoute(const std::shared_ptr<IEventFilter>& filter, const std::string& destination) = 0;

    /// Takes one event along every route. The flags of all stages together; a failure when destinations want
    /// it and none took it. What no destination wants is no failure and not queued.
    virtual StreamRoutingResult Route(const std::shared_ptr<IPayload>& payload) = 0;
};

}  // namespace WindowsAgentCommon
