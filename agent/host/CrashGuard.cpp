#include "agent/host/CrashGuard.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/Win32Exception.h"
#include "agent/host/Options.h"

#include <atomic>
#include <exception>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr DWORD kMaxLoggingMs = 5000;
constexpr DWORD kMaxWriteMs = 1000;

// Events and threads are made at the start, since a faulting process may not be able to. They live as long as
// the process. A thread for each thing that may never return, so that none holds up the others.
HANDLE begun = nullptr, crashed = nullptr, described = nullptr, stuck = nullptr;
HANDLE console = nullptr, writer = nullptr;
std::string description;
std::atomic<const EXCEPTION_RECORD*> faultRecord{nullptr};
std::atomic<bool> taken{false};
std::exception_ptr uncaught;

std::string describeFault(const EXCEPTION_RECORD& record) {
    std::string text;
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION) {
        const Win32AccessViolationException fault(__FILE__, __FUNCTION__, __LINE__, record);
        Format(text, "%s at %p: %s %p", fault.what(), fault.where(), fault.isWrite() ? "writing" : "reading",
               fault.badAddress());
    } else {
        const Win32Exception fault(__FILE__, __FUNCTION__, __LINE__, record);
        Format(text, "%s (0x%08lX) at %p", fault.what(), fault.code(), fault.where());
    }
    return text;
}

std::string describe() {
    if (const EXCEPTION_RECORD* const record = faultRecord.load()) return describeFault(*record);
    if (!uncaught) return "terminated";
    try {
        std::rethrow_exception(uncaught);
    } catch (const std::exception& error) {
        return std::string("unhandled exception: ") + error.what();
    } catch (...) {
        return "unhandled exception of an unknown type";
    }
}

void waitFor(HANDLE event) {
    ::SetEvent(begun);
    ::WaitForSingleObject(event, INFINITE);
}

DWORD WINAPI reportCrash(void*) {
    waitFor(crashed);
    description = describe();
    ::SetEvent(described);
    GetLoggerFactory().GetLog("Agent.Crash")->Fatal("The agent ends: %s", description.c_str());
    CorvaneLogger::CV_Logger::TheLogger().flushDsts();
    ::WaitForSingleObject(console, kMaxWriteMs);
    // Not ExitProcess: it would end the thread that watches this one, and then run every module's farewell.
    ::TerminateProcess(::GetCurrentProcess(), kExitCrash);
    return 0;
}

/// Past the runtime's stream, which may be locked for ever; a full pipe may block it all the same.
DWORD WINAPI tellConsole(void*) {
    waitFor(described);
    const std::string line = "corvane-agent: " + description + "\n";
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written,
                nullptr);
    return 0;
}

/// For when the report waits for a lock that is never given back.
DWORD WINAPI writeOut(void*) {
    waitFor(stuck);
    CorvaneLogger::CV_Logger::WriteOutUnlocked();
    return 0;
}

/// Lets the other threads report, watches them, and does not come back. Only the first of several faults is
/// reported.
[[noreturn]] void end(const EXCEPTION_RECORD* record) {
    if (!taken.exchange(true)) {
        if (record) {
            faultRecord = record;
        } else {
            uncaught = std::current_exception();
        }
        ::SetEvent(crashed);
    }
    ::Sleep(kMaxLoggingMs);
    ::SetEvent(stuck);
    ::WaitForSingleObject(writer, kMaxWriteMs);
    ::TerminateProcess(::GetCurrentProcess(), kExitCrash);
    for (;;) ::Sleep(INFINITE);
}

/// The thread has begun when this returns, for faults right after the start, and since the process may end
/// then.
HANDLE start(LPTHREAD_START_ROUTINE work) {
    const HANDLE thread = ::CreateThread(nullptr, 0, work, nullptr, 0, nullptr);
    if (thread) ::WaitForSingleObject(begun, kMaxWriteMs);
    return thread;
}

LONG WINAPI onFault(EXCEPTION_POINTERS* pointers) { end(pointers->ExceptionRecord); }

[[noreturn]] void onTerminate() { end(nullptr); }

}  // namespace

void InstallCrashGuard() {
    begun = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    for (HANDLE* const event : {&crashed, &described, &stuck})
        *event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    console = start(&tellConsole);
    writer = start(&writeOut);
    const HANDLE reporter = start(&reportCrash);
    if (reporter) ::CloseHandle(reporter);
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    ::SetUnhandledExceptionFilter(&onFault);
    std::set_terminate(&onTerminate);
}

}  // namespace CorvaneAgent
