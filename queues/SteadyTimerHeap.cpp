#include "queues/SteadyTimerHeap.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/KORException.h"
#include "foundation/Clock.h"
#include "logging/ProcessEnd.h"
#include "queues/AceTime.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <exception>
#include <new>

namespace WindowsAgentCommon::detail {
namespace {

using Guard = ACE_Guard<ACE_SYNCH_RECURSIVE_MUTEX>;

constexpr std::int64_t kLongest = 30 * std::int64_t{366 * 24 * 3600} * kTicksPerSecond;
constexpr int kLongestWait = 60'000;  // ms; bounds what a wait that the system stretches costs (sleep)

// ACE's seconds have 32 bits, so the heap's times do not begin in 1601 or 1970.
std::int64_t Origin() noexcept {
    static const std::int64_t origin = SteadyTicks();
    return origin;
}

ACE_Time_Value Now() { return AceTime(SteadyTicks() - Origin()); }

std::uint32_t NextSerial() noexcept {
    static std::atomic<std::uint32_t> last{0};
    return ++last;
}

/// One that is not counted may be gone as soon as it is called or has no timer any more.
bool IsCounted(ACE_Event_Handler& handler) {
    return handler.reference_counting_policy().value() ==
           ACE_Event_Handler::Reference_Counting_Policy::ENABLED;
}

}  // namespace

SteadyTimerHeap::SteadyTimerHeap()
    : ACE_Timer_Heap(nullptr, nullptr, ACE_FPointer_Time_Policy(&Now)),
      zero_(nullptr),
      serial_(NextSerial()),
      lastStamp_(0),
      waiting_(false),
      stopped_(false),
      closed_(false),
      log_(CorvaneLogger::CV_Logger::Logger("Code.Scheduler")) {
    // ACE gives ids in turn, 0 when it has come round. A node that is neither in the heap nor freed keeps its
    // id for good.
    for (int i = 0; i <= ACE_DEFAULT_TIMERS && zero_ == nullptr; ++i) {
        if (ACE_Timer_Heap::schedule_i(nullptr, nullptr, ACE_Time_Value::zero, ACE_Time_Value::zero) == -1)
            throw std::bad_alloc();
        auto* const node = remove_first();
        if (node->get_timer_id() == 0)
            zero_ = node;
        else
            free_node(node);
    }
}

SteadyTimerHeap::~SteadyTimerHeap() {
    close();
    if (zero_ != nullptr) free_node(zero_);
}

// --- timers ---

SteadyTimerHeap::Timer SteadyTimerHeap::Add(ACE_Event_Handler* handler, const void* act, std::int64_t now,
                                            std::int64_t wait, const ACE_Time_Value& interval) {
    const std::int64_t at = now + std::clamp<std::int64_t>(wait, 0, kLongest) - Origin();
    const std::int64_t every = std::clamp<std::int64_t>(Ticks(interval), 0, kLongest);
    const Guard guard(mutex());
    if (closed_) throw KORException(__FILE__, __FUNCTION__, __LINE__, "The scheduler has ended");
    // Rounded up: not before the steady time has come.
    const long id = schedule(handler, act, AceTime(at + kTicksPerMicrosecond - 1), AceTime(every));
    if (id == -1) throw std::bad_alloc();
    return {id, stamps_[static_cast<std::size_t>(id)]};
}

ACE_Event_Handler_var SteadyTimerHeap::Remove(const Timer& timer, ACE_Event_Handler* handler) noexcept {
    const Guard guard(mutex());
    const auto id = static_cast<std::size_t>(timer.id);
    if (timer.id <= 0 || id >= stamps_.size() || stamps_[id] != timer.stamp) return ACE_Event_Handler_var();
    if (IsCounted(*handler))
        handler->add_reference();
    else
        handler = nullptr;
    cancel(timer.id);
    return ACE_Event_Handler_var(handler);
}

long SteadyTimerHeap::schedule_i(ACE_Event_Handler* const& handler, const void* act,
                                 const ACE_Time_Value& due, const ACE_Time_Value& interval) {
    const long id = ACE_Timer_Heap::schedule_i(handler, act, due, interval);
    if (id == -1) return id;
    const auto index = static_cast<std::size_t>(id);
    try {
        if (index >= stamps_.size()) stamps_.resize(index + 1);
    } catch (const std::bad_alloc&) {
        handler->add_reference();  // which cancelling takes away
        cancel(id);
        return -1;
    }
    stamps_[index] = ++lastStamp_;
    if (waiting_ && get_first()->get_timer_id() == id) {
        waiting_ = false;
        wake_.signal();
    }
    return id;
}

void SteadyTimerHeap::free_node(ACE_Timer_Node_T<ACE_Event_Handler*>* node) {
    const auto index = static_cast<std::size_t>(node->get_timer_id());
    if (index < stamps_.size()) stamps_[index] = 0;
    ACE_Timer_Heap::free_node(node);
}

// --- dispatching ---

int SteadyTimerHeap::MillisecondsToNext() {
    if (is_empty()) return kLongestWait;
    const std::int64_t wait = Ticks(earliest_time() - Now());
    if (wait <= 0) return 0;
    const std::int64_t milliseconds = (wait + kTicksPerMillisecond - 1) / kTicksPerMillisecond;
    return static_cast<int>(std::min<std::int64_t>(milliseconds, kLongestWait));
}

void SteadyTimerHeap::Wait() {
    int milliseconds = 0;
    {
        const Guard guard(mutex());
        milliseconds = MillisecondsToNext();
        waiting_ = milliseconds > 0;
    }
    if (milliseconds == 0) return;
    ACE_Time_Value pause = AceTime(milliseconds * kTicksPerMillisecond);
    wake_.wait(&pause, 0);  // not until a time of day: the clock may be set meanwhile
}

void SteadyTimerHeap::Dispatch() {
    const ACE_Time_Value now = Now();
    while (!stopped_ && ExpireOne(now)) {
    }
}

void SteadyTimerHeap::Stop() noexcept {
    stopped_ = true;
    wake_.signal();
}

int SteadyTimerHeap::expire(const ACE_Time_Value& now) {
    int calls = 0;
    while (ExpireOne(now)) ++calls;
    return calls;
}

bool SteadyTimerHeap::ExpireOne(const ACE_Time_Value& now) {
    ACE_Timer_Node_Dispatch_Info_T<ACE_Event_Handler*> due;
    {
        const Guard guard(mutex());
        if (dispatch_info_i(now, due) == 0) return false;
        // Under the lock: a counted handler may lose its timer, and its last reference, right afterwards.
        // The reference of a timer that fires once is the call's from here on.
        if (due.recurring_timer_) due.type_->add_reference();
    }
    ACE_Event_Handler* const handler = due.type_;
    const bool counted = IsCounted(*handler);
    Guarded([&] {
        if (handler->handle_timeout(AceTime(SystemTicks() - kTicksTo1970), due.act_) != -1) return;
        cancel(handler);
        handler->handle_close(ACE_INVALID_HANDLE, ACE_Event_Handler::TIMER_MASK);
    });
    if (counted) Guarded([&] { handler->remove_reference(); });
    return true;
}

int SteadyTimerHeap::close() {
    if (CorvaneLogger::detail::ProcessIsEnding()) return 0;
    for (;;) {
        ACE_Event_Handler* handler = nullptr;
        {
            const Guard guard(mutex());
            closed_ = true;  // a handler that schedules when it is closed would be closed without end
            auto* const node = remove_first();
            if (node == nullptr) return 0;
            handler = node->get_type();
            free_node(node);
        }
        Guarded([&] { upcall_functor().deletion(*this, handler, nullptr); });
    }
}

template <class Call>
void SteadyTimerHeap::Guarded(Call call) noexcept {
    try {
        call();
    } catch (const std::exception& failure) {
        Report(failure.what());
    } catch (...) {
        Report("unknown exception");
    }
}

// The reducer's one call site.
void SteadyTimerHeap::Report(const char* failure) noexcept {
    log_.Error(noise_, "A timer's handler failed: %s", failure);
}

}  // namespace WindowsAgentCommon::detail
