#include "agent/host/AgentHost.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/CV_Statistics.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IConfigurationManager.h"
#include "WindowsAgentCommon/IDeviceService.h"
#include "WindowsAgentCommon/IRegistryCache.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "agent/host/ConfigurationCheck.h"
#include "agent/host/Takeover.h"
#include "agent/sdk/Clock.h"

#include <cstdlib>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr std::int64_t kProgressMs = 1000;
constexpr std::int64_t kIdleSpoolMs = 5000;  // with --once, how long a destination may send nothing
constexpr const char* kManager = "AgentConfigManager";

/// What waits to be sent, over all destinations.
std::uint64_t waitingBytes(const EnvironmentBlock& destinations) {
    std::uint64_t sum = 0;
    for (const auto& [name, value] : destinations.Entries()) {
        const std::size_t dot = name.rfind('.');
        const std::string last = dot == std::string::npos ? name : name.substr(dot + 1);
        if (last == "SpoolBytes" || last == "QueuedBytes") sum += std::strtoull(value.c_str(), nullptr, 10);
    }
    return sum;
}

/// Settles the folders, before anything is logged: logging keeps the working folder that it finds first,
/// which is the system's for a service. What goes wrong is found, and told, when the folders are made.
const Options& enterRoot(const Options& options) {
    GetBinPath();
    SetRootPath(options.root);
    if (options.action != Options::Action::kCheck) CreateDirectoryRecursive(GetRootPath());
    ::SetCurrentDirectoryW(GetRootPath().c_str());
    return options;
}

}  // namespace

AgentHost::AgentHost(const Options& options, void* stopRequested, void (*alive)())
    : options_(enterRoot(options)),
      stopRequested_(stopRequested),
      alive_(alive),
      log_(GetLoggerFactory().GetLog("Agent.Host")),
      configuration_(false) {}

AgentHost::~AgentHost() {
    AgentState final;
    if (started_) Stop(final);
}

ExitCode AgentHost::fail(ExitCode code, const std::string& why) {
    error_ = why;
    log_->Error("%s", why.c_str());
    return code;
}

void AgentHost::prepareFolders() {
    for (const std::wstring& folder :
         {GetRootPath(), GetConfigPath(), GetLogPath(), GetCachePath(), GetPatchPath(), GetStagingPath()}) {
        const unsigned long error = CreateDirectoryRecursive(folder);
        if (error != 0) {
            throw InitializationException(
                __FILE__, __FUNCTION__, __LINE__,
                "the folder " + ToUTF8(folder) + " cannot be made: " + LastError(error));
        }
    }
}

void AgentHost::initializeLogging() {
    try {
        GetLoggerFactory().Initialize(ConfigFile(L"logconfig.xml"), GetLogPath(), GetCheckpointPath());
    } catch (const InitializationException& error) {
        log_->Warn("Warnings and worse go to the console: %s", error.what());
    }
}

ExitCode AgentHost::readConfiguration() {
    const std::string source = ToUTF8(ConfigFile(nullptr));
    configurationStamp_ = StampOf(source);
    try {
        manager_ = configuration_.Initialize(kManager, source);
    } catch (const std::exception& error) {
        error_ = error.what();  // the manager has logged it
        return kExitConfiguration;
    }
    manager_->GetSettings(settings_);
    manager_->GetServices(services_);
    version_ = manager_->GetConfigurationVersion();
    stamp_ = configurationStamp_;
    const std::string wrong = CheckConfiguration(settings_, services_, intervals_);
    if (!wrong.empty()) return fail(kExitConfiguration, source + ": " + wrong);
    return kExitSuccess;
}

ExitCode AgentHost::Check(std::string& summary) {
    // Told by the caller only: the log belongs to the agent that may be running.
    CorvaneLogger::CV_Logger::TheLogger().findBaseLogger("root", false)->SetLevel(CorvaneLogger::kLevelFatal);
    const ExitCode code = readConfiguration();
    if (code != kExitSuccess) return code;
    Format(
        summary,
        "%s, version \"%s\": its form, the agent's own settings and the names of %d services are in order; "
        "the settings of a service are checked when it starts",
        manager_->GetSource().c_str(), version_.c_str(), static_cast<int>(services_.size()));
    return kExitSuccess;
}

ExitCode AgentHost::Start() {
    const ExitCode code = start();
    if (!started_) {
        GetLoggerFactory().Shutdown();
        lock_.reset();
    }
    return code;
}

/// Not told in the log, which the other agent has open.
ExitCode AgentHost::lockRoot() {
    const std::wstring path = GetCachePath() + L"agent.lock";
    lock_ = OwnFile(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                  FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (lock_) return kExitSuccess;
    const DWORD error = ::GetLastError();
    if (error == ERROR_SHARING_VIOLATION) {
        error_ = "another agent runs on the folder " + ToUTF8(GetRootPath()) + " and holds cache\\agent.lock";
        return kExitRunning;
    }
    error_ = "the file " + ToUTF8(path) + " cannot be made: " + LastError(error);
    return kExitConfiguration;
}

ExitCode AgentHost::start() {
    try {
        prepareFolders();
    } catch (const std::exception& error) {
        return fail(kExitConfiguration, error.what());
    }
    const ExitCode locked = lockRoot();
    if (locked != kExitSuccess) return locked;
    initializeLogging();
    std::string version;
    std::string system;
    GetKORVersionString(version);
    GetWindowsVersionString(system);
    log_->Info("Agent %s starts on %s, root %ls", version.c_str(), system.c_str(), GetRootPath().c_str());
    const ExitCode read = readConfiguration();
    if (read != kExitSuccess) return read;

    writeState("starting");
    factory_.AddHook(this);
    registration_ = std::make_unique<ServiceRegistration>(L"ComponentFactory_Dynamic_Service", factory_);
    if (factory_.Initialize(services_) != kComponentFactorySuccess) {
        error_ = "the component " + factory_.GetFailedComponent() + " failed: " + factory_.GetFailure();
        takeOver(final_, "stopped");
        writeState("stopped");
        registration_.reset();
        return kExitComponent;
    }
    started_ = true;
    configuration_.Run();
    CV_Statistics::TheStats().Init();
    CV_Statistics::TheStats().open();
    startMonitor();
    log_->Info("Running with %d services", static_cast<int>(services_.size()));
    return kExitSuccess;
}

void AgentHost::startMonitor() {
    try {
        monitor_.Initialize(settings_.Entries());
        GetLoggerFactory().InstallLogMonitor(&monitor_);
    } catch (const std::exception& error) {
        log_->Error("No log lines go to the status server: %s", error.what());
    }
    if (intervals_.heartbeat == 0) return;
    try {
        heartbeat_ = std::make_unique<HeartbeatTimer>(settings_.Entries(),
                                                      static_cast<long>(intervals_.heartbeat / 1000));
    } catch (const std::exception& error) {
        log_->Error("No heartbeats go to the status server: %s", error.what());
    }
}

void AgentHost::lookForConfiguration() {
    const std::string stamp = StampOf(manager_->GetSource());
    if (stamp == configurationStamp_) return;
    configurationStamp_ = stamp;
    if (!manager_->Reload()) {
        reload_ = "refused: " + manager_->GetLastError();
        log_->Error("The changed configuration is not taken over: %s", manager_->GetLastError().c_str());
        return;
    }
    std::vector<ServiceConfig> services;
    EnvironmentBlock settings;
    manager_->GetServices(services);
    manager_->GetSettings(settings);
    Intervals unused;
    const std::string wrong = CheckConfiguration(settings, services, unused);
    if (!wrong.empty()) {
        reload_ = "refused: " + wrong;
        log_->Error("The changed configuration is not taken over: %s", wrong.c_str());
        return;
    }
    Takeover takeover = TakeOverCollectors(factory_, services_, services);
    if (settings.Entries() != settings_.Entries()) takeover.restart += " Settings";
    if (takeover.IsWhole()) {
        version_ = manager_->GetConfigurationVersion();
        stamp_ = configurationStamp_;
    }
    if (takeover.again) configurationStamp_.clear();
    tellReload(takeover);
}

void AgentHost::tellReload(const Takeover& takeover) {
    reload_.clear();
    const auto add = [this](const char* what, const std::string& names) {
        if (!names.empty()) reload_ += (reload_.empty() ? "" : ", ") + (what + names);
    };
    add("taken over:", takeover.done);
    add("needs a restart for:", takeover.restart);
    add("refused:", takeover.refused);
    if (reload_.empty()) reload_ = "unchanged";
    if (!takeover.done.empty())
        log_->Info("The configuration has changed; taken over:%s", takeover.done.c_str());
    if (!takeover.restart.empty())
        log_->Warn("The configuration has changed; a restart takes over:%s", takeover.restart.c_str());
    if (!takeover.refused.empty())
        log_->Error("The changed configuration is not taken over for:%s", takeover.refused.c_str());
}

void AgentHost::takeOver(AgentState& state, const std::string& status) const {
    state.status = status;
    state.reload = reload_;
    state.configuration = version_;
    state.configurationFile = manager_->GetSource();
    state.configurationStamp = stamp_;
}

EnvironmentBlock AgentHost::statusOf(const std::string& name) {
    EnvironmentBlock status;
    try {
        factory_.GetStatus(name, status);
    } catch (const std::exception& error) {
        status.SetStringValue("Failure", error.what());
    }
    return status;
}

AgentState AgentHost::GetState(const std::string& status) {
    AgentState state;
    takeOver(state, status);
    std::vector<std::string> names;
    factory_.GetComponentNames(names);
    for (const std::string& name : names) state.components.emplace_back(name, statusOf(name));
    return state;
}

void AgentHost::addProcess(AgentState& state) {
    auto* const cache =
        dynamic_cast<IRegistryCache*>(factory_.GetComponent(IRegistryCache::GetServiceName()));
    std::map<std::wstring, double> values;
    if (!cache || cache->GetPerformanceCounters(values) != 0) return;
    EnvironmentBlock counters;
    for (const auto& [name, value] : values) {
        std::string text;
        counters.SetStringValue(ToUTF8(name), Format(text, "%.2f", value));
    }
    state.components.emplace_back("process", counters);
}

void AgentHost::writeState(const std::string& status) {
    const std::wstring path = GetLogPath() + L"state.json";
    AgentState state = status == "stopped" ? final_ : GetState(status);
    addProcess(state);
    const unsigned long error = ReplaceFileContent(path, ToJson(state));
    if ((error != 0) != stateFailed_) {
        stateFailed_ = error != 0;
        if (stateFailed_) {
            log_->Error("The state file %ls cannot be written: %s", path.c_str(), LastError(error).c_str());
        } else {
            log_->Info("The state file can be written again");
        }
    }
}

bool AgentHost::haveCollectorsFinished() {
    bool any = false;
    std::vector<std::string> names;
    factory_.GetComponentNames(names);
    for (const std::string& name : names) {
        if (!dynamic_cast<IDeviceService*>(factory_.GetComponent(name))) continue;
        any = true;
        std::string text;
        statusOf(name).GetStringValue("State", text, std::string());
        if (text != "finished") return false;
    }
    return any;
}

void AgentHost::Run(void (*progress)(const AgentState& state)) {
    const std::int64_t start = SteadyMilliseconds();
    std::int64_t nextState = start;
    std::int64_t nextProgress = start;
    std::int64_t nextReload = start + intervals_.reload;
    while (::WaitForSingleObject(stopRequested_, options_.once ? 50 : kProgressMs) == WAIT_TIMEOUT) {
        const std::int64_t now = SteadyMilliseconds();
        if (now >= nextState) {
            writeState("running");
            nextState = now + intervals_.state;
        }
        if (now >= nextReload) {
            lookForConfiguration();
            nextReload = now + intervals_.reload;
        }
        if (progress && now >= nextProgress) {
            progress(GetState("running"));
            nextProgress = now + kProgressMs;
        }
        if (options_.once && haveCollectorsFinished() && isDrainedOrStuck(now)) return;
    }
}

/// Whether the destinations have sent everything, or nothing for a while.
bool AgentHost::isDrainedOrStuck(std::int64_t now) {
    const std::uint64_t waiting = waitingBytes(statusOf("DestinationManager"));
    if (waiting != waiting_) {
        waiting_ = waiting;
        waitingSince_ = now;
    }
    return waiting == 0 || now - waitingSince_ >= kIdleSpoolMs;
}

void AgentHost::OnComponentInitializeSuccess(const std::string&) { tellAlive(); }

void AgentHost::OnBeforeComponentShutdown(const std::string&) { tellAlive(); }

void AgentHost::tellAlive() const {
    if (alive_ && !started_) alive_();
}

void AgentHost::OnAfterComponentShutdown(const std::string& name, ComponentFactoryResultCode) {
    if (!started_) final_.components.emplace_back(name, statusOf(name));  // otherwise others run on
}

/// What may wait for others on the network begins its end side by side, so that the number of collectors and
/// a status server that cannot be reached do not add up.
void AgentHost::beginStop() {
    std::vector<std::string> names;
    factory_.GetComponentNames(names);
    factory_.BeginStop(names);
    if (heartbeat_) heartbeat_->BeginStop();
    GetLoggerFactory().InstallLogMonitor(nullptr);
    monitor_.Shutdown();
    heartbeat_.reset();
}

ExitCode AgentHost::Stop(AgentState& final) {
    started_ = false;
    log_->Info("Stopping");
    beginStop();
    writeState("stopping");
    takeOver(final_, "stopped");
    const ComponentFactoryResultCode result = factory_.Shutdown();
    registration_.reset();
    CV_Statistics::TheStats().close();
    manager_->Stop();
    final = final_;
    writeState("stopped");
    log_->Info("Stopped");
    GetLoggerFactory().Shutdown();
    lock_.reset();
    return result == kComponentFactorySuccess ? kExitSuccess : kExitShutdown;
}

}  // namespace CorvaneAgent
