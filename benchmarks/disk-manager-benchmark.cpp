// A reservation and its release beside a bare critical section with the same addition and subtraction.

#include "WindowsAgentCommon/IDiskManager.h"
#include "WindowsAgentCommon/ServiceFactories.h"

#include <ace/Service_Object.h>

#include "benchmarks/Benchmark.h"
#include "tests/support/TempFolder.h"

#include <cstdint>

using namespace WindowsAgentCommon;

namespace {

struct Sum {
    Sum() { ::InitializeCriticalSection(&lock); }
    ~Sum() { ::DeleteCriticalSection(&lock); }

    CRITICAL_SECTION lock;
    std::uint64_t used = 0, capacity = 1'048'576'000;
};

[[gnu::noinline]] bool Add(Sum& sum, std::uint64_t bytes) {
    ::EnterCriticalSection(&sum.lock);
    const bool fits = sum.used + bytes <= sum.capacity;
    if (fits) sum.used += bytes;
    ::LeaveCriticalSection(&sum.lock);
    return fits;
}

[[gnu::noinline]] void Subtract(Sum& sum, std::uint64_t bytes) {
    ::EnterCriticalSection(&sum.lock);
    sum.used = bytes < sum.used ? sum.used - bytes : 0;
    ::LeaveCriticalSection(&sum.lock);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what is thrown ends the benchmark
int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    const test::TempFolder temp;
    ACE_Service_Object_Exterminator exterminator = nullptr;
    ACE_Service_Object* const service = _make_DiskManager(&exterminator);
    auto& manager = dynamic_cast<IDiskManager&>(*service);
    EnvironmentBlock settings;
    settings.SetStringValue("BasePath", temp.Narrow("managed"));
    manager.Initialize(settings);
    Sum sum;
    bool granted = true;
    comparison.Run(
        "ReserveSpace, ReleaseSpace", "critical section, sum", 10'000,
        [&] {
            granted = manager.ReserveSpace(1, 100) && granted;
            manager.ReleaseSpace(1, 100);
        },
        [&] {
            granted = Add(sum, 100) && granted;
            Subtract(sum, 100);
        });
    exterminator(service);
    return granted ? 0 : 1;
}
