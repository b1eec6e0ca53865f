#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include <ace/Auto_Event.h>
#include <ace/Event_Handler.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Time_Value.h>
#include <ace/Timer_Heap.h>

#include "CorvaneLogger/ALogger.h"
#include "CorvaneLogger/LogNoiseReducer.h"
#include "logging/ModuleReference.h"

namespace WindowsAgentCommon::detail {

/// ACE's timer heap on steady time, with what its dispatching thread waits for. Unlike the bare heap it never
/// hands out the id 0, tells the timers apart that have an id in turn, holds a counted handler from the
/// moment its timer is due, survives handlers that throw, and calls none under its lock.
///
/// The times within are steady ones, counted from the heap's first use in the process; those given to Add are
/// ticks as in foundation/Clock.h. Any thread may call anything, but Wait is the dispatching thread's.
class SteadyTimerHeap final : public ACE_Timer_Heap {
public:
    SteadyTimerHeap();
    SteadyTimerHeap(const SteadyTimerHeap&) = delete;
    SteadyTimerHeap& operator=(const SteadyTimerHeap&) = delete;
    ~SteadyTimerHeap() override;

    /// A timer of this heap, now and ever.
    struct Timer {
        std::int32_t id;
        std::uint64_t stamp;
    };

    /// now: the steady time, which the caller has read already. wait: ticks from now on. Waits and intervals
    /// beyond 30 years are brought down to that, those below 0 up to it.
    /// Throws std::bad_alloc, and KORException after close.
    Timer Add(ACE_Event_Handler* handler, const void* act, std::int64_t now, std::int64_t wait,
              const ACE_Time_Value& interval);

    /// Cancels a timer if it is still there. handler: the timer's; not touched when the timer is gone.
    /// Returns a counted handler's reference, to be dropped outside of all locks; otherwise an empty one.
    ACE_Event_Handler_var Remove(const Timer& timer, ACE_Event_Handler* handler) noexcept;

    std::uint32_t Serial() const noexcept {
        return serial_;
    }  ///< No other heap of the process has it; not 0.

    /// Blocks until a timer is due or another one comes first, and at most a minute.
    void Wait();

    /// Calls the handlers that are due, until Stop.
    void Dispatch();

    /// Ends Wait and, after the handler that runs, Dispatch; for good.
    void Stop() noexcept;
    bool IsStopped() const noexcept { return stopped_; }

    using ACE_Timer_Heap::expire;
    /// Calls the handlers that are due at now, stopped or not. Returns how many calls that were.
    int expire(const ACE_Time_Value& now) override;

    /// Removes all timers, for good, and calls their handlers' handle_close. Does nothing when the process is
    /// ending: a thread that is no more may hold the lock.
    int close() override;

protected:
    long schedule_i(ACE_Event_Handler* const& handler, const void* act, const ACE_Time_Value& due,
                    const ACE_Time_Value& interval) override;
    void free_node(ACE_Timer_Node_T<ACE_Event_Handler*>* node) override;

private:
    bool ExpireOne(const ACE_Time_Value& now);
    int MillisecondsToNext();
    template <class Call>
    void Guarded(Call call) noexcept;
    void Report(const char* failure) noexcept;

    const CorvaneLogger::detail::ModuleReference module_;  // for the dispatching thread; given back last
    ACE_Timer_Node_T<ACE_Event_Handler*>* zero_;           // has the id 0, outside the heap
    const std::uint32_t serial_;
    std::vector<std::uint64_t> stamps_;  // by id, 0 for a free one; under mutex()
    std::uint64_t lastStamp_;            // under mutex()
    bool waiting_;                       // a timer that comes first must wake the thread; under mutex()
    ACE_Auto_Event wake_;
    std::atomic<bool> stopped_;
    bool closed_;  // under mutex()
    CorvaneLogger::ALogger& log_;
    CorvaneLogger::LogNoiseReducer noise_;
};

}  // namespace WindowsAgentCommon::detail
