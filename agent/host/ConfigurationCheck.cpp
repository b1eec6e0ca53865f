#include "agent/host/ConfigurationCheck.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/host/ComponentFactory.h"
#include "agent/sdk/SettingsReader.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include "agent/sdk/Win32.h"

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

/// The settings as the log monitor reads them, with references to the environment replaced.
std::multimap<std::string, std::string> expanded(const EnvironmentBlock& settings) {
    const EnvironmentBlockHelper helper(settings.Entries());
    std::multimap<std::string, std::string> entries;
    for (const auto& [name, value] : settings.Entries()) {
        std::string text;
        helper.GetStringValue(name, text, std::string());
        entries.emplace(name, text);
    }
    return entries;
}

/// A server: "host", "host:port", "[v6 address]:port", or a v6 address, which has several colons.
std::string readServer(SettingsReader& reader, const char* name) {
    const std::string server = reader.Text(name);
    const std::size_t end = server.find_last_not_of(" \t") + 1;
    const std::size_t bracket = server.find(']');
    const std::size_t colon = bracket == std::string::npos ? server.find(':') : bracket + 1;
    if (colon >= end || (bracket == std::string::npos && server.rfind(':') != colon)) return server;
    const std::string port = server.substr(colon + 1, end - colon - 1);
    const bool isNumber = !port.empty() && port.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long number = isNumber ? std::strtoul(port.c_str(), nullptr, 10) : 0;
    if (server[colon] != ':' || number < 1 || number > 65'535)
        reader.Refuse(name, server, "has no port from 1 to 65535 behind the colon");
    return server;
}

/// What the log monitor would replace by its defaults, or its sender refuse. Whether there is a server.
bool readStatusServer(SettingsReader& reader) {
    constexpr unsigned int kMost = 256 << 20, kLongestDatagram = 65'507, kHourMs = 3'600'000;
    const std::string prefix = "LogMonitor.Socket.", type = reader.Text(prefix + "Type");
    const bool stream = !type.empty() && (type[0] == 'T' || type[0] == 't');
    reader.Number("LogMonitor.Level", 4, 1, 7);
    reader.Number("MaxPayloadSize", 1020, 4, stream ? kMost : kLongestDatagram);
    reader.Number("QueueLowWaterMark", 1, 1, reader.Number("QueueHighWaterMark", 1'000'000, 1, kMost));
    reader.Number("TargetPort", 514, 1, 65'535);
    if (stream) reader.Choice(prefix + "Framing", "LineFeed", {"LineFeed", "OctetCounting"});
    for (const char* const name : {"ConnectTimeout", "SendTimeout"})
        reader.Number(prefix + name, 1, 1, kHourMs);
    reader.Number(prefix + "BackoffMin", 1, 1, reader.Number(prefix + "BackoffMax", 30'000, 1, kHourMs));
    reader.Know({"ApplicationIdentifier", "PayloadBuilderType", "LogMonitor.Socket.Framing"});
    const std::string configuration = readServer(reader, "ConfigurationServer");
    const std::string status = readServer(reader, "StatusServer");
    return !reader.Text("TargetAddress", status.empty() ? configuration : status).empty();
}

/// Throws InitializationException for what cannot be used.
void readSettings(const EnvironmentBlock& settings, Intervals& intervals) {
    SettingsReader reader("the agent", expanded(settings));
    const auto milliseconds = [&reader](const char* name, unsigned int seconds, unsigned int least,
                                        unsigned int most) {
        return std::int64_t{reader.Number(name, seconds, least, most)} * 1000;
    };
    intervals.state = milliseconds("StateInterval", 5, 1, 3600);
    intervals.reload = milliseconds("ReloadInterval", 10, 1, 86'400);
    intervals.heartbeat = milliseconds("HeartbeatInterval", 60, 0, 86'400);
    if (!readStatusServer(reader)) intervals.heartbeat = 0;
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
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!::GetFileAttributesExW(FromUTF8(source).c_str(), GetFileExInfoStandard, &data)) return "";
    std::wstring time;
    GetISO8601Timestamp(data.ftLastWriteTime, time);
    const std::uint64_t size = std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
    std::string text;
    return Format(text, "%ls, %I64u bytes", time.c_str(), size);
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
