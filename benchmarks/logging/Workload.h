#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <process.h>
#include <windows.h>

namespace WindowsAgentCommon::bench {

/// What the logging benchmark's two programs have in common, the product's and that of its peers, which needs
/// another compiler. Each is called as
///     PROGRAM WORKLOAD FILE ROUNDS CALLS
/// makes CALLS calls in every round, appends one line per enabled call to the new file FILE (ANSI), and
/// prints for each round its time in nanoseconds divided by CALLS. Exit code 2: the program has no such
/// workload. benchmarks/logging-benchmark starts both in turns and checks the files.

/// The message of every call. The arguments of LogLines keep their widths, so all lines are equally long.
constexpr char kFormat[] = "Event %d from channel %s took %d ms, queue depth %d";

/// The category, as it stands in the line.
constexpr char kCategory[] = "Code.Benchmark";

struct Run {
    const char* file;
    int rounds;
    int calls;
};

/// A workload makes itself known by being a variable of namespace scope; Main runs the one that is asked for.
class Workload {
public:
    using Function = void (*)(const Run&);
    Workload(const char* name, Function function) : name_(name), function_(function), next_(first_) {
        first_ = this;
    }

    static int Main(int argc, char** argv) {
        if (argc != 5) return 1;
        for (const Workload* workload = first_; workload != nullptr; workload = workload->next_) {
            if (std::strcmp(workload->name_, argv[1]) != 0) continue;
            workload->function_(Run{argv[2], std::atoi(argv[3]), std::atoi(argv[4])});
            return 0;
        }
        return 2;
    }

private:
    const char* name_;
    Function function_;
    const Workload* next_;
    static inline const Workload* first_ = nullptr;
};

/// Times round(calls) as often as the run asks for. A round includes writing out what it left in buffers.
template <class Round>
void TimeRounds(const Run& run, Round round) {
    LARGE_INTEGER frequency, begin, end;
    ::QueryPerformanceFrequency(&frequency);
    for (int i = 0; i < run.rounds; ++i) {
        ::QueryPerformanceCounter(&begin);
        round(run.calls);
        ::QueryPerformanceCounter(&end);
        std::printf("%.3f\n", static_cast<double>(end.QuadPart - begin.QuadPart) * 1e9 /
                                  static_cast<double>(frequency.QuadPart) / run.calls);
    }
}

/// Calls log(event, channel, milliseconds, depth) as often as calls says, with arguments that the compiler
/// knows nothing about, and a barrier after each call.
template <class Log>
void LogLines(int calls, Log log) {
    for (int i = 0; i < calls; ++i) {
        const char* channel = "Security";
        int event = 4000 + (i & 511), milliseconds = 10 + (i & 63), depth = 100 + (i & 511);
        asm volatile("" : "+g"(event), "+g"(channel), "+g"(milliseconds), "+g"(depth));
        log(event, channel, milliseconds, depth);
        asm volatile("" ::: "memory");
    }
}

/// The same with one set of arguments for all calls, so that hardly anything beside the call is timed.
template <class Log>
void RepeatLine(int calls, Log log) {
    const char* channel = "Security";
    int event = 4000, milliseconds = 10, depth = 100;
    asm volatile("" : "+g"(event), "+g"(channel), "+g"(milliseconds), "+g"(depth));
    for (int i = 0; i < calls; ++i) {
        log(event, channel, milliseconds, depth);
        asm volatile("" ::: "memory");
    }
}

template <class Work>
unsigned __stdcall ThreadBody(void* work) {
    (*static_cast<Work*>(work))();
    return 0;
}

/// Runs work() in two threads at once and waits for both.
template <class Work>
void InTwoThreads(Work work) {
    HANDLE threads[2];
    for (HANDLE& thread : threads) {
        thread = reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, ThreadBody<Work>, &work, 0, nullptr));
        if (thread == nullptr) std::abort();
    }
    ::WaitForMultipleObjects(2, threads, TRUE, INFINITE);
    for (const HANDLE thread : threads) ::CloseHandle(thread);
}

}  // namespace WindowsAgentCommon::bench
