#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "WindowsAgentCommon/ClientConfigurationHelper.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/TOLVLogMonitor.h"
#include "agent/host/ComponentFactory.h"
#include "agent/host/ConfigurationCheck.h"
#include "agent/host/HeartbeatTimer.h"
#include "agent/host/Options.h"
#include "agent/host/StateFile.h"
#include "agent/sdk/Handle.h"
#include "agent/sdk/ServiceRegistration.h"

namespace WindowsAgentCommon {
class IConfigurationManager;
}

namespace CorvaneAgent {

struct Takeover;

/// The agent from its first folder to its last log line, in the order that docs/architecture.md gives. One
/// thread makes it, calls Start, Run and Stop, and destroys it; StopRequested is the only thing that others
/// touch.
class AgentHost : private WindowsAgentCommon::IComponentFactoryHook {
public:
    /// stopRequested: a manual-reset event (HANDLE), not owned. alive: called for each component while Start
    /// and Stop go on, may be null.
    AgentHost(const Options& options, void* stopRequested, void (*alive)() = nullptr);
    AgentHost(const AgentHost&) = delete;
    AgentHost& operator=(const AgentHost&) = delete;
    ~AgentHost() override;

    /// Reads the configuration, starts nothing and writes nothing, not even a log line. summary: what was
    /// checked, UTF-8; unchanged when it fails, and GetError() says why. Not before or after Start.
    ExitCode Check(std::string& summary);

    /// Reads the configuration and starts everything. Until Stop no other agent can start on the same root,
    /// since both would take and delete what is in the cache folder. When it fails, nothing stays started,
    /// and GetError() says why.
    ExitCode Start();

    /// Keeps the state file, and looks after the configuration until a stop is requested,
    /// or, with --once, until every collector has finished and the destinations have sent everything, or
    /// nothing for 5 seconds. progress: called about once a second, may be null.
    void Run(void (*progress)(const AgentState& state));

    /// Ends everything in the opposite order. final: the state of each component as it ended.
    ExitCode Stop(AgentState& final);

    const std::string& GetError() const { return error_; }  ///< UTF-8; empty when nothing failed.
    AgentState GetState(const std::string& status);         ///< The state file's, without the process.

private:
    std::string GetHookName() const override { return "Agent.Host"; }
    void OnComponentInitializeSuccess(const std::string& name) override;
    void OnBeforeComponentShutdown(const std::string& name) override;
    void OnAfterComponentShutdown(const std::string& name,
                                  WindowsAgentCommon::ComponentFactoryResultCode result) override;

    ExitCode start();
    void prepareFolders();
    ExitCode lockRoot();
    void initializeLogging();
    ExitCode readConfiguration();
    void startMonitor();
    void beginStop();
    void lookForConfiguration();
    void tellReload(const Takeover& takeover);
    void takeOver(AgentState& state, const std::string& status) const;
    void addProcess(AgentState& state);
    WindowsAgentCommon::EnvironmentBlock statusOf(const std::string& name);
    bool isDrainedOrStuck(std::int64_t now);
    void tellAlive() const;
    bool haveCollectorsFinished();
    void writeState(const std::string& status);
    ExitCode fail(ExitCode code, const std::string& why);

    const Options options_;
    void* const stopRequested_;
    void (*const alive_)();
    std::string error_;
    Handle lock_;  // the file whose existence keeps other agents from this root
    WindowsAgentCommon::Log log_;
    WindowsAgentCommon::ClientConfigurationHelper configuration_;
    WindowsAgentCommon::IConfigurationManager* manager_ = nullptr;  // the service configurator's
    WindowsAgentCommon::EnvironmentBlock settings_;
    std::vector<WindowsAgentCommon::ServiceConfig> services_;  // those in force
    std::string version_, stamp_;     // theirs, and what the file had when it was read
    std::string configurationStamp_;  // what it had when it was last looked at
    std::string reload_ = "not yet";
    ComponentFactory factory_;
    std::unique_ptr<ServiceRegistration> registration_;
    WindowsAgentCommon::TOLVLogMonitor monitor_;
    std::unique_ptr<HeartbeatTimer> heartbeat_;  // null: none
    Intervals intervals_;
    std::uint64_t waiting_ = 0;  // bytes, and since when there are as many
    std::int64_t waitingSince_ = 0;
    AgentState final_;  // filled while components shut down
    bool stateFailed_ = false;
    bool started_ = false;
};

}  // namespace CorvaneAgent
