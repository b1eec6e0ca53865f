#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <ace/Manual_Event.h>
#include <ace/Task.h>
#include <ace/Thread_Mutex.h>

#include "CorvaneExport.h"
#include "CorvaneLogger/ALogger.h"
#include "CorvaneLogger/BaseLogger.h"
#include "CorvaneLogger/LogDst.h"

namespace CorvaneLogger {

namespace detail {
class ModuleReference;
struct RegistryAccess;
}  // namespace detail

/// The process's registry of base loggers, destinations and category handles, and the thread that flushes
/// destinations every 500 ms and re-reads the log configuration file when it has changed.
///
/// Before any configuration there is the base logger "root" (INFO) with the destination "console", and the
/// destination "LogMonitorAppender", attached to nothing. Destinations, base loggers and handles live as long
/// as the registry: until the process ends, or the library is unloaded after close.
///
/// Any thread may call anything, also before open and after close: lines are then written by their callers,
/// and what stays in a buffer is written when the process ends. Nothing throws but std::bad_alloc.
///
/// Process exit writes out what destinations hold, without close having been called and with threads in the
/// middle of logging, and waits for nobody. A process that is killed loses what was not flushed. The library
/// can be unloaded with FreeLibrary only after close: the open registry holds a reference to it.
class CORVANE_API CV_Logger : public ACE_Task_Base {
public:
    /// The one instance, made by the first call.
    static CV_Logger& TheLogger();

    /// TheLogger().getLogger(name).
    static ALogger& Logger(const std::string& name);

    /// Sets the threshold of every base logger. reason: told in "logger.log"; may be null.
    static void SetGlobalLevel(int level, const char* reason);

    /// The value of a level's name ("FATAL", "ERROR", "WARN", "INFO", "INFOX", "DEBUG", "TRACE", in any
    /// case); that of INFO for any other, which is told in "logger.log".
    static int getLvl(const std::string& name);

    CV_Logger(const CV_Logger&) = delete;
    CV_Logger& operator=(const CV_Logger&) = delete;
    ~CV_Logger() override;

    /// Starts the thread; does nothing when it runs. args: ignored. Returns 0, or -1 when no thread can be
    /// had.
    int open(void* args = nullptr) override;

    /// The thread's work; not called by others.
    int svc() override;

    /// Ends the thread, which flushes every destination once more, and waits for it. open may follow. flags:
    /// ignored. Returns 0. Not from DllMain.
    int close(u_long flags = 0) override;

    /// The handle of a category, made by the first call for its name; the prefix of setConfig is put in
    /// front. The category is served by the base logger with its longest dotted prefix that has destinations,
    /// or root.
    ALogger& getLogger(const std::string& name);

    /// Makes a base logger without destinations, or sets the threshold of the one there is. Handles move to
    /// it at FixBaseLoggers.
    BaseLogger* addBaseLogger(const std::string& name, int level);

    /// Makes a destination, or gives the one there is. type decides by what it contains: "Console" the shared
    /// console, under a further name; "LogMonitor" a LogMonitorDst; "RollingReporter" a LogReporterDst;
    /// anything else a LogDstFile.
    LogDst* addDest(const std::string& name, const std::string& type);

    /// False when one of the two is unknown or the base logger has three destinations.
    bool addDstToBaseLogger(const std::string& baseName, const std::string& dstName);

    /// The base logger that serves a category: that of the longest dotted prefix, or root. withDestsOnly: of
    /// those that have a destination.
    BaseLogger* findBaseLogger(const std::string& name, bool withDestsOnly);

    LogDst* findLogDst(const std::string& name);  ///< Null when there is none.

    /// Lets every handle be served by the base logger of its longest dotted prefix, deliberately also by one
    /// without destinations: a category that is configured to go nowhere goes nowhere. A handle made later is
    /// served by getLogger's rule until the next call.
    void FixBaseLoggers();

    /// Takes a configuration file over: remembers it, the folder and the prefix, unless it is the file that
    /// is remembered already, and reads it as CheckConfig. configFile: UTF-8, absolute with at most 260
    /// characters, or relative to the working folder of its first reading; empty for none. defaultFolder: for
    /// files that name none. namePrefix: put in front of every category name from now on. Troubles are told
    /// in "logger.log". False when the file could not be read: then GetLastError() tells why.
    bool setConfig(const std::string& configFile, const std::string& defaultFolder,
                   const std::string& namePrefix = std::string());

    /// Reads the configuration file when its modification time is another than at the last reading. What the
    /// file holds is applied on top of what there is; troubles are told in "logger.log" and the rest of the
    /// file is applied. Files beyond 1 MiB are refused. False when the file cannot be read: then
    /// GetLastError() tells why, and the next call tries again, a file that is too large when it has changed.
    /// True where there is no file to read. One thread at a time is in here; others wait.
    bool CheckConfig();

    void flushDsts();  ///< Flushes every destination; idle files are closed.

    /// What process exit does, for who ends the process without it, such as a watchdog before
    /// TerminateProcess: writes out what the open files hold, waits for no lock and needs no heap; only the
    /// disk may block. A lock that another thread holds is passed over: a line which that thread is at may be
    /// there twice, or in part. Not on a thread that may be within logging itself.
    static void WriteOutUnlocked() noexcept;

private:
    friend struct detail::RegistryAccess;

    CV_Logger();
    BaseLogger* findBaseLocked(const std::string& name, bool withDestsOnly);
    void pass();
    void applyConfig(const std::string& text);

    std::map<std::string, std::shared_ptr<LogDst>> destinations_;     // under lock_
    std::map<std::string, std::unique_ptr<BaseLogger>> baseLoggers_;  // under lock_
    std::map<std::string, std::unique_ptr<ALogger>> loggers_;         // under lock_
    BaseLogger* root_;
    std::atomic<bool> running_;
    std::string configFile_;       // under configLock_
    std::int64_t configModified_;  // under configLock_
    std::string namePrefix_;       // under lock_
    ACE_Thread_Mutex lock_;
    ACE_Thread_Mutex configLock_;  // taken before lock_
    std::string defaultFolder_;    // under configLock_
    ACE_Manual_Event stop_;
    int passes_;                           // the thread's own
    std::atomic<unsigned long> threadId_;  // 0 while there is no thread
    ACE_Thread_Mutex threadLock_;          // held while the thread is started and ended
    std::unique_ptr<detail::ModuleReference> module_;
    std::atomic<bool> destinationsChange_;  // seen without the lock, at the end of the process
};

}  // namespace CorvaneLogger
