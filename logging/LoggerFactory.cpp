#include "WindowsAgentCommon/LoggerFactory.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "foundation/Path.h"
#include "logging/CleanupLogFolder.h"
#include "logging/LogPath.h"
#include "logging/ProcessEnd.h"
#include "logging/RegistryAccess.h"
#include "logging/SideFile.h"

#include <ace/Condition_Thread_Mutex.h>
#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {
namespace {

using CorvaneLogger::CV_Logger;
using CorvaneLogger::detail::LockUnlessEnding;
using CorvaneLogger::detail::LogPath;
using CorvaneLogger::detail::ProcessIsEnding;
using CorvaneLogger::detail::WriteSideFile;

std::atomic<LoggerFactory*> instance{nullptr};

struct Problem {
    unsigned long error;  // 0: none
    const char* what;
};

// Why a configuration file cannot be taken over at all.
Problem FindProblem(const std::wstring& configFile) {
    constexpr std::size_t kLongestPath = 260;
    const std::wstring full = detail::AbsolutePath(configFile);
    if (full.empty()) return {::GetLastError(), "cannot be made absolute"};
    if (full.size() > kLongestPath) return {ERROR_FILENAME_EXCED_RANGE, "cannot be made absolute"};
    if (::GetFileAttributesW(detail::SystemPath(full).c_str()) == INVALID_FILE_ATTRIBUTES)
        return {::GetLastError(), "cannot be found"};
    return {ERROR_SUCCESS, ""};
}

}  // namespace

struct LoggerFactory::State {
    /// A thread's stay in the monitor.
    struct Call {
        unsigned long thread;
        std::uint64_t installation;  // of the monitor that it is in
    };

    State() : callEnded(lock), monitor(nullptr), installation(0) {}

    bool IsInsideLocked(unsigned long thread) const {
        return std::any_of(calls.begin(), calls.end(),
                           [&](const Call& call) { return call.thread == thread; });
    }

    bool HasCallBeforeLocked(std::uint64_t number) const {
        return std::any_of(calls.begin(), calls.end(),
                           [&](const Call& call) { return call.installation < number; });
    }

    /// The monitor to call, after which EndCall is due; null when there is none or this thread is inside.
    ILogMonitor* BeginCall() {
        const LockUnlessEnding guard(lock);
        const unsigned long thread = ::GetCurrentThreadId();
        if (!guard || monitor == nullptr || IsInsideLocked(thread)) return nullptr;
        calls.push_back({thread, installation});
        return monitor;
    }

    void EndCall() noexcept {
        const LockUnlessEnding guard(lock);
        if (!guard) return;
        const unsigned long thread = ::GetCurrentThreadId();
        const auto isMine = [&](const Call& call) { return call.thread == thread; };
        calls.erase(std::remove_if(calls.begin(), calls.end(), isMine), calls.end());
        if (!ProcessIsEnding()) callEnded.broadcast();  // it takes locks that the ended threads may have held
    }

    /// Waits for a clean-up in progress and starts the next.
    void StartCleanup(const std::wstring& logFolder, const std::wstring& checkpointFolder) {
        const LockUnlessEnding guard(cleanupLock);
        if (!guard) return;
        cleanup.reset();
        if (logFolder.empty() && checkpointFolder.empty()) return;
        const auto absolute = [](const std::wstring& folder) {
            return folder.empty() ? folder : LogPath(ToUTF8(folder));
        };
        try {
            cleanup =
                std::make_unique<detail::CleanupLogFolder>(absolute(logFolder), absolute(checkpointFolder));
            if (!cleanup->Start()) WriteSideFile("Initialize", "The clean-up got no thread");
        } catch (const KORException& failure) {
            WriteSideFile("Initialize", "%s", failure.what());
        }
    }

    void EndCleanup() noexcept {
        const LockUnlessEnding guard(cleanupLock);
        if (!guard || !cleanup) return;
        cleanup->Stop();
        cleanup.reset();
    }

    ACE_Thread_Mutex lock;
    ACE_Condition_Thread_Mutex callEnded;
    ILogMonitor* monitor;        // under lock
    std::uint64_t installation;  // under lock; counts what was installed
    std::vector<Call> calls;     // under lock
    ACE_Thread_Mutex cleanupLock;
    std::unique_ptr<detail::CleanupLogFolder> cleanup;  // under cleanupLock
};

LoggerFactory::LoggerFactory() : state_(std::make_unique<State>()) {}

LoggerFactory::~LoggerFactory() { state_->EndCleanup(); }

void LoggerFactory::Initialize(const std::wstring& configFile, const std::wstring& logFolder,
                               const std::wstring& checkpointFolder, const std::string& namePrefix) {
    CV_Logger& registry = CV_Logger::TheLogger();
    if (registry.open() != 0) WriteSideFile("Initialize", "Logging got no thread");
    const Problem problem = configFile.empty() ? Problem{ERROR_SUCCESS, ""} : FindProblem(configFile);
    registry.setConfig(ToUTF8(configFile), ToUTF8(logFolder), namePrefix);
    if (problem.error != ERROR_SUCCESS) {
        std::string message, reason;
        GetLastErrorText(problem.error, reason);
        Format(message, "LoggerFactory -  Configuration problem: %ls %s -- %s", configFile.c_str(),
               problem.what, reason.c_str());
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__, message);
    }
    state_->StartCleanup(logFolder, checkpointFolder);
}

Log LoggerFactory::GetLog(const std::string& name) { return Log(CV_Logger::Logger(name)); }

void LoggerFactory::InstallLogMonitor(ILogMonitor* monitor) {
    const LockUnlessEnding guard(state_->lock);
    if (!guard) return;
    state_->monitor = monitor;
    const std::uint64_t mine = ++state_->installation;
    // Two calls of a monitor that both install another one would wait for each other.
    if (state_->IsInsideLocked(::GetCurrentThreadId())) return;
    while (state_->HasCallBeforeLocked(mine) && !ProcessIsEnding()) state_->callEnded.wait();
}

ILogMonitor* LoggerFactory::GetLogMonitor() {
    const LockUnlessEnding guard(state_->lock);
    return guard ? state_->monitor : nullptr;
}

void LoggerFactory::OnMessage(MessageLevel_t level, const std::string& category, const std::string& message) {
    ILogMonitor* const monitor = state_->BeginCall();
    if (monitor == nullptr) return;
    try {
        monitor->OnMessage(level, category, message);
    } catch (const std::exception& failure) {
        WriteSideFile("OnMessage", "%s", failure.what());
    } catch (...) {
        WriteSideFile("OnMessage", "The log monitor threw something that is no exception");
    }
    state_->EndCall();
}

void LoggerFactory::Shutdown() {
    state_->EndCleanup();
    CV_Logger& registry = CV_Logger::TheLogger();
    registry.close();
    registry.flushDsts();  // the first writes out what is held back, the second closes what is idle then
    registry.flushDsts();
}

void LoggerFactory::CloseLogFiles() { GetLoggerFactory().Shutdown(); }

LoggerFactory& GetLoggerFactory() {
    if (LoggerFactory* const there = instance.load(std::memory_order_acquire)) return *there;
    static ACE_Thread_Mutex mutex;
    const ACE_Guard<ACE_Thread_Mutex> guard(mutex);
    // Neither a static object nor one that ACE manages: it is needed before ACE is started, and is not to be
    // destroyed before the last thread has logged.
    if (instance.load(std::memory_order_relaxed) == nullptr)
        instance.store(std::make_unique<LoggerFactory>().release(), std::memory_order_release);
    return *instance.load(std::memory_order_relaxed);
}

}  // namespace WindowsAgentCommon

void CorvaneLogger::detail::DestroyLoggerFactory() noexcept {
    std::unique_ptr<WindowsAgentCommon::LoggerFactory>(WindowsAgentCommon::instance.exchange(nullptr));
}
