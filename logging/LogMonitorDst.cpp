#include "CorvaneLogger/LogMonitorDst.h"

#include "CorvaneLogger/Levels.h"
#include "WindowsAgentCommon/LoggerFactory.h"

#include <cstring>

namespace CorvaneLogger {

LogMonitorDst::LogMonitorDst(const std::string& name, const std::string& cls)
    : LogDst(name, cls, "LogMonitorDst") {}

bool LogMonitorDst::accept(int level) { return (level & kNoFeed) == 0 && LogDst::accept(level); }

void LogMonitorDst::log(int level, const char* category, const char*, unsigned int, const char* message) {
    std::size_t length = std::strlen(message);
    if (length > 0 && message[length - 1] == '\n') --length;
    WindowsAgentCommon::GetLoggerFactory().OnMessage(
        static_cast<WindowsAgentCommon::MessageLevel_t>((600 - level) / 100), category,
        std::string(message, length));
}

}  // namespace CorvaneLogger
