#include "WindowsAgentCommon/AceRuntime.h"

#include <ace/Init_ACE.h>
#include <ace/Task.h>
#include <gtest/gtest.h>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

class CountingTask : public ACE_Task_Base {
public:
    int svc() override {
        ::InterlockedIncrement(&runs_);
        return 0;
    }

    // How many of the task's threads ran.
    LONG Run(int threads) {
        return activate(THR_NEW_LWP | THR_JOINABLE, threads) == 0 && wait() == 0 ? runs_ : -1;
    }

private:
    volatile LONG runs_ = 0;
};

// start: an event, so that all threads begin together.
DWORD WINAPI InitializeAndRunTask(void* start) {
    ::WaitForSingleObject(start, INFINITE);
    EnsureAceInitialized();
    return static_cast<DWORD>(CountingTask().Run(1));
}

TEST(AceRuntime, TasksRunInAHostThatForgotAceEvenWhenThreadsRaceToStartIt) {
    const HANDLE start = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE threads[8];
    for (HANDLE& thread : threads)
        thread = ::CreateThread(nullptr, 0, &InitializeAndRunTask, start, 0, nullptr);
    ::SetEvent(start);
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForMultipleObjects(8, threads, TRUE, INFINITE));
    for (const HANDLE thread : threads) {
        DWORD runs = 77;
        EXPECT_TRUE(::GetExitCodeThread(thread, &runs));
        EXPECT_EQ(1u, runs);
        ::CloseHandle(thread);
    }
    ::CloseHandle(start);
    EXPECT_EQ(0, ACE::fini()) << "the threads started it more than once";
}

TEST(AceRuntime, StartsAgainAfterAnEndButNeverOnTopOfTheHostsStart) {
    for (const bool isHostFirst : {true, true, false}) {
        SCOPED_TRACE(isHostFirst);
        EXPECT_TRUE(!isHostFirst || ACE::init() != -1);
        EnsureAceInitialized();
        EXPECT_EQ(3, CountingTask().Run(3));
        EXPECT_EQ(0, ACE::fini()) << "ended nothing: it was started twice";
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
