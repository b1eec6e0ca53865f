#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include <ace/Event_Handler.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Time_Value.h>
#include <ace/Timer_Heap.h>
#include <ace/Timer_Queue_Adapters.h>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/RandomInteger.h"

namespace WindowsAgentCommon {

namespace detail {
class SteadyTimerHeap;
}

/// A timer of a Scheduler, as its caller holds it: std::shared_ptr<ScheduleInfo>. The scheduler keeps no
/// reference to it and does not change it when the timer fires. Made valid by Scheduler::Schedule; without
/// that it names no timer. The functions below must not run beside a call that is given the same handle.
class ScheduleInfo {
public:
    std::int32_t GetTimerId() const noexcept { return timerId_; }  ///< 0: cancelled, or never scheduled.

    /// When the timer first fires after it was scheduled or its interval last reset, by the system's clock
    /// of that moment (since 1970, UTC). Not moved on when the timer fires.
    const ACE_Time_Value& GetNextExpiry() const noexcept { return nextExpiry_; }

    /// The time between two calls of the handler; 1 second until set.
    const ACE_Time_Value& GetInterval() const noexcept { return interval_; }

private:
    friend class Scheduler;

    std::atomic<std::int32_t> timerId_{0};
    ACE_Event_Handler* handler_ = nullptr;
    ACE_Time_Value nextExpiry_;
    ACE_Time_Value interval_{1};
    void* act_ = nullptr;
    std::uint32_t scheduler_ = 0;  // whose timer it is: ids mean nothing elsewhere
    std::uint64_t stamp_ = 0;      // which of the timers that had the id in turn it is
    std::int64_t due_ = 0;         // the next expiry in steady time
};

/// Calls handlers again and again, each at its interval, from one thread of its own.
///
/// Time: intervals and expiries run on a steady time. Setting the system's clock neither stops a timer nor
/// makes it fire in bursts; only the times that callers pass and handlers get are the clock's. A timer that
/// comes late (a slow handler, a machine that slept) fires once for all the times it missed and keeps its
/// rhythm. The steady time and the system's waits go in steps of up to 15.6 ms on Windows: by so much a timer
/// may be early, and by so much and 1 ms late. Times beyond 30 years from now count as 30 years.
///
/// Handlers are called one after the other; a slow one delays all others. handle_timeout gets the system's
/// time and the act. A handler may call the scheduler: cancel or reset its own timer or others', schedule.
/// - It returns -1: all timers of this handler are cancelled, then its handle_close gets
///   ACE_INVALID_HANDLE and ACE_Event_Handler::TIMER_MASK. (The handles still say valid until cancelled.)
/// - It throws: that is logged as an error under "Code.Scheduler" (repetitions at debug level), and its timer
///   goes on.
/// - It must not destroy the scheduler: a thread cannot wait for itself, and std::terminate ends the process.
///
/// Lifetime of handlers: one that is not reference-counted must live until its timers are cancelled and no
/// call of it is running; one whose ACE reference counting policy is enabled is held by its timers and by
/// the running call, so that its owner can cancel and let go at any time.
///
/// Threads: any thread may call anything; changes of the queue are serialised by the scheduler's recursive
/// lock, and no handler is called under it. Nothing blocks but the destructor.
///
/// Lifetime: made and destroyed while the ACE runtime runs (the constructor starts it if need be), outside
/// DllMain: a module that is unloaded while the process goes on has destroyed its own before, since the
/// thread cannot end under the loader's lock. The process may end while a scheduler is running; nobody waits
/// for its thread then. Of ACE's adapter, schedule() and cancel() are not for callers (the queue has times
/// and ids of its own), the queue must not be replaced nor the task activated again, thr_id() is not set, and
/// deactivate() ends dispatching for good.
class CORVANE_API Scheduler : public ACE_Thread_Timer_Queue_Adapter<ACE_Timer_Heap> {
public:
    /// First expiries "now" are now: jitter is off (its range would be 0 to 1000 ms). Starts the thread.
    /// Throws InitializationException when ACE or the thread cannot be started.
    Scheduler();

    /// Timers scheduled without a first expiry get one that lies minimumMs to maximumMs after the call, both
    /// inclusive, each its own. Starts the thread.
    /// Throws InitializationException as above, KORException when minimumMs is above maximumMs.
    Scheduler(long minimumMs, long maximumMs);

    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    /// Stops dispatching, waits 100 ms, and until a handler that is running has returned and the thread has
    /// ended. No handler is called any more, but those of timers still scheduled get handle_close as above,
    /// once for each timer, in the calling thread; scheduling from there throws KORException. When the
    /// process is ending and the system has ended the thread already, none of this happens: nobody is waited
    /// for, no handler is called.
    ~Scheduler() override;

    /// Schedules a timer. handler: not owned, not null; see above for how long it must live. act: handed back
    /// to it. interval: zero or less makes a timer that fires once, whose handle still says valid afterwards.
    /// firstExpiry: system time since 1970 (UTC); one that has passed means now.
    /// Returns the timer's handle, whose identifier is never 0. The timer may fire before this returns.
    /// Throws ObjectDoesNotExistException when handler is null, std::bad_alloc.
    std::shared_ptr<ScheduleInfo> Schedule(ACE_Event_Handler* handler, void* act,
                                           const ACE_Time_Value& interval, const ACE_Time_Value& firstExpiry);

    /// The same, with the first expiry now, or after the jitter when that is on.
    std::shared_ptr<ScheduleInfo> Schedule(ACE_Event_Handler* handler, void* act,
                                           const ACE_Time_Value& interval);

    /// Cancels the timer and sets the handle's identifier to 0, also when the timer has ended by itself.
    /// Afterwards no new call of the handler begins; one that is running goes on and is not waited for, so
    /// that locks which the handler takes may be held here. handle_close is not called.
    /// Does nothing with an empty or cancelled handle, nor with that of another scheduler, which stays valid,
    /// nor when the process is ending and the system has ended the other threads already.
    void Cancel(std::shared_ptr<ScheduleInfo>& handle);

    /// Whether the handle is set and not cancelled. Says nothing about a timer that has ended by itself.
    bool IsValid(const std::shared_ptr<ScheduleInfo>& handle) const;

    /// Gives a timer another interval, with a new identifier. Its next expiry stays if it lies ahead, and
    /// becomes now plus the interval if it has come or passed, which a timer that has fired already always
    /// has. A cancelled timer, and one that has ended by itself, is scheduled anew this way (its handler
    /// must still live then, which such a timer does not see to). Throws
    /// ObjectDoesNotExistException when the handle is empty or another scheduler's; std::bad_alloc, and the
    /// timer is cancelled then.
    void ResetInterval(std::shared_ptr<ScheduleInfo>& handle, const ACE_Time_Value& interval);

    int svc() override;          ///< The thread's work; not called by others.
    void deactivate() override;  ///< Ends dispatching for good; wait() waits for the thread.

private:
    std::shared_ptr<ScheduleInfo> CreateScheduleHandle(ACE_Event_Handler* handler, void* act,
                                                       const ACE_Time_Value& interval,
                                                       const ACE_Time_Value& firstExpiry, std::int64_t wait);
    void ScheduleLocked(ScheduleInfo& timer, std::int64_t now);

    RandomInteger jitter_;  // under lock_
    ACE_Recursive_Thread_Mutex lock_;
    bool jitterEnabled_;
    std::unique_ptr<detail::SteadyTimerHeap> heap_;
};

}  // namespace WindowsAgentCommon
