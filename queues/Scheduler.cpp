#include "WindowsAgentCommon/Scheduler.h"

#include "WindowsAgentCommon/AceRuntime.h"
#include "WindowsAgentCommon/KORException.h"
#include "foundation/Clock.h"
#include "logging/ProcessEnd.h"
#include "queues/AceTime.h"
#include "queues/SteadyTimerHeap.h"

#include <ace/Guard_T.h>
#include <ace/Thread_Manager.h>

#include <exception>

namespace WindowsAgentCommon {
namespace {

using Guard = ACE_Guard<ACE_Recursive_Thread_Mutex>;

constexpr long kJitterMs = 1000;
constexpr unsigned int kStopPauseMs = 100;

ACE_Thread_Manager* ThreadManager() {
    EnsureAceInitialized();
    return ACE_Thread_Manager::instance();
}

ACE_Time_Value SystemTime(std::int64_t ticks) { return detail::AceTime(ticks - detail::kTicksTo1970); }

}  // namespace

Scheduler::Scheduler() : Scheduler(0, kJitterMs) { jitterEnabled_ = false; }

Scheduler::Scheduler(long minimumMs, long maximumMs)
    : ACE_Thread_Timer_Queue_Adapter<ACE_Timer_Heap>(ThreadManager()),
      jitter_(minimumMs, maximumMs),
      jitterEnabled_(true),
      heap_(std::make_unique<detail::SteadyTimerHeap>()) {
    timer_queue(heap_.get());  // in place of the one that the adapter made
    if (activate() != -1) return;
    timer_queue(nullptr);
    throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                  "The scheduler's thread cannot be started");
}

Scheduler::~Scheduler() {
    if (CorvaneLogger::detail::ProcessIsEnding()) {
        timer_queue(nullptr);
        static_cast<void>(heap_.release());  // the thread that is no more may have left it in any state
        return;
    }
    if (thr_mgr()->task() == this) std::terminate();  // one of our own handlers, see the header
    heap_->Stop();
    detail::SleepMilliseconds(kStopPauseMs);
    wait();
    timer_queue(nullptr);
}

int Scheduler::svc() {
    while (!heap_->IsStopped()) {
        heap_->Wait();
        heap_->Dispatch();
    }
    return 0;
}

void Scheduler::deactivate() { heap_->Stop(); }

// --- timers ---

std::shared_ptr<ScheduleInfo> Scheduler::Schedule(ACE_Event_Handler* handler, void* act,
                                                  const ACE_Time_Value& interval,
                                                  const ACE_Time_Value& firstExpiry) {
    const std::int64_t wait = detail::Ticks(firstExpiry) + detail::kTicksTo1970 - detail::SystemTicks();
    return CreateScheduleHandle(handler, act, interval, firstExpiry, wait);
}

std::shared_ptr<ScheduleInfo> Scheduler::Schedule(ACE_Event_Handler* handler, void* act,
                                                  const ACE_Time_Value& interval) {
    std::int64_t wait = 0;
    if (jitterEnabled_) {
        const Guard guard(lock_);
        wait = jitter_.Next() * detail::kTicksPerMillisecond;
    }
    return CreateScheduleHandle(handler, act, interval, SystemTime(detail::SystemTicks() + wait), wait);
}

std::shared_ptr<ScheduleInfo> Scheduler::CreateScheduleHandle(ACE_Event_Handler* handler, void* act,
                                                              const ACE_Time_Value& interval,
                                                              const ACE_Time_Value& firstExpiry,
                                                              std::int64_t wait) {
    if (handler == nullptr)
        throw ObjectDoesNotExistException(__FILE__, __FUNCTION__, __LINE__, "a timer's handler");
    auto timer = std::make_shared<ScheduleInfo>();
    timer->handler_ = handler;
    timer->nextExpiry_ = firstExpiry;
    timer->interval_ = interval;
    timer->act_ = act;
    timer->scheduler_ = heap_->Serial();
    const std::int64_t now = detail::SteadyTicks();
    timer->due_ = now + wait;
    const Guard guard(lock_);
    ScheduleLocked(*timer, now);
    return timer;
}

void Scheduler::ScheduleLocked(ScheduleInfo& timer, std::int64_t now) {
    const auto added = heap_->Add(timer.handler_, timer.act_, now, timer.due_ - now, timer.interval_);
    timer.timerId_ = added.id;
    timer.stamp_ = added.stamp;
}

void Scheduler::Cancel(std::shared_ptr<ScheduleInfo>& handle) {
    if (CorvaneLogger::detail::ProcessIsEnding()) return;  // a thread that is no more may hold the lock
    ACE_Event_Handler_var handler;                         // outlives the lock: letting it go may destroy it
    const Guard guard(lock_);
    if (!IsValid(handle) || handle->scheduler_ != heap_->Serial()) return;
    handler = heap_->Remove({handle->timerId_, handle->stamp_}, handle->handler_);
    handle->timerId_ = 0;
}

bool Scheduler::IsValid(const std::shared_ptr<ScheduleInfo>& handle) const {
    return handle && handle->timerId_ != 0;
}

void Scheduler::ResetInterval(std::shared_ptr<ScheduleInfo>& handle, const ACE_Time_Value& interval) {
    ACE_Event_Handler_var handler;  // held while it has no timer
    const Guard guard(lock_);
    if (!handle || handle->scheduler_ != heap_->Serial())
        throw ObjectDoesNotExistException(__FILE__, __FUNCTION__, __LINE__, "a timer of this scheduler");
    handler = heap_->Remove({handle->timerId_, handle->stamp_}, handle->handler_);
    handle->timerId_ = 0;
    handle->interval_ = interval;
    // Told by the steady time: the system's clock may have been set since. An expiry at this very moment has
    // passed: a handler that resets its own timer would be called again at once, without end.
    const std::int64_t now = detail::SteadyTicks();
    if (handle->due_ <= now) {
        const std::int64_t wait = detail::Ticks(interval);
        handle->due_ = now + wait;
        handle->nextExpiry_ = SystemTime(detail::SystemTicks() + wait);
    }
    ScheduleLocked(*handle, now);
}

}  // namespace WindowsAgentCommon
