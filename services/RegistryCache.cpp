#include "services/RegistryCache.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "foundation/Clock.h"
#include "services/MakeService.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {
namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;

constexpr std::size_t kMaxMachines = 1024;
constexpr std::size_t kMaxHostUnits = 255;  // of a DNS name
constexpr int kDay = 86'400;

CorvaneLogger::ALogger& logger() { return CorvaneLogger::CV_Logger::Logger("Code.RegistryCache"); }

int Setting(const EnvironmentBlock& settings, const char* name, int defaultValue, int least, int most) {
    int value = 0;
    settings.GetIntegerValue(name, value, defaultValue);
    const int used = std::clamp(value, least, most);
    if (used != value) logger().Warn("%s must be from %d to %d; using %d", name, least, most, used);
    return used;
}

// Gives "" for the local machine. False for what cannot be a machine's name.
bool HostOf(const std::wstring& machine, std::wstring& host) {
    host = machine.substr(std::min(machine.find_first_not_of(L'\\'), machine.size()));
    if (host.empty() && !machine.empty()) return false;
    if (host == L".") host.clear();
    return host.size() <= kMaxHostUnits &&
           host.find_first_of(std::wstring(L"\\/\0", 3)) == std::wstring::npos;
}

}  // namespace

RegistryCache::RegistryCache() : RegistryCache(detail::WindowsRegistry(), detail::WindowsPerformance()) {}

RegistryCache::RegistryCache(detail::RegistrySource& registry, detail::PerformanceSystem& performance)
    : registry_(registry), system_(performance) {}

RegistryCache::~RegistryCache() { RegistryCache::Shutdown(); }

InitializeResult RegistryCache::Initialize(const EnvironmentBlock& settings) {
    if (IsInitialized()) return InitializeResult::kDone;
    auto state = std::make_shared<detail::RegistryCacheState>();
    state->source = &registry_;
    state->refreshTicks = detail::kTicksPerSecond * Setting(settings, "RefreshSeconds", 60, 0, kDay);
    state->retryTicks = detail::kTicksPerSecond * Setting(settings, "RetrySeconds", 60, 1, kDay);
    state->waitMilliseconds = 1000U * static_cast<unsigned>(Setting(settings, "WaitSeconds", 10, 0, 3600));
    state->maxBytes = 1024U * static_cast<unsigned>(Setting(settings, "CacheKilobytes", 4096, 0, 65536));
    auto performance = std::make_unique<detail::ApplicationPerformance>(system_);
    performance->Initialize(0);  // without counters the cache is as useful as ever; it has logged why
    {
        const Guard guard(performanceLock_);
        performance_ = std::move(performance);
    }
    {
        const Guard guard(lock_);
        state_ = std::move(state);
        dropAt_ = 0;
    }
    SetInitialized(true);
    return InitializeResult::kDone;
}

void RegistryCache::Shutdown() {
    if (!IsInitialized()) return;
    SetInitialized(false);
    Machines ended;
    {
        const Guard guard(lock_);
        state_->isStopping = true;
        ended.swap(machines_);
    }
    for (const auto& [host, machine] : ended) machine->Wake();
    const Guard guard(performanceLock_);
    performance_.reset();
}

void RegistryCache::GetStatus(EnvironmentBlock& status) const {
    unsigned int machines = 0, values = 0, unreachable = 0;
    std::size_t bytes = 0;
    {
        const Guard guard(lock_);
        machines = static_cast<unsigned int>(machines_.size());
        for (const auto& [host, machine] : machines_) machine->Count(values, unreachable);
        if (state_) bytes = state_->bytes;
    }
    status.SetIntegerValue("Machines", machines);
    status.SetIntegerValue("CachedValues", values);
    status.SetIntegerValue("CachedBytes", static_cast<unsigned int>(bytes));
    status.SetIntegerValue("UnreachableMachines", unreachable);
}

unsigned long RegistryCache::GetPerformanceCounter(const std::wstring& name, double& value) {
    if (!IsInitialized()) return detail::Aborted();
    const Guard guard(performanceLock_);
    if (!IsInitialized() || !performance_) return detail::Aborted();
    return performance_->GetValue(name, value) ? ERROR_SUCCESS : ERROR_NOT_FOUND;
}

unsigned long RegistryCache::GetPerformanceCounters(std::map<std::wstring, double>& values) {
    if (!IsInitialized()) return detail::Aborted();
    const Guard guard(performanceLock_);
    if (!IsInitialized() || !performance_) return detail::Aborted();
    return performance_->GetValues(values) ? ERROR_SUCCESS : ERROR_NOT_FOUND;
}

unsigned long RegistryCache::GetReader(const std::wstring& machine,
                                       std::shared_ptr<IRegistryCacheReader>& out) {
    std::wstring host;
    if (!HostOf(machine, host)) return ERROR_INVALID_COMPUTERNAME;
    Machines unused;  // closes their connections when the lock is left
    const Guard guard(lock_);
    if (!IsInitialized()) return detail::Aborted();
    DropOldLocked();
    const std::wstring name = detail::FoldCase(host);
    const auto known = machines_.find(name);
    if (known != machines_.end()) {
        out = known->second;
        return ERROR_SUCCESS;
    }
    if (machines_.size() >= kMaxMachines) unused = TakeUnusedLocked();
    if (machines_.size() >= kMaxMachines) return ERROR_NOT_ENOUGH_QUOTA;
    const auto made = std::make_shared<detail::CachedRegistry>(state_, host);
    machines_[name] = made;
    out = made;
    return ERROR_SUCCESS;
}

// Old values of machines that nobody asks would take the room, and the watches, of the others for ever.
void RegistryCache::DropOldLocked() {
    const std::int64_t now = detail::SteadyTicks();
    if (now < dropAt_) return;
    dropAt_ = now + state_->refreshTicks;
    for (const auto& [host, machine] : machines_) machine->DropOld();
}

// Takes the machines that nobody holds a reader of.
RegistryCache::Machines RegistryCache::TakeUnusedLocked() {
    Machines unused;
    for (auto machine = machines_.begin(); machine != machines_.end();) {
        const auto next = std::next(machine);
        if (machine->second.use_count() == 1) unused.insert(machines_.extract(machine));
        machine = next;
    }
    return unused;
}

extern "C" ACE_Service_Object* _make_RegistryCache(ACE_Service_Object_Exterminator* exterminator) {
    return detail::MakeService<RegistryCache>(exterminator);
}

}  // namespace WindowsAgentCommon
