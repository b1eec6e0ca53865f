#pragma once

#include <cstdarg>
#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// Levels as a remote log monitor knows them: (600 - level) / 100 of the log levels.
enum MessageLevel_t : int {
    kMonitorTrace = 1,
    kMonitorDebug = 2,  ///< Also InfoX lines.
    kMonitorInfo = 3,
    kMonitorWarn = 4,
    kMonitorError = 5,
    kMonitorFatal = 6,
};

/// Takes the agent's log lines on their way off the machine. Installed in the LoggerFactory, which does not
/// own it. Called by any thread that logs, by several at once, and never by one that is inside already: what
/// a monitor logs while it works does not come back to it.
class CORVANE_API ILogMonitor {
public:
    virtual ~ILogMonitor();

    /// category, message: UTF-8; the message has no time stamp, tag or line feed. What it throws is told in
    /// "logger.log" and goes no further.
    virtual void OnMessage(MessageLevel_t level, const std::string& category, const std::string& message) = 0;

    /// Formats (as varargs2string) and calls the other one.
    virtual void OnMessage(MessageLevel_t level, const std::string& category, const char* format,
                           va_list args);
};

}  // namespace WindowsAgentCommon
