#pragma once

#include <memory>
#include <string>

#include "CorvaneExport.h"
#include "CorvaneLogger/ALogger.h"
#include "WindowsAgentCommon/ILogMonitor.h"

namespace WindowsAgentCommon {

/// A logging handle to pass and keep by value: a pointer to a category's ALogger, whose calls it offers. The
/// ALogger lives as long as the registry, so a Log never dangles.
class Log {
public:
    explicit Log(CorvaneLogger::ALogger& logger) noexcept : logger_(&logger) {}  ///< For logger's category.
    CorvaneLogger::ALogger* operator->() const noexcept { return logger_; }      ///< For the logging calls.
    CorvaneLogger::ALogger& operator*() const noexcept { return *logger_; }      ///< The category's logger.

private:
    CorvaneLogger::ALogger* logger_;
};

/// The library's front door to logging. Any thread may call anything.
class CORVANE_API LoggerFactory {
public:
    LoggerFactory();
    LoggerFactory(const LoggerFactory&) = delete;
    LoggerFactory& operator=(const LoggerFactory&) = delete;
    ~LoggerFactory();

    /// Puts logging into operation: reads the configuration file, starts the registry's thread, and lets a
    /// thread of its own remove what earlier versions left in the two folders. configFile: path of the log
    /// configuration file; empty for none, then logging stays at its defaults. logFolder: where log files
    /// without a folder go, and where old ones are removed; empty: the working folder, and nothing is
    /// removed. checkpointFolder: where old checkpoints are removed; empty: nothing is removed. namePrefix:
    /// put in front of every category name. Throws InitializationException ("LoggerFactory -  Configuration
    /// problem: " and why) when a configuration file is given that cannot be found or whose path cannot be
    /// made absolute (260 characters); logging then works at the defaults, thread included, nothing is
    /// removed, and the file is taken over should it appear. Everything else that is wrong is told in
    /// "logger.log". May be called again: the configuration is taken over, and a clean-up in progress is
    /// waited for.
    void Initialize(const std::wstring& configFile, const std::wstring& logFolder,
                    const std::wstring& checkpointFolder, const std::string& namePrefix = std::string());

    Log GetLog(const std::string& name);  ///< A handle for a category.

    /// Makes monitor the one that receives the lines of LogMonitorDst destinations; null for none. Not owned.
    /// Returns when no other thread is in a call of a monitor installed before, which may then be destroyed.
    /// When called from within OnMessage, it waits for nobody.
    void InstallLogMonitor(ILogMonitor* monitor);
    ILogMonitor* GetLogMonitor();  ///< The installed monitor, or null.

    /// Passes a line to the installed monitor, if there is one, unless this thread is in a call of a monitor
    /// already.
    void OnMessage(MessageLevel_t level, const std::string& category, const std::string& message);

    /// Ends the clean-up (what it has not come to is left for the next start) and the registry's thread, and
    /// flushes and closes every destination. What is logged afterwards is still written. Initialize may
    /// follow. Not from within OnMessage: the call may be one of the clean-up's.
    void Shutdown();

    /// Shutdown of the factory there is.
    static void CloseLogFiles();

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// The one factory of the process, made by the first call.
CORVANE_API LoggerFactory& GetLoggerFactory();

}  // namespace WindowsAgentCommon
