#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include <windows.h>

namespace WindowsAgentCommon::bench {

/// Measures work beside a peer that does the same, in alternating rounds of one run, and prints the median
/// and 99th-percentile time per operation of both and the ratio of the medians. Times mean something only
/// beside each other: the build and whether Wine runs it stand in the heading.
class Comparison {
public:
    /// With "--brief" among the arguments every measurement is a few short rounds: it shows that the
    /// benchmark runs, nothing more.
    Comparison(int argc, char** argv) {
        for (int i = 1; i < argc; ++i) brief_ = brief_ || std::strcmp(argv[i], "--brief") == 0;
        const HMODULE ntdll = ::GetModuleHandleW(L"ntdll");
        const bool wine = ntdll != nullptr && ::GetProcAddress(ntdll, "wine_get_version") != nullptr;
        std::printf("GCC %s, %s, on %s%s\n", __VERSION__,
#ifdef __OPTIMIZE__
                    "optimised",
#else
                    "not optimised",
#endif
                    wine ? "Wine" : "Windows", brief_ ? ", brief: no figure means anything" : "");
        std::printf("%-34s %10s %10s   %-22s %10s %10s %7s\n", "ns per operation", "median", "p99", "peer",
                    "median", "p99", "ratio");
    }

    bool IsBrief() const { return brief_; }

    /// ours, peer: callables that do one operation. operations: how many make one timed round. fullRounds:
    /// how many rounds there are when they are not brief. tidy: called after each round, not timed.
    template <class Ours, class Peer, class Tidy = void (*)()>
    void Run(
        const char* name, const char* peerName, int operations, Ours ours, Peer peer, int fullRounds = 201,
        Tidy tidy = [] {}) {
        const int rounds = brief_ ? 3 : fullRounds;
        if (brief_) operations = std::max(1, operations / 100);
        std::vector<double> ourTimes, peerTimes;
        for (int round = 0; round < rounds; ++round) {
            ourTimes.push_back(Time(operations, ours));
            tidy();
            peerTimes.push_back(Time(operations, peer));
            tidy();
        }
        const double ourMedian = Percentile(ourTimes, 50), peerMedian = Percentile(peerTimes, 50);
        std::printf("%-34s %10.1f %10.1f   %-22s %10.1f %10.1f %7.2f\n", name, ourMedian,
                    Percentile(ourTimes, 99), peerName, peerMedian, Percentile(peerTimes, 99),
                    ourMedian / peerMedian);
    }

private:
    template <class Work>
    static double Time(int operations, Work& work) {
        LARGE_INTEGER frequency, begin, end;
        ::QueryPerformanceFrequency(&frequency);
        ::QueryPerformanceCounter(&begin);
        for (int i = 0; i < operations; ++i) work();
        ::QueryPerformanceCounter(&end);
        return static_cast<double>(end.QuadPart - begin.QuadPart) * 1e9 /
               static_cast<double>(frequency.QuadPart) / operations;
    }

    static double Percentile(std::vector<double> times, std::size_t percent) {
        std::sort(times.begin(), times.end());
        return times[(times.size() - 1) * percent / 100];
    }

    bool brief_ = false;
};

}  // namespace WindowsAgentCommon::bench
