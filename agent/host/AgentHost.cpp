#include "agent/host/AgentHost.h"

#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/CV_Statistics.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IConfigurationManager.h"
#include "WindowsAgentCommon/IDeviceService.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "agent/sdk/Clock.h"

#include <ace/Time_Value.h>

#include <algorithm>
#include <set>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr std::int64_t kProgressMs = 1000;
constexpr const char* kManager = "AgentConfigManager";

/// A setting of the agent itself: seconds in a range.
struct IntervalSetting {
    const char* name;
    int defaultValue;
    int minimum;
    int maximum;
};

constexpr IntervalSetting kStateInterval = {"StateInterval", 5, 1, 3600};
constexpr IntervalSetting kReloadInterval = {"ReloadInterval", 10, 1, 86400};
constexpr IntervalSetting kHeartbeatInterval = {"HeartbeatInterval", 60, 0, 86400};

/// What an agent setting may be called, besides those that begin with "LogMonitor.".
const std::set<std::string>& knownSettings() {
    static const std::set<std::string> names = {
        "ApplicationIdentifier", "ConfigurationServer", "HeartbeatInterval", "MaxPayloadSize",
        "PayloadBuilderType",    "QueueHighWaterMark",  "QueueLowWaterMark", "ReloadInterval",
        "StateInterval",         "StatusServer",        "TargetAddress",     "TargetPort"};
    return names;
}

/// Time of the last write and size, as a text to compare.
std::string stampOf(const std::string& source) {
    ACE_Time_Value time;
    unsigned long long size = 0;
    const std::wstring path = FromUTF8(source);
    if (GetFileLastModifiedTimestamp(path, time) != 0 || GetFilesize(path, size) != 0) return "";
    std::string text;
    return Format(text, "%I64d.%06d %I64u", static_cast<std::int64_t>(time.sec()),
                  static_cast<int>(time.usec()), size);
}

bool sameModules(const std::vector<InstanceModuleConfig>& one,
                 const std::vector<InstanceModuleConfig>& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](const auto& a, const auto& b) {
        return a.text1 == b.text1 && a.settings == b.settings;
    });
}

bool sameInstances(const std::vector<InstanceConfig>& one, const std::vector<InstanceConfig>& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](const auto& a, const auto& b) {
        return a.text1 == b.text1 && a.text2 == b.text2 && a.settings == b.settings &&
               sameModules(a.modules, b.modules);
    });
}

bool sameService(const ServiceConfig& a, const ServiceConfig& b) {
    return a.text1 == b.text1 && a.text2 == b.text2 && a.text3 == b.text3 && a.settings == b.settings &&
           sameInstances(a.instances, b.instances);
}

/// Names of the services that differ, blank between.
std::string changedServices(const std::vector<ServiceConfig>& one, const std::vector<ServiceConfig>& other) {
    std::string names;
    const auto lacks = [](const std::vector<ServiceConfig>& list, const ServiceConfig& service) {
        return std::none_of(list.begin(), list.end(),
                            [&](const ServiceConfig& candidate) { return sameService(candidate, service); });
    };
    for (const ServiceConfig& service : other) {
        if (lacks(one, service)) names += " " + service.text1;
    }
    for (const ServiceConfig& service : one) {
        const auto sameName = [&](const ServiceConfig& candidate) {
            return candidate.text1 == service.text1;
        };
        if (std::none_of(other.begin(), other.end(), sameName)) names += " " + service.text1;
    }
    return names;
}

bool readInterval(const EnvironmentBlock& settings, const IntervalSetting& setting,
                  std::int64_t& milliseconds, std::string& error) {
    std::string text;
    int value = setting.defaultValue;
    if (settings.GetStringValue(setting.name, text, std::string())) {
        settings.GetIntegerValue(setting.name, value, setting.defaultValue);
        const bool digits =
            !text.empty() && text.size() < 9 && text.find_first_not_of("0123456789") == std::string::npos;
        if (!digits || value < setting.minimum || value > setting.maximum) {
            Format(error, "the setting %s is %s; it must be a number of %d to %d (seconds)", setting.name,
                   text.c_str(), setting.minimum, setting.maximum);
            return false;
        }
    }
    milliseconds = std::int64_t{value} * 1000;
    return true;
}

}  // namespace

AgentHost::AgentHost(const Options& options, void* stopRequested)
    : options_(options),
      stopRequested_(stopRequested),
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
    GetBinPath();
    SetRootPath(options_.root);
    const std::wstring root = GetRootPath();
    for (const std::wstring& folder :
         {root, GetConfigPath(), GetLogPath(), GetCachePath(), GetPatchPath(), GetStagingPath()}) {
        const unsigned long error = CreateDirectoryRecursive(folder);
        if (error != 0) {
            throw InitializationException(
                __FILE__, __FUNCTION__, __LINE__,
                "the folder " + ToUTF8(folder) + " cannot be made: " + LastError(error));
        }
    }
    ::SetCurrentDirectoryW(root.c_str());
}

void AgentHost::initializeLogging() {
    try {
        GetLoggerFactory().Initialize(ConfigFile(L"logconfig.xml"), GetLogPath(), GetCheckpointPath());
    } catch (const InitializationException&) {
        log_->Warn("There is no logconfig.xml in %ls; warnings and worse go to the console",
                   GetConfigPath().c_str());
    }
}

ExitCode AgentHost::readConfiguration() {
    const std::string source = ToUTF8(ConfigFile(nullptr));
    configurationStamp_ = stampOf(source);
    try {
        manager_ = configuration_.Initialize(kManager, source);
    } catch (const std::exception& error) {
        error_ = error.what();  // the manager has logged it
        return kExitConfiguration;
    }
    manager_->GetSettings(settings_);
    manager_->GetServices(services_);
    if (!checkSettings()) return kExitConfiguration;
    if (services_.empty()) return fail(kExitConfiguration, source + ": it names no services");
    return kExitSuccess;
}

bool AgentHost::checkSettings() {
    std::string error;
    for (const auto& [name, value] : settings_.Entries()) {
        if (knownSettings().count(name) == 0 && name.rfind("LogMonitor.", 0) != 0) {
            error = "the setting " + name + " is not known";
        }
    }
    if (!error.empty() || !readInterval(settings_, kStateInterval, stateInterval_, error) ||
        !readInterval(settings_, kReloadInterval, reloadInterval_, error) ||
        !readInterval(settings_, kHeartbeatInterval, heartbeatInterval_, error)) {
        fail(kExitConfiguration, manager_->GetSource() + ": " + error);
        return false;
    }
    return true;
}

ExitCode AgentHost::Start(bool checkOnly) {
    try {
        prepareFolders();
    } catch (const std::exception& error) {
        return fail(kExitConfiguration, error.what());
    }
    initializeLogging();
    std::string version;
    std::string system;
    GetKORVersionString(version);
    GetWindowsVersionString(system);
    log_->Info("Agent %s starts on %s, root %ls", version.c_str(), system.c_str(), GetRootPath().c_str());
    const ExitCode read = readConfiguration();
    if (read != kExitSuccess || checkOnly) return read;

    writeState("starting");
    factory_.AddHook(this);
    registration_ = std::make_unique<ServiceRegistration>(L"ComponentFactory_Dynamic_Service", factory_);
    if (factory_.Initialize(services_) != kComponentFactorySuccess) {
        error_ = "the component " + factory_.GetFailedComponent() + " failed: " + factory_.GetFailure();
        final_.status = "stopped";
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
        if (heartbeatInterval_ == 0) return;
        std::multimap<std::string, std::string> settings = settings_.Entries();
        settings.erase("LogMonitor.Level");
        settings.emplace("LogMonitor.Level", "1");  // a heartbeat is no matter of level
        heartbeat_ = std::make_unique<Heartbeat>();
        heartbeat_->Initialize(settings);
    } catch (const std::exception& error) {
        log_->Error("No log lines go to the status server: %s", error.what());
        heartbeat_.reset();
    }
}

void AgentHost::sendHeartbeat() {
    if (!heartbeat_) return;
    heartbeat_->OnMessage(kMonitorInfo, "Agent.Heartbeat", "running");
}

void AgentHost::lookForConfiguration() {
    const std::string stamp = stampOf(manager_->GetSource());
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
    std::string changed = changedServices(services_, services);
    if (settings.Entries() != settings_.Entries()) changed += " Settings";
    reload_ = changed.empty() ? "unchanged" : "needs a restart for:" + changed;
    if (!changed.empty())
        log_->Warn("The configuration has changed; a restart takes over:%s", changed.c_str());
}

AgentState AgentHost::GetState(const std::string& status) {
    AgentState state;
    state.status = status;
    state.reload = reload_;
    if (manager_) state.configuration = manager_->GetConfigurationVersion();
    std::vector<std::string> names;
    factory_.GetComponentNames(names);
    for (const std::string& name : names) {
        EnvironmentBlock block;
        factory_.GetStatus(name, block);
        state.components.emplace_back(name, block);
    }
    return state;
}

void AgentHost::writeState(const std::string& status) {
    const std::wstring path = GetLogPath() + L"state.json";
    const unsigned long error =
        ReplaceFileContent(path, ToJson(status == "stopped" ? final_ : GetState(status)));
    if ((error != 0) != stateFailed_) {
        stateFailed_ = error != 0;
        if (stateFailed_) {
            log_->Error("The state file %ls cannot be written: %s", path.c_str(), LastError(error).c_str());
        } else {
            log_->Info("The state file can be written again");
        }
    }
}

bool AgentHost::haveCollectorsFinished(const AgentState& state) const {
    bool any = false;
    for (const auto& [name, status] : state.components) {
        if (!dynamic_cast<IDeviceService*>(_getService(name))) continue;
        any = true;
        std::string text;
        status.GetStringValue("State", text, std::string());
        if (text != "finished") return false;
    }
    return any;
}

void AgentHost::Run(void (*progress)(const AgentState& state)) {
    const std::int64_t start = SteadyMilliseconds();
    std::int64_t nextState = start;
    std::int64_t nextReload = start + reloadInterval_;
    std::int64_t nextHeartbeat = start;
    while (::WaitForSingleObject(stopRequested_, options_.once ? 50 : kProgressMs) == WAIT_TIMEOUT) {
        const std::int64_t now = SteadyMilliseconds();
        if (now >= nextState) {
            writeState("running");
            nextState = now + stateInterval_;
        }
        if (now >= nextReload) {
            lookForConfiguration();
            nextReload = now + reloadInterval_;
        }
        if (heartbeatInterval_ != 0 && now >= nextHeartbeat) {
            sendHeartbeat();
            nextHeartbeat = now + heartbeatInterval_;
        }
        const AgentState state = GetState("running");
        if (progress) progress(state);
        if (options_.once && haveCollectorsFinished(state)) return;
    }
}

void AgentHost::OnAfterComponentShutdown(const std::string& name, ComponentFactoryResultCode) {
    EnvironmentBlock status;
    factory_.GetStatus(name, status);
    final_.components.emplace_back(name, status);
}

ExitCode AgentHost::Stop(AgentState& final) {
    started_ = false;
    log_->Info("Stopping");
    writeState("stopping");
    GetLoggerFactory().InstallLogMonitor(nullptr);
    monitor_.Shutdown();
    if (heartbeat_) heartbeat_->Shutdown();
    heartbeat_.reset();
    final_ = GetState("stopped");
    final_.components.clear();
    const ComponentFactoryResultCode result = factory_.Shutdown();
    registration_.reset();
    CV_Statistics::TheStats().close();
    manager_->Stop();
    final = final_;
    writeState("stopped");
    log_->Info("Stopped");
    GetLoggerFactory().Shutdown();
    return result == kComponentFactorySuccess ? kExitSuccess : kExitShutdown;
}

}  // namespace CorvaneAgent
