#include "CorvaneLogger/CV_Logger.h"

#include "CorvaneLogger/LogDstCons.h"
#include "CorvaneLogger/LogDstFile.h"
#include "CorvaneLogger/LogMonitorDst.h"
#include "CorvaneLogger/LogReporterDst.h"
#include "WindowsAgentCommon/AceRuntime.h"
#include "logging/LogPath.h"
#include "logging/ModuleReference.h"
#include "logging/ProcessEnd.h"
#include "logging/RegistryAccess.h"
#include "logging/SideFile.h"

#include <ace/Guard_T.h>

#include <utility>
#include <vector>

#include "foundation/Win32.h"

namespace CorvaneLogger {
namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;

constexpr int kFlushInterval = 500;  // ms
constexpr int kPassesPerCheck = 22;
constexpr char kRootName[] = "root";
constexpr char kConsoleName[] = "console";
constexpr char kMonitorName[] = "LogMonitorAppender";

std::atomic<CV_Logger*> instance{nullptr};

bool Contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

std::shared_ptr<LogDst> MakeDestination(const std::string& name, const std::string& cls) {
    if (Contains(cls, "LogMonitor")) return std::make_shared<LogMonitorDst>(name, cls);
    if (Contains(cls, "RollingReporter")) return std::make_shared<LogReporterDst>(name, cls);
    return std::make_shared<LogDstFile>(name, cls);
}

}  // namespace

// --- the instance ---

CV_Logger& CV_Logger::TheLogger() {
    if (CV_Logger* const there = instance.load(std::memory_order_acquire)) return *there;
    static ACE_Thread_Mutex mutex;
    const Guard guard(mutex);
    // Not a static object: one would be destroyed before the last thread has logged.
    if (instance.load(std::memory_order_relaxed) == nullptr)
        instance.store(std::unique_ptr<CV_Logger>(new CV_Logger).release(), std::memory_order_release);
    return *instance.load(std::memory_order_relaxed);
}

CV_Logger::CV_Logger()
    : root_(nullptr),
      running_(false),
      configModified_(0),
      passes_(0),
      threadId_(0),
      destinationsChange_(false) {
    detail::LogPath("");  // the working folder of this moment is that of all log files
    root_ = addBaseLogger(kRootName, kLevelInfo);
    const auto console = std::make_shared<LogDstCons>(kConsoleName, "Console");
    destinations_[kConsoleName] = console;
    root_->AddDest(console.get());
    addDest(kMonitorName, "LogMonitor");
}

CV_Logger::~CV_Logger() = default;

void detail::RegistryAccess::Destroy() noexcept { std::unique_ptr<CV_Logger>(instance.exchange(nullptr)); }

void CV_Logger::WriteOutUnlocked() noexcept {
    CV_Logger* const logger = instance.load();
    // A thread that was ended with the lock, as any that looks something up, left the map whole unless it was
    // changing it.
    if (logger == nullptr || (logger->destinationsChange_ && logger->lock_.tryacquire() != 0)) return;
    for (const auto& destination : logger->destinations_) detail::FileAccess::Finish(*destination.second);
}

ALogger& CV_Logger::Logger(const std::string& name) { return TheLogger().getLogger(name); }

void CV_Logger::SetGlobalLevel(int level, const char* reason) {
    CV_Logger& logger = TheLogger();
    {
        const Guard guard(logger.lock_);
        for (const auto& base : logger.baseLoggers_) base.second->SetLevel(level);
    }
    detail::WriteSideFile("SetGlobalLevel", "All levels set to %d: %s", level,
                          reason != nullptr ? reason : "");
}

int CV_Logger::getLvl(const std::string& name) {
    constexpr std::pair<const char*, int> kLevels[] = {
        {"INFO", kLevelInfo},   {"DEBUG", kLevelDebug}, {"ERROR", kLevelError}, {"WARN", kLevelWarn},
        {"INFOX", kLevelInfoX}, {"FATAL", kLevelFatal}, {"TRACE", kLevelTrace},
    };
    for (const auto& level : kLevels)
        if (::_stricmp(name.c_str(), level.first) == 0) return level.second;
    detail::WriteSideFile("getLvl", "Unknown level %s, defaulting to INFO", name.c_str());
    return kLevelInfo;
}

void detail::FileAccess::Finish(LogDst& destination) noexcept {
    if (auto* const file = dynamic_cast<LogDstFile*>(&destination)) file->finish();
}

// --- the tree ---

ALogger& CV_Logger::getLogger(const std::string& name) {
    const detail::LockUnlessEnding guard(lock_);
    if (!guard) return *std::make_unique<ALogger>(name, root_).release();  // the process is ending anyway
    const std::string full = namePrefix_ + name;
    const auto found = loggers_.find(full);
    if (found != loggers_.end()) return *found->second;
    auto logger = std::make_unique<ALogger>(full, findBaseLocked(full, true));
    return *(loggers_[full] = std::move(logger));
}

BaseLogger* CV_Logger::addBaseLogger(const std::string& name, int level) {
    const Guard guard(lock_);
    const auto found = baseLoggers_.find(name);
    if (found == baseLoggers_.end()) {
        auto base = std::make_unique<BaseLogger>(name, level);
        return (baseLoggers_[name] = std::move(base)).get();
    }
    found->second->SetLevel(level);
    return found->second.get();
}

LogDst* CV_Logger::addDest(const std::string& name, const std::string& type) {
    const Guard guard(lock_);
    const auto found = destinations_.find(name);
    if (found != destinations_.end()) return found->second.get();
    std::shared_ptr<LogDst> destination =
        Contains(type, "Console") ? destinations_[kConsoleName] : MakeDestination(name, type);
    destinationsChange_ = true;
    LogDst* const added = (destinations_[name] = std::move(destination)).get();
    destinationsChange_ = false;
    return added;
}

bool CV_Logger::addDstToBaseLogger(const std::string& baseName, const std::string& dstName) {
    const Guard guard(lock_);
    const auto base = baseLoggers_.find(baseName);
    const auto destination = destinations_.find(dstName);
    return base != baseLoggers_.end() && destination != destinations_.end() &&
           base->second->AddDest(destination->second.get());
}

BaseLogger* CV_Logger::findBaseLogger(const std::string& name, bool withDestsOnly) {
    const Guard guard(lock_);
    return findBaseLocked(name, withDestsOnly);
}

BaseLogger* CV_Logger::findBaseLocked(const std::string& name, bool withDestsOnly) {
    // A prefix sorts before what it begins, and a longer prefix behind a shorter one.
    auto at = baseLoggers_.upper_bound(name);
    while (at != baseLoggers_.begin()) {
        --at;
        if (at->second->IsBaseFor(name) && (!withDestsOnly || at->second->DstCnt() > 0))
            return at->second.get();
    }
    return root_;
}

LogDst* CV_Logger::findLogDst(const std::string& name) {
    const Guard guard(lock_);
    const auto found = destinations_.find(name);
    return found != destinations_.end() ? found->second.get() : nullptr;
}

void CV_Logger::FixBaseLoggers() {
    const Guard guard(lock_);
    for (const auto& logger : loggers_) logger.second->Reset(findBaseLocked(logger.first, false));
}

void CV_Logger::flushDsts() {
    std::vector<std::shared_ptr<LogDst>> destinations;  // flushed without the lock: that blocks on disks
    {
        const detail::LockUnlessEnding guard(lock_);
        if (!guard) return;
        for (const auto& destination : destinations_)
            if (destination.first == destination.second->name()) destinations.push_back(destination.second);
    }
    for (const auto& destination : destinations) destination->flush(true);
}

// --- the thread ---

int CV_Logger::open(void*) {
    const Guard guard(threadLock_);
    if (running_) return 0;
    try {
        WindowsAgentCommon::EnsureAceInitialized();
        module_ = std::make_unique<detail::ModuleReference>();
    } catch (const std::exception& failure) {
        detail::WriteSideFile("open", "%s", failure.what());
        return -1;
    }
    stop_.reset();
    running_ = true;
    if (activate(THR_NEW_LWP | THR_JOINABLE, 1) == 0) return 0;
    running_ = false;
    module_.reset();
    return -1;
}

int CV_Logger::svc() {
    threadId_ = ::GetCurrentThreadId();
    const ACE_Time_Value interval(0, kFlushInterval * 1000);
    while (running_) {
        try {
            pass();
        } catch (const std::exception& failure) {
            detail::WriteSideFile("svc", "%s", failure.what());
        }
        ACE_Time_Value pause = interval;
        stop_.wait(&pause, 0);  // not until a time of day: the clock may be set meanwhile
    }
    try {
        flushDsts();
    } catch (const std::exception& failure) {
        detail::WriteSideFile("svc", "%s", failure.what());
    }
    return 0;
}

void CV_Logger::pass() {
    flushDsts();
    if (++passes_ < kPassesPerCheck) return;
    passes_ = 0;
    CheckConfig();
}

int CV_Logger::close(u_long) {
    if (threadId_ == ::GetCurrentThreadId()) return 0;  // ACE calls this as the thread ends
    std::unique_ptr<detail::ModuleReference> module;    // given back last
    const detail::LockUnlessEnding guard(threadLock_);
    if (!guard || !running_) return 0;
    running_ = false;
    stop_.signal();
    // At the end of the process the system has ended the thread already, with whatever locks it held.
    if (!detail::ProcessIsEnding()) wait();
    threadId_ = 0;
    module = std::move(module_);
    return 0;
}

}  // namespace CorvaneLogger
