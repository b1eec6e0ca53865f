#include "WindowsAgentCommon/ClientConfigurationHelper.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IConfigurationManager.h"
#include "WindowsAgentCommon/KORException.h"
#include "logging/LogCaught.h"

#include <ace/Dynamic_Service.h>
#include <ace/Service_Config.h>

#include <algorithm>

namespace WindowsAgentCommon {

namespace {

using CorvaneLogger::ALogger;
using CorvaneLogger::CV_Logger;

// These lines are part of the interface: what reads the agent's reports tells failures apart by them.
constexpr int kInitializeLine = 47;
constexpr int kInitializeWithSourceLine = 70;
constexpr int kRunLine = 92;
constexpr int kLoadLine = 113;

constexpr char kLoadCategory[] = "Code.ClientConfigurationHelper.LoadConfigurationManagerService";
constexpr std::size_t kLongestName = 200;  // ACE reads directives through a buffer of 2,048 characters

[[noreturn]] void Fail(ALogger& log, const char* function, int line, const std::string& message) {
    log.Error(message);
    const std::string whole = std::string("WindowsAgentCommon::ClientConfigurationHelper::") + function;
    throw InitializationException("ClientConfigurationHelper", whole.c_str(), line, message);
}

[[noreturn]] void FailWithoutManager(ALogger& log, const char* function, int line, const std::string& name) {
    std::string message;
    Format(message,
           "Failed to load the specified configuration manager '%s'. It did load the module, but are you "
           "sure that the specified module is a configuration manager module?",
           name.c_str());
    Fail(log, function, line, message);
}

// A name of one letter would be read as a drive; others could end the directive and begin another one.
bool FitsDirective(const std::string& name) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    const auto isPart = [&](char c) { return isLetter(c) || (c >= '0' && c <= '9'); };
    return name.size() > 1 && name.size() <= kLongestName && isLetter(name[0]) &&
           std::all_of(name.begin(), name.end(), isPart);
}

// The number of errors; a creation function that throws is one.
int Process(const std::string& name, const std::wstring& directive) {
    try {
        return ACE_Service_Config::current()->process_directive(directive.c_str());
    } catch (...) {
        CorvaneLogger::detail::LogCaught(kLoadCategory, "Unable to make service", name);
        return 1;
    }
}

}  // namespace

ClientConfigurationHelper::ClientConfigurationHelper(bool flag) : flag_(flag) {}
ClientConfigurationHelper::ClientConfigurationHelper(const ClientConfigurationHelper&) = default;
ClientConfigurationHelper& ClientConfigurationHelper::operator=(const ClientConfigurationHelper&) = default;
ClientConfigurationHelper::~ClientConfigurationHelper() = default;

IConfigurationManager* ClientConfigurationHelper::Initialize(const std::string& name) {
    ALogger& log = CV_Logger::Logger("Code.ClientConfigurationHelper.Initialize");
    log.Info("Starting configuration manager service '%s' (no config source)...", name.c_str());
    IConfigurationManager* const manager = LoadConfigurationManagerService(name);
    if (!manager) FailWithoutManager(log, "Initialize", kInitializeLine, name);
    manager->Start();
    serviceName_ = name;
    return manager;
}

IConfigurationManager* ClientConfigurationHelper::Initialize(const std::string& name,
                                                             const std::string& source) {
    ALogger& log = CV_Logger::Logger("Code.ClientConfigurationHelper.Initialize");
    log.Info("Starting configuration manager service '%s' (config source = '%s')...", name.c_str(),
             source.c_str());
    IConfigurationManager* const manager = LoadConfigurationManagerService(name);
    if (!manager) FailWithoutManager(log, "Initialize", kInitializeWithSourceLine, name);
    manager->Start(source, flag_);
    serviceName_ = name;
    configurationSource_ = source;
    return manager;
}

void ClientConfigurationHelper::Run() {
    IConfigurationManager* const manager = GetConfigurationManager(serviceName_);
    if (!manager)
        FailWithoutManager(CV_Logger::Logger("Code.ClientConfigurationHelper.Run"), "Run", kRunLine,
                           serviceName_);
    manager->Run();
}

IConfigurationManager* ClientConfigurationHelper::GetConfigurationManager() {
    return GetConfigurationManager(serviceName_);
}

IConfigurationManager* ClientConfigurationHelper::GetConfigurationManager(std::string name) {
    name += "_Dynamic_Service";
    return ACE_Dynamic_Service<IConfigurationManager>::instance(FromUTF8(name).c_str());
}

IConfigurationManager* ClientConfigurationHelper::LoadConfigurationManagerService(const std::string& name) {
    if (IConfigurationManager* const loaded = GetConfigurationManager(name)) return loaded;
    std::wstring directive;
    Format(directive, L"dynamic %hs_Dynamic_Service Service_Object * %hs:_make_%hs() \"%s\"", name.c_str(),
           name.c_str(), name.c_str(), L"");
    ALogger& log = CV_Logger::Logger(kLoadCategory);
    log.Debug("Config manager service directive: '%s'", ToUTF8(directive).c_str());
    const int errors = FitsDirective(name) ? Process(name, directive) : 1;
    if (errors != 0) {
        std::string message;
        Format(message,
               "Trying to load config manager service '%s', there were %d errors reported. This is not good, "
               "as it likely means that a necessary DLL is missing.",
               name.c_str(), errors);
        Fail(log, "LoadConfigurationManagerService", kLoadLine, message);
    }
    return GetConfigurationManager(name);
}

}  // namespace WindowsAgentCommon
