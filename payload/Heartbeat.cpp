#include "WindowsAgentCommon/Heartbeat.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/FileUtil.h"

#include <ace/Guard_T.h>
#include <ace/Time_Value.h>

#include <memory>

namespace WindowsAgentCommon {

namespace {

/// What all heartbeats of the process share.
struct PropertyCache {
    ACE_Thread_Mutex lock;  // guards what follows
    std::wstring path;
    std::string text;
    ACE_Time_Value modified;
    bool reportMissing = true;
};

PropertyCache& cache() {
    static PropertyCache& shared = *std::make_unique<PropertyCache>().release();  // outlives every heartbeat
    return shared;
}

std::string readText(const std::wstring& path) {
    std::multimap<std::string, std::string> properties;
    std::string text;
    if (ReadPropFile(path, properties) != 0) return text;
    for (const auto& [name, value] : properties) text += "\t" + name + "=" + value;
    return text;
}

}  // namespace

Heartbeat::Heartbeat() = default;
Heartbeat::Heartbeat(const Heartbeat& other) = default;
Heartbeat& Heartbeat::operator=(const Heartbeat& other) = default;
Heartbeat::~Heartbeat() = default;

void Heartbeat::Initialize(const std::multimap<std::string, std::string>& settings) {
    TOLVLogMonitor::Initialize(settings);
    GetCustomProps(settings);
}

std::wstring Heartbeat::GetCustomPropFile() { return ConfigFile(L"heartbeat_custom.props"); }

void Heartbeat::GetCustomProps(const std::multimap<std::string, std::string>&) {
    CorvaneLogger::ALogger& logger = CorvaneLogger::CV_Logger::Logger("Code.Heartbeat");
    PropertyCache& shared = cache();
    std::string text;
    {
        ACE_Guard<ACE_Thread_Mutex> guard(shared.lock);
        if (shared.path.empty()) shared.path = GetCustomPropFile();
        ACE_Time_Value modified;
        const unsigned long error = GetFileLastModifiedTimestamp(shared.path, modified);
        if (error != 0) {
            shared.text.clear();
            if (shared.reportMissing) {
                logger.Debug("Unable to get custom properties from %ls - %s", shared.path.c_str(),
                             LastError(error).c_str());
            }
            shared.reportMissing = false;
        } else if (modified != shared.modified) {
            logger.Debug("Collecting custom properties from %ls", shared.path.c_str());
            shared.text = readText(shared.path);
            shared.modified = modified;
            logger.Debug("Collected custom properties: %s", shared.text.c_str());
        }
        text = shared.text;
    }
    SetApplicationIdentifier(text);
}

}  // namespace WindowsAgentCommon
