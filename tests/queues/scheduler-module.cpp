// A service module that leaves a scheduler to the end of the process, when the system has ended the threads
// already: its own ends while it holds the queue's lock.

#include "WindowsAgentCommon/Scheduler.h"

#include <memory>

#include "tests/queues/TimerHandler.h"

#include <windows.h>

namespace {

using namespace WindowsAgentCommon;

struct Last {
    ACE_Manual_Event runs, never;
    test::TimerHandler handler{[this] {
        scheduler->timer_queue()->mutex().acquire();
        runs.signal();
        return never.wait();
    }};
    std::unique_ptr<Scheduler> scheduler = std::make_unique<Scheduler>();
    std::shared_ptr<ScheduleInfo> timer = scheduler->Schedule(&handler, nullptr, ACE_Time_Value(3600));

    ~Last() {
        scheduler->Cancel(timer);
        scheduler.reset();
        ::TerminateProcess(::GetCurrentProcess(), handler.closed_ == 0 ? 42 : 43);
    }
};

std::unique_ptr<Last> last;

}  // namespace

extern "C" __declspec(dllexport) void StartScheduler() {
    last = std::make_unique<Last>();
    last->runs.wait();
}
