#include "agent/host/CrashGuard.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/Win32Exception.h"
#include "agent/host/Options.h"

#include <atomic>
#include <cstdio>
#include <exception>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr DWORD kMaxLoggingMs = 5000;

// Made at the start, since a faulting process may not be able to. They live as long as the process.
HANDLE crashed = nullptr;
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

DWORD WINAPI reportCrash(void*) {
    ::WaitForSingleObject(crashed, INFINITE);
    const std::string text = describe();
    GetLoggerFactory().GetLog("Agent.Crash")->Fatal("The agent ends: %s", text.c_str());
    std::fputs(("corvane-agent: " + text + "\n").c_str(), stderr);
    std::fflush(stderr);
    GetLoggerFactory().Shutdown();  // flushes; should that wait for ever, the other thread ends the process
    // An orderly end would run with the other threads ended wherever they were, and may fault itself.
    ::TerminateProcess(::GetCurrentProcess(), kExitCrash);
    return 0;
}

/// Lets the other thread report, and does not come back. Only the first of several faults is reported.
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
    ::TerminateProcess(::GetCurrentProcess(), kExitCrash);
    for (;;) ::Sleep(INFINITE);
}

LONG WINAPI onFault(EXCEPTION_POINTERS* pointers) { end(pointers->ExceptionRecord); }

[[noreturn]] void onTerminate() { end(nullptr); }

}  // namespace

void InstallCrashGuard() {
    crashed = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE thread = ::CreateThread(nullptr, 0, &reportCrash, nullptr, 0, nullptr);
    if (thread) ::CloseHandle(thread);
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    ::SetUnhandledExceptionFilter(&onFault);
    std::set_terminate(&onTerminate);
}

}  // namespace CorvaneAgent
