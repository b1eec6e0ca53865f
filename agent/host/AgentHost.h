#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "WindowsAgentCommon/ClientConfigurationHelper.h"
#include "WindowsAgentCommon/Heartbeat.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/TOLVLogMonitor.h"
#include "agent/host/ComponentFactory.h"
#include "agent/host/Options.h"
#include "agent/host/StateFile.h"
#include "agent/sdk/ServiceRegistration.h"

namespace WindowsAgentCommon {
class IConfigurationManager;
}

namespace CorvaneAgent {

/// The agent from its first folder to its last log line, in the order that docs/architecture.md gives. One
/// thread makes it, calls Start, Run and Stop, and destroys it; StopRequested is the only thing that others
/// touch.
class AgentHost : private WindowsAgentCommon::IComponentFactoryHook {
public:
    /// stopRequested: a manual-reset event (HANDLE), not owned.
    AgentHost(const Options& options, void* stopRequested);
    AgentHost(const AgentHost&) = delete;
    AgentHost& operator=(const AgentHost&) = delete;
    ~AgentHost() override;

    /// Reads the configuration, and starts everything unless checkOnly. When it fails, nothing stays started,
    /// and GetError() says why.
    ExitCode Start(bool checkOnly);

    /// Keeps the state file, looks after the configuration and sends heartbeats until a stop is requested,
    /// or, with
    /// --once, until every collector has finished. progress: called about once a second, may be null.
    void Run(void (*progress)(const AgentState& state));

    /// Ends everything in the opposite order. final: the state of each component as it ended.
    ExitCode Stop(AgentState& final);

    const std::string& GetError() const { return error_; }  ///< UTF-8; empty when nothing failed.
    AgentState GetState(const std::string& status);         ///< As the state file has it.

private:
    std::string GetHookName() const override { return "Agent.Host"; }
    void OnAfterComponentShutdown(const std::string& name,
                                  WindowsAgentCommon::ComponentFactoryResultCode result) override;

    void prepareFolders();
    void initializeLogging();
    ExitCode readConfiguration();
    bool checkSettings();
    void startMonitor();
    void sendHeartbeat();
    void lookForConfiguration();
    bool haveCollectorsFinished(const AgentState& state) const;
    void writeState(const std::string& status);
    ExitCode fail(ExitCode code, const std::string& why);

    const Options options_;
    void* const stopRequested_;
    std::string error_;
    WindowsAgentCommon::Log log_;
    WindowsAgentCommon::ClientConfigurationHelper configuration_;
    WindowsAgentCommon::IConfigurationManager* manager_ = nullptr;  // the service configurator's
    WindowsAgentCommon::EnvironmentBlock settings_;
    std::vector<WindowsAgentCommon::ServiceConfig> services_;  // those in force
    std::string configurationStamp_;  // what the configuration file had when it was read
    std::string reload_ = "not yet";
    ComponentFactory factory_;
    std::unique_ptr<ServiceRegistration> registration_;
    WindowsAgentCommon::TOLVLogMonitor monitor_;
    std::unique_ptr<WindowsAgentCommon::Heartbeat> heartbeat_;
    std::int64_t stateInterval_ = 0;  // ms, as the next two
    std::int64_t reloadInterval_ = 0;
    std::int64_t heartbeatInterval_ = 0;  // 0: no heartbeats
    AgentState final_;                    // filled while components shut down
    bool stateFailed_ = false;
    bool started_ = false;
};

}  // namespace CorvaneAgent
