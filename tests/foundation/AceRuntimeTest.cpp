#include "WindowsAgentCommon/AceRuntime.h"

#include <ace/Init_ACE.h>
#include <ace/Task.h>
#include <gtest/gtest.h>

#include <atomic>

#include "tests/support/Thread.h"

namespace WindowsAgentCommon {
namespace {

class CountingTask : public ACE_Task_Base {
public:
    int svc() override { return ++runs_, 0; }

    // How many of the task's threads ran.
    int Run(int threads) {
        return activate(THR_NEW_LWP | THR_JOINABLE, threads) == 0 && wait() == 0 ? runs_.load() : -1;
    }

private:
    std::atomic<int> runs_{0};
};

TEST(AceRuntime, TasksRunInAHostThatForgotAceEvenWhenThreadsRaceToStartIt) {
    std::atomic<int> waiting{8}, runs{0};
    {
        const auto work = [&] {
            for (--waiting; waiting > 0;) ::SwitchToThread();
            EnsureAceInitialized();
            runs += CountingTask().Run(1);
        };
        const test::Thread threads[] = {test::Thread(work), test::Thread(work), test::Thread(work),
                                        test::Thread(work), test::Thread(work), test::Thread(work),
                                        test::Thread(work), test::Thread(work)};
    }
    EXPECT_EQ(8, runs);
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
