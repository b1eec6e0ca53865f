// A DLL that logs, for a program that does not know the library.

#include "WindowsAgentCommon/Scheduler.h"
#include "tests/logging/StressLog.h"

#include <memory>

using namespace CorvaneLogger;

namespace {

// No line then: a lock that the ended flushing thread holds drops it.
struct AtEnd {
    bool closes = false;
    ~AtEnd() {
        if (closes) CV_Logger::TheLogger().close();
    }
} atEnd;

}  // namespace

/// Opens the registry and logs. Then closes it ('n': now; 's': beside a scheduler that runs), or lets its
/// static objects do that at the end of the process ('l': later), or does neither.
extern "C" __declspec(dllexport) void Work(int process, char close) {
    test::UseFile("0");
    CV_Logger::TheLogger().open();
    for (int line = 0; line < 100; ++line) test::LogAndCount(process, 0);
    if (close == 's') static_cast<void>(std::make_unique<WindowsAgentCommon::Scheduler>().release());
    if (close == 'n' || close == 's') CV_Logger::TheLogger().close();
    atEnd.closes = close == 'l';
}
