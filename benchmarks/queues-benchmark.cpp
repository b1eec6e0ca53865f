// The scheduler beside ACE's timer adapter, the message queue beside ACE's.

#include "WindowsAgentCommon/AceRuntime.h"
#include "WindowsAgentCommon/KORMessageQueue.h"
#include "WindowsAgentCommon/KORTask.h"
#include "WindowsAgentCommon/Scheduler.h"
#include "benchmarks/Benchmark.h"

#include <ace/Message_Block.h>
#include <ace/OS_NS_sys_time.h>
#include <ace/Timer_Queue_Adapters.h>

#include <algorithm>
#include <memory>
#include <vector>

using namespace WindowsAgentCommon;

namespace {

using Adapter = ACE_Thread_Timer_Queue_Adapter<ACE_Timer_Heap>;

constexpr std::size_t kTimers = 10000;
const ACE_Time_Value kHour(3600);

// Notes how late its timers come, each of which fires once a second, one every millisecond.
class Lateness : public ACE_Event_Handler {
public:
    int handle_timeout(const ACE_Time_Value&, const void* act) override {
        const ACE_Time_Value late = ACE_OS::gettimeofday() - *static_cast<const ACE_Time_Value*>(act);
        late_.push_back(static_cast<double>(late.usec()));  // without the seconds between first and this
        return 0;
    }

    void Print(const char* name) {
        std::sort(late_.begin(), late_.end());
        if (late_.empty()) return;
        std::printf("%-34s %10.0f %10.0f %10.0f %10.0f\n", name, late_.front(), late_[late_.size() / 2],
                    late_[late_.size() * 99 / 100], late_.back());
    }

private:
    std::vector<double> late_;
};

// First expiries that come in no order, 1 to 2 hours ahead.
std::vector<ACE_Time_Value> Expiries() {
    std::vector<ACE_Time_Value> expiries;
    RandomInteger seconds(0, 3600);
    for (std::size_t i = 0; i < kTimers; ++i)
        expiries.push_back(ACE_OS::gettimeofday() + kHour + ACE_Time_Value(seconds.Next()));
    return expiries;
}

// 10,000 timers of ACE's adapter. Its thread runs in the rounds of its own only: every call wakes it, and
// what it has to catch up with then must not burden the other's rounds.
class PeerTimers {
public:
    PeerTimers(const std::vector<ACE_Time_Value>& expiries, bool threaded)
        : expiries_(expiries), threaded_(threaded) {
        for (const ACE_Time_Value& expiry : expiries)
            ids_.push_back(adapter_.schedule(&handler_, nullptr, expiry, kHour));
    }

    void Replace() {
        if (at_ == 0 && threaded_) adapter_.activate();
        adapter_.cancel(ids_[at_]);
        ids_[at_] = adapter_.schedule(&handler_, nullptr, expiries_[at_], kHour);
        at_ = (at_ + 1) % kTimers;
        if (at_ == 0) Stop();
    }
    void Stop() {
        adapter_.deactivate();
        adapter_.wait();
    }

private:
    const std::vector<ACE_Time_Value>& expiries_;
    const bool threaded_;
    Lateness handler_;
    Adapter adapter_;
    std::vector<long> ids_;
    std::size_t at_ = 0;
};

void CompareTimers(bench::Comparison& comparison, const char* peerName, bool threaded) {
    Lateness handler;
    const std::vector<ACE_Time_Value> expiries = Expiries();
    Scheduler scheduler;
    std::vector<std::shared_ptr<ScheduleInfo>> handles;
    for (const ACE_Time_Value& expiry : expiries)
        handles.push_back(scheduler.Schedule(&handler, nullptr, kHour, expiry));
    PeerTimers peer(expiries, threaded);
    std::size_t at = 0;
    comparison.Run(
        "Cancel and schedule 1 of 10,000", peerName, static_cast<int>(kTimers),
        [&] {
            scheduler.Cancel(handles[at]);
            handles[at] = scheduler.Schedule(&handler, nullptr, kHour, expiries[at]);
            at = (at + 1) % kTimers;
        },
        [&] { peer.Replace(); });
    peer.Stop();
}

template <class Schedule>
void ScheduleThousand(std::vector<ACE_Time_Value>& expiries, Schedule schedule) {
    const ACE_Time_Value begin = ACE_OS::gettimeofday() + ACE_Time_Value(0, 100'000);
    for (int i = 0; i < 1000; ++i) expiries.push_back(begin + ACE_Time_Value(0, i * 1000));
    for (const ACE_Time_Value& expiry : expiries) schedule(expiry);
}

void MeasureLateness(bool brief) {
    std::printf("%-34s %10s %10s %10s %10s\n", "us late, 1,000 timers a second", "earliest", "median", "p99",
                "worst");
    const ACE_Time_Value second(1);
    const DWORD run = brief ? 300 : 10'000;
    {
        Lateness late;
        std::vector<ACE_Time_Value> expiries;
        expiries.reserve(1000);
        Scheduler scheduler;
        ScheduleThousand(expiries, [&](const ACE_Time_Value& expiry) {
            scheduler.Schedule(&late, const_cast<ACE_Time_Value*>(&expiry), second, expiry);
        });
        ::Sleep(run);
        scheduler.deactivate();
        scheduler.wait();
        late.Print("Scheduler");
    }
    Lateness late;
    std::vector<ACE_Time_Value> expiries;
    expiries.reserve(1000);
    Adapter adapter;
    adapter.activate();
    ScheduleThousand(expiries,
                     [&](const ACE_Time_Value& expiry) { adapter.schedule(&late, &expiry, expiry, second); });
    ::Sleep(run);
    adapter.deactivate();
    adapter.wait();
    late.Print("ACE's timer adapter");
}

// Takes blocks out of a queue until it is deactivated.
class Consumer : public KORTask {
public:
    explicit Consumer(ACE_Message_Queue<ACE_MT_SYNCH>& queue) : queue_(queue) { activate(); }
    ~Consumer() override {
        queue_.deactivate();
        wait();
    }
    int svc() override {
        for (ACE_Message_Block* block = nullptr; queue_.dequeue_head(block) != -1;) block->release();
        return 0;
    }

private:
    ACE_Message_Queue<ACE_MT_SYNCH>& queue_;
};

void CompareQueues(bench::Comparison& comparison) {
    const auto put = [](ACE_Message_Queue<ACE_MT_SYNCH>& queue) {
        auto block = std::make_unique<ACE_Message_Block>(std::size_t{64});
        if (queue.enqueue_tail(block.get()) != -1) static_cast<void>(block.release());
    };
    KORMessageQueue ours;
    ACE_Message_Queue<ACE_MT_SYNCH> peer;
    Consumer ourConsumer(ours), peerConsumer(peer);
    comparison.Run(
        "Put 64 bytes, another thread takes", "ACE_Message_Queue", 5000, [&] { put(ours); },
        [&] { put(peer); });
}

}  // namespace

int main(int argc, char** argv) {
    EnsureAceInitialized();
    bench::Comparison comparison(argc, argv);
    CompareTimers(comparison, "ACE's adapter", true);
    CompareTimers(comparison, "the same, no thread", false);
    CompareQueues(comparison);
    MeasureLateness(argc > 1);
}
