#pragma once

#include <map>
#include <string>
#include <vector>

#include <ace/Service_Object.h>
#include <ace/Service_Types.h>
#include <ace/Thread_Mutex.h>

#include "WindowsAgentCommon/IConfigurationManager.h"
#include "WindowsAgentCommon/LoggerFactory.h"

namespace CorvaneAgent {

/// Everything that AgentConfig.xml says.
struct AgentConfiguration {
    std::string version;
    std::map<std::string, std::string> settings;
    std::vector<WindowsAgentCommon::ServiceConfig> services;
};

/// Reads a configuration of the form that docs/agent.md describes. text: the file's bytes, UTF-8 or UTF-16.
/// Throws KORException whose message begins with "line L, column C: " for text that is no XML, for elements
/// and attributes that are unknown, missing, or there twice; only settings of a service may be there several
/// times, and are one text then, with a line feed between the values.
AgentConfiguration ParseAgentConfig(const std::string& text);

/// The agent's configuration manager: the file AgentConfig.xml. The source is its path (UTF-8), by default
/// ConfigFile(nullptr); the flag of Start is of no meaning. Nothing runs of its own: Run and Stop do nothing.
class AgentConfigManager : public WindowsAgentCommon::IConfigurationManager, public ACE_Service_Object {
public:
    AgentConfigManager();

    void Start() override;
    void Start(const std::string& source, bool flag) override;
    void Run() override;
    void Stop() override;
    bool Reload() override;
    std::string GetSource() const override;
    std::string GetConfigurationVersion() const override;
    std::string GetLastError() const override;
    void GetSettings(WindowsAgentCommon::EnvironmentBlock& settings) const override;
    void GetServices(std::vector<WindowsAgentCommon::ServiceConfig>& services) const override;
    bool GetService(const std::string& name, WindowsAgentCommon::ServiceConfig& service) const override;

    int init(int, wchar_t*[]) override { return 0; }
    int fini() override { return 0; }

private:
    WindowsAgentCommon::Log log_;
    mutable ACE_Thread_Mutex lock_;  // guards what follows
    std::string source_;
    std::string error_;
    AgentConfiguration configuration_;
};

}  // namespace CorvaneAgent

extern "C" __declspec(dllexport)
    ACE_Service_Object* _make_AgentConfigManager(ACE_Service_Object_Exterminator*);
