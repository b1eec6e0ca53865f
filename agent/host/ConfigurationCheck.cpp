#include "agent/host/ConfigurationCheck.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/host/ComponentFactory.h"
#include "agent/sdk/SettingsReader.h"

#include <ace/Time_Value.h>

#include <algorithm>

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

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

/// Throws InitializationException for what cannot be used.
void readSettings(const EnvironmentBlock& settings, Intervals& intervals) {
    SettingsReader reader("The agent", settings.Entries());
    const auto milliseconds = [&reader](const char* name, unsigned int seconds, unsigned int least,
                                        unsigned int most) {
        return std::int64_t{reader.Number(name, seconds, least, most)} * 1000;
    };
    intervals.state = milliseconds("StateInterval", 5, 1, 3600);
    intervals.reload = milliseconds("ReloadInterval", 10, 1, 86'400);
    intervals.heartbeat = milliseconds("HeartbeatInterval", 60, 0, 86'400);
    reader.Know({"ApplicationIdentifier", "ConfigurationServer", "MaxPayloadSize", "PayloadBuilderType",
                 "QueueHighWaterMark", "QueueLowWaterMark", "StatusServer", "TargetAddress", "TargetPort"});
    for (const auto& [name, value] : settings.Entries())
        if (name.rfind("LogMonitor.", 0) == 0) reader.Know({name.c_str()});
    reader.RefuseUnknown();
}

/// What is wrong with a service's names, or empty.
std::string checkNames(const ServiceConfig& service) {
    for (const std::string& name : {service.text1, service.text2, service.text3}) {
        if (IsDirectiveName(name) || (name.empty() && !service.text1.empty())) continue;
        return "the service " + service.text1 + ": \"" + name +
               "\" is no name of a service, module or class, which has letters, digits and _ only, at least "
               "two";
    }
    return "";
}

}  // namespace

std::string StampOf(const std::string& source) {
    ACE_Time_Value time;
    unsigned long long size = 0;
    const std::wstring path = FromUTF8(source);
    if (GetFileLastModifiedTimestamp(path, time) != 0 || GetFilesize(path, size) != 0) return "";
    std::string text;
    return Format(text, "%I64d.%06d %I64u", static_cast<std::int64_t>(time.sec()),
                  static_cast<int>(time.usec()), size);
}

bool SameService(const ServiceConfig& one, const ServiceConfig& other) {
    return one.text1 == other.text1 && one.text2 == other.text2 && one.text3 == other.text3 &&
           one.settings == other.settings && sameInstances(one.instances, other.instances);
}

std::string CheckConfiguration(const EnvironmentBlock& settings, const std::vector<ServiceConfig>& services,
                               Intervals& intervals) {
    try {
        readSettings(settings, intervals);
    } catch (const InitializationException& error) {
        return error.what();
    }
    if (services.empty()) return "it names no services";
    for (const ServiceConfig& service : services) {
        const std::string error = checkNames(service);
        if (!error.empty()) return error;
    }
    return "";
}

}  // namespace CorvaneAgent
