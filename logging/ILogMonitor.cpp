#include "WindowsAgentCommon/ILogMonitor.h"

#include "WindowsAgentCommon/Formatting.h"

namespace WindowsAgentCommon {

ILogMonitor::~ILogMonitor() = default;

void ILogMonitor::OnMessage(MessageLevel_t level, const std::string& category, const char* format,
                            va_list args) {
    OnMessage(level, category, varargs2string(format, args));
}

}  // namespace WindowsAgentCommon
