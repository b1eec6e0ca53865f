#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/Scheduler.h"

#include "queues/AceTime.h"
#include "tests/queues/TimerHandler.h"
#include "tests/support/FakeClock.h"
#include "tests/support/LogLines.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

using namespace WindowsAgentCommon;

namespace {

using Handle = std::shared_ptr<ScheduleInfo>;
using test::TimerHandler;

/// So many seconds from now, as a time of day.
ACE_Time_Value At(int second) {
    return detail::AceTime(detail::SystemTicks() - detail::kTicksTo1970) + ACE_Time_Value(second);
}

ACE_Time_Value Ms(long ms) { return ACE_Time_Value(ms / 1000, ms % 1000 * 1000); }

void Stop(Scheduler& scheduler) {
    scheduler.deactivate();
    scheduler.wait();
}

/// A scheduler whose thread has ended: timers fire when the test says.
struct SchedulerTime : testing::Test {
    SchedulerTime() { Stop(scheduler_); }

    /// Lets time pass and calls what is due. Returns how many calls that were.
    int Pass(int milliseconds) { return Pass(milliseconds, scheduler_); }
    int Pass(int milliseconds, Scheduler& scheduler) {
        clock_.AdvanceMilliseconds(milliseconds);
        return scheduler.timer_queue()->expire();
    }

    test::FakeClock clock_;
    TimerHandler handler_;
    Scheduler scheduler_;
};

TEST_F(SchedulerTime, GoesOnSteadilyWhenTheClockIsSetAndMakesUpForNothing) {
    for (const int set : {-3600, 86400}) {
        SCOPED_TRACE(set);
        Handle handle = scheduler_.Schedule(&handler_, nullptr, Ms(10'000));
        EXPECT_EQ(1, Pass(0));
        clock_.SetBySeconds(set);
        // How long passes, and the calls there are then; 30 s are due at once.
        for (const auto& [milliseconds, calls] :
             {std::pair(9999, 0), std::pair(1, 1), std::pair(29'000, 1), std::pair(999, 0), std::pair(1, 1)})
            EXPECT_EQ(calls, Pass(milliseconds)) << milliseconds;
        EXPECT_EQ(At(0), handler_.calls_.back()) << "time of day";
        scheduler_.Cancel(handle);
    }
}

TEST_F(SchedulerTime, JitterSpreadsOnlyFirstExpiriesThatAreNotGiven) {
    Scheduler jittering(500, 1500);
    Stop(jittering);
    std::set<ACE_Time_Value> expiries;
    for (int i = 0; i < 200; ++i)
        expiries.insert(jittering.Schedule(&handler_, nullptr, Ms(60'000))->GetNextExpiry());
    EXPECT_GT(expiries.size(), 100u);
    jittering.Schedule(&handler_, nullptr, Ms(60'000), At(5));
    for (const auto& [milliseconds, calls] : {std::pair(499, 0), std::pair(1001, 200), std::pair(3500, 1)})
        EXPECT_EQ(calls, Pass(milliseconds, jittering)) << milliseconds;
}

TEST_F(SchedulerTime, ResetIntervalKeepsAnExpiryAheadAndReplacesOneThatHasPassed) {
    // Seconds: what passes, what the clock is set by; then, by the system's clock and by the steady one
    const std::tuple<int, int, int, int> rows[] = {
        {10, 0, 13, 13}, {4, 86400, 10, 10}, {11, -3600, -3586, 14}};
    int act = 0;
    for (const auto& [pass, set, nextExpiry, firstCall] : rows) {
        SCOPED_TRACE(pass);
        const ACE_Time_Value start = At(0);
        Handle handle = scheduler_.Schedule(&handler_, &act, Ms(5000), At(10));
        clock_.AdvanceSeconds(pass);
        clock_.SetBySeconds(set);
        scheduler_.ResetInterval(handle, Ms(3000));
        EXPECT_EQ(start + ACE_Time_Value(nextExpiry), handle->GetNextExpiry());
        EXPECT_EQ(0, Pass((firstCall - pass) * 1000 - 1));
        EXPECT_EQ(1, Pass(1));
        EXPECT_EQ(1, Pass(3000));
        scheduler_.Cancel(handle);
    }
    EXPECT_EQ(&act, handler_.act_);
    EXPECT_EQ(0, handler_.closed_);
}

TEST_F(SchedulerTime, IdsAreNeverZeroAndHandlesNeverMeanAnotherTimer) {
    Scheduler other;
    Stop(other);
    Handle ended = scheduler_.Schedule(&handler_, nullptr, Ms(0)), empty;
    Handle unset = std::make_shared<ScheduleInfo>(), others = other.Schedule(&handler_, nullptr, Ms(1000));
    EXPECT_EQ(1, Pass(0));
    EXPECT_TRUE(scheduler_.IsValid(ended));
    for (int i = 0; i < 500; ++i) {
        Handle kept = scheduler_.Schedule(&handler_, nullptr, Ms(1000), At(1));
        Handle brief = scheduler_.Schedule(&handler_, nullptr, Ms(1000), At(1));
        EXPECT_TRUE(kept->GetTimerId() != 0 && brief->GetTimerId() != 0);
        for (int twice = 0; twice < 2; ++twice) scheduler_.Cancel(brief);
        EXPECT_FALSE(scheduler_.IsValid(brief));
    }
    EXPECT_EQ(0, handler_.releases_) << "one that is not counted may be gone by then";
    for (Handle* foreign : {&others, &empty, &unset}) {
        scheduler_.Cancel(*foreign);
        EXPECT_THROW(scheduler_.ResetInterval(*foreign, Ms(1)), ObjectDoesNotExistException);
        EXPECT_EQ(foreign == &others, scheduler_.IsValid(*foreign));
    }
    EXPECT_THROW(scheduler_.Schedule(nullptr, nullptr, Ms(1)), ObjectDoesNotExistException);
    scheduler_.Cancel(ended);
    scheduler_.ResetInterval(ended, Ms(500));  // scheduled anew
    EXPECT_EQ(501, Pass(1000));
    EXPECT_EQ(1, Pass(0, other));
}

TEST_F(SchedulerTime, AnyTimesAtAllAreTaken) {
    const ACE_Time_Value ends[] = {ACE_Time_Value::max_time, ACE_Time_Value(-0x7fffffff),
                                   ACE_Time_Value(0, 1), ACE_Time_Value(0, -1)};
    for (const ACE_Time_Value& interval : ends)
        for (const ACE_Time_Value& first : ends) {
            Handle handle = scheduler_.Schedule(&handler_, nullptr, interval, first);
            Pass(1);
            scheduler_.ResetInterval(handle, interval);
        }
    for (int i = 0; i < 100; ++i) Pass(1000);
    EXPECT_EQ(3, Pass(1000)) << "the intervals of one microsecond";
}

TEST_F(SchedulerTime, HandlersMayThrowGiveUpOrChangeTimersFromWithin) {
    std::vector<Handle> handles(4);
    const test::LogLines lines("Code.Scheduler");
    TimerHandler throws([]() -> int { throw std::runtime_error("meant"); });
    TimerHandler odd([]() -> int { throw 7; });
    TimerHandler givesUp([] { return -1; });
    givesUp.onClose_ = [&] {
        scheduler_.Cancel(handles[0]);  // an ended timer's
        throw std::runtime_error("meant too");
        return 0;
    };
    TimerHandler cancels([&] { return scheduler_.Cancel(handles[1]), 0; });
    TimerHandler resets([&] { return scheduler_.ResetInterval(handles[2], Ms(2000)), 0; });
    TimerHandler adds([&] { return handles[3] = scheduler_.Schedule(&handler_, nullptr, Ms(1000)), 0; });
    handles[0] = scheduler_.Schedule(&givesUp, nullptr, Ms(1000));
    handles[1] = scheduler_.Schedule(&cancels, nullptr, Ms(1000));
    handles[2] = scheduler_.Schedule(&resets, nullptr, Ms(1000));
    scheduler_.Schedule(&adds, nullptr, Ms(0));
    scheduler_.Schedule(&givesUp, nullptr, Ms(1000), At(1));
    for (TimerHandler* thrower : {&throws, &odd}) scheduler_.Schedule(thrower, nullptr, Ms(1000));
    Pass(0);
    EXPECT_FALSE(scheduler_.IsValid(handles[0]) || scheduler_.IsValid(handles[1]));
    for (int i = 0; i < 4; ++i) Pass(1000);
    const std::pair<TimerHandler*, std::size_t> rows[] = {
        {&throws, 5}, {&odd, 5}, {&givesUp, 1}, {&cancels, 1}, {&resets, 3}, {&handler_, 5}, {&adds, 1}};
    for (const auto& row : rows) EXPECT_EQ(row.second, row.first->calls_.size()) << &row - rows;
    EXPECT_EQ(1, givesUp.closed_);
    scheduler_.timer_queue()->close();  // before the handlers are gone
    EXPECT_EQ(lines.text.find("100 "), lines.text.rfind("100 ")) << "whoever repeats it: " << lines.text;
}

TEST_F(SchedulerTime, TimersHoldCountedHandlersAndTheEndClosesThem) {
    std::weak_ptr<int> alive[4];
    TimerHandler closed;
    {
        Scheduler scheduler;
        Stop(scheduler);
        Handle handles[4];
        closed.onClose_ = [&] {  // the limit is the test's own
            if (closed.closed_ < 5) scheduler.Schedule(&closed, nullptr, Ms(1000));
            return 0;
        };
        for (int i = 0; i < 4; ++i) {
            auto life = std::make_shared<int>();
            alive[i] = life;
            auto handler = std::make_unique<TimerHandler>([&, i, life] {
                if (i == 1) scheduler.Cancel(handles[1]);  // its last reference but that of the call
                return i == 2 ? -1 : 0;
            });
            handler->Count();
            handles[i] = scheduler.Schedule(handler.get(), nullptr, i == 3 ? Ms(0) : Ms(1000));
            handler.release()->remove_reference();
        }
        scheduler.Schedule(&closed, nullptr, Ms(1000), At(9));
        scheduler.ResetInterval(handles[0], Ms(500));
        Pass(0, scheduler);
        EXPECT_FALSE(alive[0].expired());
        EXPECT_TRUE(alive[1].expired() && alive[2].expired() && alive[3].expired());
    }
    EXPECT_TRUE(alive[0].expired());
    EXPECT_EQ(1, closed.closed_);
    EXPECT_EQ(100, clock_.SleptMilliseconds());
}

}  // namespace
