// A DLL that logs, for a program that does not know the library.

#include "tests/logging/StressLog.h"

using namespace CorvaneLogger;

namespace {
test::CloseAtEnd closeAtEnd;
}

/// Opens the registry and logs. Then closes it, or lets its static objects do that at the end of the process,
/// or does neither.
extern "C" __declspec(dllexport) void Work(int process, bool close, bool closeLater) {
    static test::Counts counts;
    test::UseFile("0");
    CV_Logger::TheLogger().open();
    for (int line = 0; line < 100; ++line) counts.Log(process, 0);
    if (close) CV_Logger::TheLogger().close();
    closeAtEnd.wanted = closeLater;  // no line then: a lock that the ended flushing thread holds drops it
}
