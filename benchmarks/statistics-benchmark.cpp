// The regression beside the least that each of its operations must do.

#include "WindowsAgentCommon/LinearRegressionAlgo.h"
#include "benchmarks/Benchmark.h"

#include <cstddef>

using namespace WindowsAgentCommon;

namespace {

constexpr std::size_t kSamples = 64;

/// What the peers work on: the lock and the containers without the class around them.
struct Bare {
    Bare() { ::InitializeCriticalSection(&lock); }
    ~Bare() { ::DeleteCriticalSection(&lock); }

    void Push(double x, double y) {
        ::EnterCriticalSection(&lock);
        xs.push_back(x);
        ys.push_back(y);
        ::LeaveCriticalSection(&lock);
    }

    CRITICAL_SECTION lock;
    boost::circular_buffer<double> xs{kSamples}, ys{kSamples};
};

/// The plain two-pass loop over two arrays.
double Slope(const double* xs, const double* ys, std::size_t count) {
    double sumX = 0, sumY = 0;
    for (std::size_t i = 0; i < count; ++i) {
        sumX += xs[i];
        sumY += ys[i];
    }
    const double meanX = sumX / static_cast<double>(count), meanY = sumY / static_cast<double>(count);
    double sxy = 0, sxx = 0;
    for (std::size_t i = 0; i < count; ++i) {
        sxy += (ys[i] - meanY) * (xs[i] - meanX);
        sxx += (xs[i] - meanX) * (xs[i] - meanX);
    }
    return sxy / sxx;
}

void CompareRegression(bench::Comparison& comparison) {
    LinearRegressionAlgo regression(kSamples);
    Bare bare;
    double xs[kSamples], ys[kSamples];
    double x = 1.7e9;
    for (std::size_t i = 0; i < kSamples; ++i) {
        regression.AddSample(xs[i] = x += 5, ys[i] = static_cast<double>(i * i));
        bare.Push(x, ys[i]);
    }
    volatile double result = 0;
    volatile bool held = true;

    comparison.Run(
        "AddSample", "lock + 2 push_back", 20000, [&] { regression.AddSample(x += 5, 1); },
        [&] { bare.Push(x += 5, 1); });
    // A fit needs a change: both sides add a sample, the peer to its rings, and the loop runs over arrays.
    comparison.Run(
        "AddSample + Compute, 64 samples", "the same + two passes", 2000,
        [&] {
            regression.AddSample(x += 5, 1);
            result = regression.Compute().first;
        },
        [&] {
            bare.Push(x += 5, 1);
            result = Slope(xs, ys, kSamples);
        });
    // The same against the loop alone, all of the lock and the adding counted as ours.
    comparison.Run(
        "AddSample + Compute, 64 samples", "two passes", 2000,
        [&] {
            regression.AddSample(x += 5, 1);
            result = regression.Compute().first;
        },
        [&] { result = Slope(xs, ys, kSamples); });
    comparison.Run(
        "Compute, cached", "lock", 20000, [&] { result = regression.Compute().first; },
        [&] {
            ::EnterCriticalSection(&bare.lock);
            held = false;
            ::LeaveCriticalSection(&bare.lock);
        });
}

}  // namespace

int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    try {
        CompareRegression(comparison);
    } catch (...) {
        std::puts("out of memory");
        return 1;
    }
}
