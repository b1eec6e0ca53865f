#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <ace/Synch_Traits.h>
#include <ace/Task_T.h>
#include <ace/Thread_Mutex.h>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/CV_Stat.h"
#include "WindowsAgentCommon/CV_Trans.h"
#include "WindowsAgentCommon/LoggerFactory.h"

namespace CorvaneLogger {
class LogDst;
class LogReporterDst;
namespace detail {
class ModuleReference;
}
}  // namespace CorvaneLogger

namespace WindowsAgentCommon {

namespace detail {
struct StatisticsAccess;
}

/// The process's registry of run-time statistics: a thread of its own tells each of them every minute that it
/// has passed, and writes a report of them all every few minutes to the log destination "CorvaneStats".
///
/// The host calls Init once, after logging is configured, then open, and close before it ends. Any thread may
/// call anything at any time, also Register before Init and beside a tick, a report or close.
///
/// Time: minutes are counted on a steady time from the start of the thread; only the times that a report
/// prints follow the system's clock. A minute that comes late (a machine that slept) counts once for all that
/// were missed, and the rhythm stays.
///
/// The end of the process without close neither waits nor writes anything; what was counted since the last
/// report is lost. The library can be unloaded with FreeLibrary only after close: the open registry holds a
/// reference to it.
class CORVANE_API CV_Statistics : public ACE_Task<ACE_NULL_SYNCH> {
public:
    /// The one instance, made by the first call.
    static CV_Statistics& TheStats();

    CV_Statistics(const CV_Statistics&) = delete;
    CV_Statistics& operator=(const CV_Statistics&) = delete;
    ~CV_Statistics() override;

    /// Prepares reporting and takes the time that all reports begin with. Where no destination "CorvaneStats"
    /// is configured, one is made: the report file "Statistics.txt", to which a report is appended every 5
    /// minutes and which rolls at its size limit. One that is configured is asked for "ReportEvery", in
    /// minutes, and a report file among them for where its reports begin: behind what it holds now, each in
    /// place of the one before.
    void Init();

    /// Starts the thread. args: ignored. Returns 0, 1 when it runs already, -1 when it cannot be started.
    int open(void* args = nullptr) override;

    int svc() override;  ///< The thread's work; not called by others.

    /// Ends the thread and waits for it, at most a second beyond a tick in progress; ends the minute for
    /// every statistic, writes a last report and empties the registry, unless it is empty already. Statistics
    /// that are still held elsewhere go on counting, unreported. open may follow. flags: ignored. Returns 0.
    /// Not from DllMain. Throws only std::bad_alloc, and the registry may then hold what it held.
    int close(u_long flags = 0) override;

    /// The statistic of that name, whatever its type, made if there is none. name: UTF-8. type: "SimpleEPS";
    /// any other makes nothing and gives an empty pointer. Throws only std::bad_alloc.
    std::shared_ptr<CV_Stat> Register(const std::string& name, const char* type);

    /// The statistic of that name, or an empty pointer.
    std::shared_ptr<CV_Stat> Find(const std::string& name);

    /// Writes a report of the statistics there are: a line "Stat Collection from %s to %s : " with the time
    /// of Init and the present one, a line for each statistic in the order of names, and two empty lines.
    /// Times are local, in the destination's strftime pattern "ConversionPattern", cut to 20 characters; a
    /// pattern with unknown codes counts as "%m-%d %H:%M:%S", the default. A report file
    /// (LogReporterDst) gets the lines as they are; for any other destination they are info messages of the
    /// category "Stats", which go where that is configured to go, deliberately not only to destination.
    /// Blocks on the disk; not under the lock that Register takes. A report that cannot be written is
    /// logged as an error. Throws ObjectDoesNotExistException when destination is null; std::bad_alloc.
    void Report(CorvaneLogger::LogDst* destination);

private:
    friend struct detail::StatisticsAccess;

    CV_Statistics();
    std::shared_ptr<CV_Stat> findLocked(const std::string& name) const;
    bool isEmpty();
    void collect(const char* what);
    void tick(std::int32_t& minutes);
    void finish();
    bool waitUntil(std::int64_t second) const;
    void readInterval(CorvaneLogger::LogDst& destination);
    void report(CorvaneLogger::LogDst& destination);
    void writeFile(CorvaneLogger::LogReporterDst& reporter, const std::vector<std::string>& lines);

    std::map<std::string, std::shared_ptr<CV_Stat>> registry_;  // under lock_
    std::int32_t reportEvery_;                                  // minutes; under workLock_
    Log log_;
    CV_Trans lock_;
    std::int32_t reporterHandle_;  // where reports begin, -1 for the file's end; under workLock_
    std::int64_t startTime_;       // system time, seconds since 1970; under workLock_
    std::atomic<bool> running_;
    // Ticks, and a report at a time: texts are made without lock_, which nobody is to wait for that long.
    ACE_Thread_Mutex workLock_;    // taken before lock_
    ACE_Thread_Mutex threadLock_;  // held while running_ changes, to the thread's end; before workLock_
    std::unique_ptr<CorvaneLogger::detail::ModuleReference> module_;  // under threadLock_
};

}  // namespace WindowsAgentCommon
