// Logs to a rolling file, the console and a monitor, as logconfig.xml in the working folder says.

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/TestLogMonitor.h"

#include <cstdio>

using namespace WindowsAgentCommon;

int main() {
    TestLogMonitor monitor;
    GetLoggerFactory().Initialize(L"logconfig.xml", L"", L"");
    GetLoggerFactory().InstallLogMonitor(&monitor);
    const Log log = GetLoggerFactory().GetLog("Code.Sample");
    for (int event = 1; event <= 200; ++event) log->Info("Event %d took %d ms", event, event % 7);
    log->Warn("The queue is almost full");
    GetLoggerFactory().InstallLogMonitor(nullptr);
    GetLoggerFactory().Shutdown();
    std::string line;
    std::puts(Format(line, "The monitor got %d line", static_cast<int>(monitor.GetMessageCount())));
}
