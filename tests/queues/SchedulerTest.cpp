#include "WindowsAgentCommon/Scheduler.h"

#include "WindowsAgentCommon/KORException.h"
#include "tests/queues/TimerHandler.h"

#include <ace/Auto_Event.h>
#include <ace/OS_NS_sys_time.h>
#include <gtest/gtest.h>

#include <set>

#include <windows.h>

using namespace WindowsAgentCommon;

namespace {

using test::TimerHandler;

const ACE_Time_Value kInterval(0, 1000);

TEST(Scheduler, AnEarlierTimerWakesItAndItsEndButNoCancelWaitsForTheRunningHandler) {
    ACE_Manual_Event runs, goOn;
    DWORD thread = ::GetCurrentThreadId();
    ACE_Auto_Event fired;
    TimerHandler later, once([&] { return fired.signal(); });
    TimerHandler slow([&] {
        if (slow.calls_.size() < 3) return 0;
        runs.signal();
        goOn.wait();
        thread = ::GetCurrentThreadId();
        return 0;
    });
    {
        Scheduler scheduler;
        auto distant =
            scheduler.Schedule(&later, nullptr, kInterval, ACE_OS::gettimeofday() + ACE_Time_Value(3600));
        for (int i = 0; i < 50; ++i) {  // at some of these the thread waits for the distant one
            scheduler.Schedule(&once, nullptr, ACE_Time_Value::zero);
            fired.wait();
        }
        auto handle = scheduler.Schedule(&slow, nullptr, kInterval, ACE_OS::gettimeofday() + kInterval);
        runs.wait();
        scheduler.Cancel(handle);
        scheduler.Cancel(distant);
        EXPECT_EQ(::GetCurrentThreadId(), thread);
        goOn.signal();
    }
    EXPECT_NE(::GetCurrentThreadId(), thread);
    EXPECT_EQ(3u, slow.calls_.size());
    EXPECT_EQ(0u, later.calls_.size() + static_cast<unsigned>(slow.closed_));
}

void EndProcess() {
    const FARPROC start = ::GetProcAddress(::LoadLibraryW(L"scheduler-module.dll"), "StartScheduler");
    reinterpret_cast<void (*)()>(reinterpret_cast<void*>(start))();
    std::exit(7);
}

void DestroyFromWithin() {
    Scheduler* scheduler = nullptr;
    ACE_Manual_Event made, never;
    TimerHandler handler([&] {
        made.wait();
        return std::unique_ptr<Scheduler>(scheduler) ? 0 : -1;
    });
    scheduler = std::make_unique<Scheduler>().release();
    scheduler->Schedule(&handler, nullptr, kInterval);
    made.signal();
    never.wait();
}

TEST(SchedulerDeathTest, TheProcessMayEndBesideItButNoHandlerMayDestroyIt) {
    EXPECT_EXIT(EndProcess(), testing::ExitedWithCode(42), "");
    EXPECT_EXIT(DestroyFromWithin(), testing::ExitedWithCode(3), "terminate");
}

TEST(RandomInteger, DrawsItsWholeRangeAndCopiesShareOneMinimalStandardSequence) {
    constexpr int kModulus = 0x7fffffff;
    RandomInteger first(1, kModulus - 1), second(first);  // the engine's own range: its numbers as they are
    const std::int64_t drawn = first.Next();
    EXPECT_EQ(drawn * 48271 % kModulus, second.Next());
    RandomInteger range(-2, 3);
    std::set<int> numbers;
    for (int i = 0; i < 1000; ++i) numbers.insert(range.Next());
    EXPECT_EQ((std::set<int>{-2, -1, 0, 1, 2, 3}), numbers);
    EXPECT_EQ(5, RandomInteger(5, 5).Next());
    EXPECT_THROW(Scheduler(6, 5), KORException);
}

}  // namespace
