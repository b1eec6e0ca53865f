#include "agent/host/ConfigurationCheck.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "agent/host/ComponentFactory.h"

#include <ace/Time_Value.h>

#include <algorithm>
#include <set>

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

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
    for (const auto& [name, value] : settings.Entries()) {
        if (knownSettings().count(name) == 0 && name.rfind("LogMonitor.", 0) != 0) {
            return "the setting " + name + " is not known";
        }
    }
    std::string error;
    if (!readInterval(settings, kStateInterval, intervals.state, error) ||
        !readInterval(settings, kReloadInterval, intervals.reload, error) ||
        !readInterval(settings, kHeartbeatInterval, intervals.heartbeat, error)) {
        return error;
    }
    if (services.empty()) return "it names no services";
    for (const ServiceConfig& service : services) {
        error = checkNames(service);
        if (!error.empty()) return error;
    }
    return "";
}

}  // namespace CorvaneAgent
