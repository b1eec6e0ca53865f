// SimpleEPS::Add beside the least that counting with a time could cost, alone and with other threads.

#include "WindowsAgentCommon/SimpleEPS.h"
#include "benchmarks/Benchmark.h"

#include <ctime>
#include <deque>
#include <functional>

#include "tests/support/Thread.h"

using namespace WindowsAgentCommon;

namespace {

constexpr int kThreads = 4;
constexpr int kRate = 100'000;  // calls of a thread in a second

std::int64_t Now() {
    LARGE_INTEGER count;
    ::QueryPerformanceCounter(&count);
    return count.QuadPart;
}

double NanosecondsPerCount() {
    LARGE_INTEGER frequency;
    ::QueryPerformanceFrequency(&frequency);
    return 1e9 / static_cast<double>(frequency.QuadPart);
}

/// What Add does, by the same clock, under a critical section.
class GuardedCount {
public:
    GuardedCount() { ::InitializeCriticalSection(&lock_); }
    GuardedCount(const GuardedCount&) = delete;
    GuardedCount& operator=(const GuardedCount&) = delete;
    ~GuardedCount() { ::DeleteCriticalSection(&lock_); }

    void Add(unsigned long events) {
        ::EnterCriticalSection(&lock_);
        events_ += events;
        peakEvents_ += events;
        const DWORD passed = ::GetTickCount() - last_;
        if (passed >= 1000) {
            const DWORD seconds = passed / 1000;
            peak_ = std::max(peak_, peakEvents_ / static_cast<double>(seconds));
            peakEvents_ = 0;
            last_ += passed;
        }
        ::LeaveCriticalSection(&lock_);
    }

private:
    CRITICAL_SECTION lock_;
    unsigned long events_ = 0, peakEvents_ = 0;
    double peak_ = 0;
    DWORD last_ = ::GetTickCount();
};

/// The length of each of a thread's calls, in counts, of which so many come in a second: what is due is made
/// up for at once, as a queue's reader does.
std::vector<std::int64_t> Calls(int calls, const std::function<void()>& call) {
    std::vector<std::int64_t> lengths;
    lengths.reserve(static_cast<std::size_t>(calls));
    const double countsPerCall = 1e9 / kRate / NanosecondsPerCount();
    const std::int64_t begin = Now();
    while (static_cast<int>(lengths.size()) < calls) {
        const auto due = static_cast<int>(static_cast<double>(Now() - begin) / countsPerCall);
        while (static_cast<int>(lengths.size()) < std::min(due, calls)) {
            const std::int64_t before = Now();
            call();
            lengths.push_back(Now() - before);
        }
        ::Sleep(1);
    }
    return lengths;
}

void Distribution(const char* name, int seconds, const std::function<void()>& call) {
    std::vector<std::vector<std::int64_t>> parts(kThreads);
    {
        std::deque<test::Thread> threads;
        for (auto& part : parts)
            threads.emplace_back([&part, &call, seconds] { part = Calls(seconds * kRate, call); });
    }
    std::vector<std::int64_t> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    std::sort(all.begin(), all.end());
    std::printf("%-28s", name);
    for (const double percent : {50.0, 99.0, 99.9, 99.99, 100.0}) {
        const auto at = static_cast<std::size_t>(static_cast<double>(all.size() - 1) * percent / 100);
        std::printf(" %12.0f", static_cast<double>(all[at]) * NanosecondsPerCount());
    }
    const auto slept = std::count_if(all.begin(), all.end(), [](std::int64_t length) {
        return static_cast<double>(length) * NanosecondsPerCount() >= 0.9e9;
    });
    std::printf(" %8d\n", static_cast<int>(slept));
}

}  // namespace

int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    SimpleEPS stat("Channel1");
    GuardedCount guarded;
    volatile long count = 0;
    volatile std::time_t time = 0;
    const auto least = [&] {
        ::InterlockedIncrement(&count);
        time = std::time(nullptr);
    };
    volatile DWORD ticks = 0;
    const auto sameClock = [&] {
        ::InterlockedIncrement(&count);
        ticks = ::GetTickCount();
    };
    const auto add = [&] { stat.Add(1); };
    comparison.Run("Add, one thread", "increment and time()", 2000, add, least);
    comparison.Run("Add, one thread", "increment and tick count", 2000, add, sameClock);
    comparison.Run("Add, one thread", "critical section", 2000, add, [&] { guarded.Add(1); });

    const int seconds = comparison.IsBrief() ? 1 : 10;
    std::printf(
        "\n%d threads, %d calls a second each, %d seconds: ns per call, with some 2 clock readings\n%-28s",
        kThreads, kRate, seconds, "");
    for (const char* heading : {"median", "99%", "99.9%", "99.99%", "longest"}) std::printf(" %12s", heading);
    std::printf(" %8s\n", "1 s naps");
    Distribution("increment and time()", seconds, least);
    Distribution("increment and tick count", seconds, sameClock);
    Distribution("critical section", seconds, [&] { guarded.Add(1); });
    Distribution("Add", seconds, add);
}
