#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <ace/Thread_Mutex.h>
#include <ace/Service_Object.h>

#include "WindowsAgentCommon/IDestination.h"
#include "WindowsAgentCommon/IPayloadRouter.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"
#include "agent/sdk/IDeliveryBarrier.h"

namespace CorvaneAgent {

class Destination;

/// The agent's payload router. Each value of its setting "Route" is the name of a destination that gets every
/// event; filters come by AddRoute. Without any route every destination gets everything. A destination that
/// several routes lead to gets an event once.
///
/// Route takes no lock of its own. Either every destination that wants an event has taken it, or the result
/// is a failure and none has: then the collector waits and calls again. An event that no destination wants is
/// counted, and is no failure. The payload belongs to the destinations from then on: nobody may use it any
/// more.
class PayloadRouter
    : public WindowsAgentCommon::ServiceComponentBase<WindowsAgentCommon::IPayloadRouter, ACE_Service_Object>,
      public IDeliveryBarrier {
public:
    PayloadRouter();
    ~PayloadRouter() override;

    void GetDependencies(std::vector<std::string>& services) const override;
    WindowsAgentCommon::InitializeResult Initialize(
        const WindowsAgentCommon::EnvironmentBlock& settings) override;
    void GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const override;
    void Shutdown() override;  ///< When nobody calls Route any more; the collectors end before.

    /// After Initialize only. Throws ObjectDoesNotExistException for an unknown destination. A filter that
    /// throws counts as accepting.
    void AddRoute(const std::shared_ptr<WindowsAgentCommon::IEventFilter>& filter,
                  const std::string& destination) override;
    WindowsAgentCommon::StreamRoutingResult Route(
        const std::shared_ptr<WindowsAgentCommon::IPayload>& payload) override;

    bool WaitUntilSafe(
        unsigned int timeoutMs) override;  ///< False, too, before Initialize and after Shutdown.

private:
    using PayloadPtr = std::shared_ptr<WindowsAgentCommon::IPayload>;
    using Set = std::uint64_t;  // of destinations, a bit each

    struct Target {
        std::string name;
        std::shared_ptr<WindowsAgentCommon::IDestination> destination;
        Destination* own = nullptr;           // the same, where it is one of this module
        IDeliveryBarrier* barrier = nullptr;  // the same, where it is one
    };
    struct RouteEntry {
        std::shared_ptr<WindowsAgentCommon::IEventFilter> filter;
        std::size_t target = 0;
        std::atomic<RouteEntry*> next{nullptr};
    };

    void addTarget(WindowsAgentCommon::IDestinationManager& manager, const std::string& name);
    std::size_t targetOf(const std::string& name) const;
    Set wanted(const WindowsAgentCommon::IPayload& payload);
    bool accepts(const RouteEntry& route, const WindowsAgentCommon::IPayload& payload);
    bool reserve(Set set);
    void unreserve(Set set);
    WindowsAgentCommon::StreamRoutingResult sendToSome(const PayloadPtr& payload, Set set);

    WindowsAgentCommon::Log log_;
    std::vector<Target> targets_;  // set by Initialize
    Set everyone_ = 0;
    std::atomic<RouteEntry*> first_{nullptr};  // the routes, added at the end only
    std::atomic<std::uint64_t> unwanted_{0};
    std::atomic<bool> filterFailed_{false};  // the log was told
    ACE_Thread_Mutex lock_;                  // guards the next line
    std::vector<std::unique_ptr<RouteEntry>> routes_;
};

}  // namespace CorvaneAgent
