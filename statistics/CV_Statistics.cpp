#include "WindowsAgentCommon/CV_Statistics.h"

#include "CorvaneLogger/CV_Logger.h"
#include "CorvaneLogger/LogReporterDst.h"
#include "WindowsAgentCommon/AceRuntime.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SimpleEPS.h"
#include "foundation/Clock.h"
#include "logging/ModuleReference.h"
#include "logging/ProcessEnd.h"
#include "logging/TimeStamp.h"
#include "queues/AceTime.h"
#include "statistics/StatisticsAccess.h"
#include "statistics/Transaction.h"

#include <ace/Guard_T.h>
#include <ace/Thread_Manager.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <utility>
#include <vector>

namespace WindowsAgentCommon {
namespace {

using CorvaneLogger::CV_Logger;
using CorvaneLogger::LogDst;
using CorvaneLogger::LogReporterDst;
using CorvaneLogger::detail::LockUnlessEnding;
using detail::Transaction;

constexpr char kDestination[] = "CorvaneStats";
constexpr char kReporterType[] = "LogReporterDst";
constexpr char kDefaultPattern[] = "%m-%d %H:%M:%S";
constexpr std::size_t kTimeSize = 20;  // characters
constexpr std::int32_t kReportEvery = 5;
constexpr std::int64_t kMinute = 60;
constexpr unsigned int kCoarseSleep = 950, kFineSleep = 10;  // ms

std::int64_t SteadySeconds() noexcept { return detail::SteadyTicks() / detail::kTicksPerSecond; }
std::int64_t SystemSeconds() noexcept {  // since 1970
    return (detail::SystemTicks() - detail::kTicksTo1970) / detail::kTicksPerSecond;
}

LogReporterDst* AsReporter(LogDst& destination) {
    return destination.IsA(kReporterType) ? dynamic_cast<LogReporterDst*>(&destination) : nullptr;
}

std::string TimeText(std::int64_t seconds, const std::string& pattern) {
    std::string text(pattern.size() * 96 + 1, '\0');  // no code gives more than 64 characters
    const std::tm local = CorvaneLogger::detail::LocalTime(seconds);
    text.resize(CorvaneLogger::detail::FormatTime(text.data(), text.size(), pattern.c_str(), local));
    if (text.size() <= kTimeSize) return text;
    std::size_t end = kTimeSize;
    while (end != 0 && (text[end] & 0xC0) == 0x80) --end;  // no half of a character
    return text.substr(0, end);
}

std::string Header(LogDst& destination, std::int64_t from, const char* lineEnd) {
    std::string pattern, header;
    if (!destination.getParam("ConversionPattern", pattern) ||
        !CorvaneLogger::detail::IsKnownPattern(pattern))
        pattern = kDefaultPattern;
    const std::string begin = TimeText(from, pattern), end = TimeText(SystemSeconds(), pattern);
    return Format(header, "Stat Collection from %s to %s : %s", begin.c_str(), end.c_str(), lineEnd);
}

// The end of the process leaves the instance alone: threads that are no more may have left it in any state.
struct Instance {
    ~Instance() {
        if (CorvaneLogger::detail::ProcessIsEnding()) static_cast<void>(stats.release());
    }
    std::unique_ptr<CV_Statistics> stats = detail::StatisticsAccess::Make();
};

}  // namespace

CV_Statistics& CV_Statistics::TheStats() {
    static const Instance instance;
    return *instance.stats;
}

CV_Statistics::CV_Statistics()
    : reportEvery_(kReportEvery),
      log_(GetLoggerFactory().GetLog("Code.Statistics")),
      reporterHandle_(-1),
      startTime_(0),
      running_(false) {}

CV_Statistics::~CV_Statistics() = default;

// --- starting and ending ---

void CV_Statistics::Init() {
    const LockUnlessEnding thread(
        threadLock_);  // or a close beside this would wait for a thread told to go on
    if (!thread) return;
    const LockUnlessEnding work(workLock_);
    if (!work) return;
    running_ = true;
    startTime_ = SystemSeconds();
    CV_Logger& logger = CV_Logger::TheLogger();
    LogDst* const destination = logger.findLogDst(kDestination);
    if (destination == nullptr) {
        log_->Info("CorvaneStats not configured in logconfig.xml, setting up defaults statistics collection");
        std::map<std::string, std::string> params{{"file", "Statistics.txt"}};
        logger.addDest(kDestination, "RollingReporter")->setup(params);
        return;
    }
    readInterval(*destination);
    log_->Info("CorvaneStats configured as a %s reporting every %d minutes", destination->type(),
               static_cast<int>(reportEvery_));
    if (LogReporterDst* const reporter = AsReporter(*destination))
        reporterHandle_ = static_cast<std::int32_t>(reporter->Open());
}

int CV_Statistics::open(void*) {
    const LockUnlessEnding thread(threadLock_);
    if (!thread) return -1;
    try {
        EnsureAceInitialized();
        if (!module_) module_ = std::make_unique<CorvaneLogger::detail::ModuleReference>();
    } catch (const std::exception& failure) {
        log_->Error("The statistics thread cannot be started: %s", failure.what());
        return -1;
    }
    running_ = true;
    const int result = activate(0, 1);
    if (result != -1) return result;
    running_ = false;
    module_.reset();
    return result;
}

int CV_Statistics::close(u_long) {
    if (CorvaneLogger::detail::ProcessIsEnding()) return 0;           // there is no thread any more
    if (thr_mgr() != nullptr && thr_mgr()->task() == this) return 0;  // ACE calls this as the thread ends
    std::unique_ptr<CorvaneLogger::detail::ModuleReference> module;   // given back last
    const ACE_Guard<ACE_Thread_Mutex> thread(threadLock_);
    running_ = false;
    wait();
    finish();
    module = std::move(module_);
    return 0;
}

void CV_Statistics::finish() {
    const ACE_Guard<ACE_Thread_Mutex> work(workLock_);
    if (isEmpty()) return;
    collect("Collect stats on the last minute");
    if (LogDst* const destination = CV_Logger::TheLogger().findLogDst(kDestination)) report(*destination);
    std::map<std::string, std::shared_ptr<CV_Stat>> gone;  // destroyed without the lock
    const Transaction transaction(lock_);
    gone.swap(registry_);
}

// --- the statistics ---

std::shared_ptr<CV_Stat> CV_Statistics::Register(const std::string& name, const char* type) {
    std::string label;
    Format(label, "Register %s %s", type, name.c_str());
    std::shared_ptr<CV_Stat> stat;
    bool existed = false;
    {
        const Transaction transaction(lock_, log_, label.c_str());
        stat = findLocked(name);
        existed = stat != nullptr;
        if (!existed && type != nullptr && std::string("SimpleEPS") == type)
            registry_[name] = stat = std::make_shared<SimpleEPS>(name);
    }
    if (existed)
        log_->Debug("%s already exists", label.c_str());
    else if (!stat)
        log_->Debug("%s - Unknown statistic type", label.c_str());
    return stat;
}

std::shared_ptr<CV_Stat> CV_Statistics::Find(const std::string& name) {
    const Transaction transaction(lock_);
    return findLocked(name);
}

std::shared_ptr<CV_Stat> CV_Statistics::findLocked(const std::string& name) const {
    const auto found = registry_.find(name);
    return found != registry_.end() ? found->second : nullptr;
}

bool CV_Statistics::isEmpty() {
    const Transaction transaction(lock_);
    return registry_.empty();
}

void CV_Statistics::collect(const char* what) {
    if (isEmpty()) return;
    const Transaction transaction(lock_, log_, what);
    for (const auto& stat : registry_) stat.second->OnMinute();
}

// --- the thread ---

int CV_Statistics::svc() {
    std::int64_t next = SteadySeconds() + kMinute;
    std::int32_t minutes = 0;  // since the last report
    while (waitUntil(next)) {
        next += (SteadySeconds() - next) / kMinute * kMinute + kMinute;
        try {
            tick(minutes);
        } catch (const std::exception& failure) {
            log_->Error("The minute's statistics are lost: %s", failure.what());
        } catch (...) {
            log_->Error("The minute's statistics are lost");
        }
    }
    log_->Debug("Exiting");
    return 0;
}

// False when the thread is to end, which is noticed within a second.
bool CV_Statistics::waitUntil(std::int64_t second) const {
    while (running_ && SteadySeconds() < second - 1) detail::SleepMilliseconds(kCoarseSleep);
    while (running_ && SteadySeconds() < second) detail::SleepMilliseconds(kFineSleep);
    return running_;
}

void CV_Statistics::tick(std::int32_t& minutes) {
    const ACE_Guard<ACE_Thread_Mutex> work(workLock_);
    collect("Collect stats on the minute");
    LogDst* const destination = CV_Logger::TheLogger().findLogDst(kDestination);
    if (destination == nullptr) return;
    readInterval(*destination);
    if (!running_ || reportEvery_ <= 0 || ++minutes < reportEvery_) return;
    minutes = 0;
    report(*destination);
}

void CV_Statistics::readInterval(LogDst& destination) {
    std::string value;
    if (destination.getParam("ReportEvery", value))
        reportEvery_ = std::strtol(value.c_str(), nullptr, 10);  // 0 for what is no number
}

// --- the report ---

void CV_Statistics::Report(LogDst* destination) {
    if (destination == nullptr)
        throw ObjectDoesNotExistException(__FILE__, __FUNCTION__, __LINE__, "a report's destination");
    const LockUnlessEnding work(workLock_);
    if (work && !CorvaneLogger::detail::ProcessIsEnding()) report(*destination);
}

void CV_Statistics::report(LogDst& destination) {
    std::vector<std::shared_ptr<CV_Stat>> stats;
    {
        const Transaction transaction(lock_);
        for (const auto& stat : registry_) stats.push_back(stat.second);
    }
    LogReporterDst* const reporter = AsReporter(destination);
    const char* const lineEnd = reporter != nullptr ? "\n" : "";
    std::vector<std::string> lines{Header(destination, startTime_, lineEnd)};
    for (const auto& stat : stats) lines.push_back(stat->Name() + " " + stat->Report(false) + lineEnd);
    lines.push_back("\n\n");
    if (reporter != nullptr) return writeFile(*reporter, lines);
    const Log log = GetLoggerFactory().GetLog("Stats");
    for (const std::string& line : lines) log->Info(line);
}

void CV_Statistics::writeFile(LogReporterDst& reporter, const std::vector<std::string>& lines) {
    const auto add = [&](const std::string& line) { return reporter.Add(line); };
    const bool written = reporter.ReOpen(static_cast<std::uint32_t>(reporterHandle_)) &&
                         std::all_of(lines.begin(), lines.end(), add);
    reporter.Close();
    const int count = static_cast<int>(lines.size()) - 2;  // without header and end
    if (written)
        log_->Debug("Saved %d stats lines in %s", count, reporter.Filename().c_str());
    else
        log_->Error("Unable to save %d stats lines in %s", count, reporter.Filename().c_str());
}

}  // namespace WindowsAgentCommon
