#include "agent/config/AgentConfigManager.h"

#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/sdk/MakeService.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <memory>

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;

constexpr unsigned long long kMaxFileSize = 4 * 1024 * 1024;  // bytes; a larger file is no configuration

AgentConfiguration read(const std::string& source) {
    const std::wstring path = FromUTF8(source);
    unsigned long long size = 0;
    std::string text;
    const unsigned long error = GetFilesize(path, size);
    if (error != 0)
        throw KORException(__FILE__, __FUNCTION__, __LINE__, "it cannot be read: " + LastError(error));
    if (size > kMaxFileSize || !ReadTextFile(path, text)) {
        throw KORException(__FILE__, __FUNCTION__, __LINE__, "it cannot be read, or has more than 4 MiB");
    }
    return ParseAgentConfig(text);
}

}  // namespace

AgentConfigManager::AgentConfigManager() : log_(GetLoggerFactory().GetLog("Agent.Configuration")) {}

void AgentConfigManager::Start() { Start(ToUTF8(ConfigFile(nullptr)), false); }

void AgentConfigManager::Start(const std::string& source, bool) {
    {
        Guard guard(lock_);
        source_ = source;
    }
    if (!Reload()) throw InitializationException(__FILE__, __FUNCTION__, __LINE__, GetLastError());
}

void AgentConfigManager::Run() {}

void AgentConfigManager::Stop() {}

bool AgentConfigManager::Reload() {
    const std::string source = GetSource();
    try {
        AgentConfiguration configuration = read(source);
        log_->Info("Read version '%s' with %d services from %s", configuration.version.c_str(),
                   static_cast<int>(configuration.services.size()), source.c_str());
        Guard guard(lock_);
        std::swap(configuration_, configuration);
        error_.clear();
        return true;
    } catch (const std::exception& error) {
        log_->Error("%s: %s", source.c_str(), error.what());
        Guard guard(lock_);
        error_ = source + ": " + error.what();
        return false;
    }
}

std::string AgentConfigManager::GetSource() const {
    Guard guard(lock_);
    return source_;
}

std::string AgentConfigManager::GetConfigurationVersion() const {
    Guard guard(lock_);
    return configuration_.version;
}

std::string AgentConfigManager::GetLastError() const {
    Guard guard(lock_);
    return error_;
}

void AgentConfigManager::GetSettings(EnvironmentBlock& settings) const {
    Guard guard(lock_);
    for (const auto& [name, value] : configuration_.settings) settings.SetStringValue(name, value);
}

void AgentConfigManager::GetServices(std::vector<ServiceConfig>& services) const {
    Guard guard(lock_);
    services = configuration_.services;
}

bool AgentConfigManager::GetService(const std::string& name, ServiceConfig& service) const {
    Guard guard(lock_);
    const auto found = std::find_if(configuration_.services.begin(), configuration_.services.end(),
                                    [&](const ServiceConfig& other) { return other.text1 == name; });
    if (found == configuration_.services.end()) return false;
    service = *found;
    return true;
}

}  // namespace CorvaneAgent

ACE_Service_Object* _make_AgentConfigManager(ACE_Service_Object_Exterminator* exterminator) {
    return CorvaneAgent::MakeService<CorvaneAgent::AgentConfigManager>(exterminator);
}
