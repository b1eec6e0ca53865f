#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <ace/Condition_Thread_Mutex.h>

#include "WindowsAgentCommon/IDestination.h"
#include "WindowsAgentCommon/KORTask.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"
#include "agent/sdk/IDestinationNames.h"

namespace WindowsAgentCommon {
class IConnectionFactory;
class IDiskManager;
class IPayloadFactory;
class IPersistenceManager;
}  // namespace WindowsAgentCommon

namespace CorvaneAgent {

class Destination;
class SettingsReader;
class Sink;

/// The agent's destinations: one for each instance of its service configuration, whose text1 is the name and
/// whose settings docs/agent-road.md lists. It takes no settings of its own. The status of each
/// destination stands under "<name>.", its states as that page says.
///
/// Shutdown writes what is queued and sends what it can, for about three seconds, and takes no new events
/// meanwhile.
class DestinationManager
    : public WindowsAgentCommon::ServiceComponentBase<WindowsAgentCommon::IDestinationManager,
                                                      WindowsAgentCommon::KORTask>,
      public IDestinationNames {
public:
    DestinationManager();
    ~DestinationManager() override;

    /// "PayloadFactory"; with a network destination the managers of disk and records and the connection
    /// factory.
    void GetDependencies(std::vector<std::string>& services) const override;
    WindowsAgentCommon::InitializeResult Initialize(
        const WindowsAgentCommon::EnvironmentBlock& settings) override;
    void Start() override;
    void GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const override;
    void Shutdown() override;

    std::shared_ptr<WindowsAgentCommon::IDestination> GetDestination(const std::string& name) override;
    std::vector<std::string> GetDestinationNames() const override;

private:
    using Guard = ACE_Guard<ACE_Thread_Mutex>;
    using Destinations = std::vector<std::shared_ptr<Destination>>;

    int svc() override;
    Destinations all() const;
    void stop(const Destinations& destinations);
    void add(const WindowsAgentCommon::InstanceConfig& config, Destinations& destinations);
    std::unique_ptr<Sink> makeFileSink(const WindowsAgentCommon::InstanceConfig& config,
                                       SettingsReader& settings);
    std::unique_ptr<Sink> makeSpoolSink(const WindowsAgentCommon::InstanceConfig& config,
                                        const std::string& type, SettingsReader& settings);

    WindowsAgentCommon::Log log_;
    mutable ACE_Thread_Mutex lock_;  // guards what follows
    ACE_Condition_Thread_Mutex changed_;
    Destinations destinations_;
    std::uint64_t share_ = 0;  // Initialize's own: bytes of a spool without SpoolCapacity
    std::uint64_t stray_ = 0;  // and what it has less for the spools of former destinations
    WindowsAgentCommon::EnvironmentBlock final_;  // what the destinations counted before they were shut down
    bool stopping_ = false;
};

}  // namespace CorvaneAgent
