#pragma once

#include "WindowsAgentCommon/IPayloadRouter.h"
#include "WindowsAgentCommon/SyslogPayloadBuilder.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/IDeliveryBarrier.h"
#include "agent/sdk/Handle.h"
#include "tests/agent/Fakes.h"
#include "tests/payload/PayloadServices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace CorvaneAgent::test {

/// What the collector's thread tells the test.
struct Signal {
    void Set() const { ::SetEvent(event.get()); }
    const Handle event{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

/// Renders what it is given; refuses the next `refuse` events, and says false to the next `unsafe` questions.
struct FakeRouter : FakeService<IPayloadRouter>, IDeliveryBarrier {
    void AddRoute(const std::shared_ptr<IEventFilter>&, const std::string&) override {}
    StreamRoutingResult Route(const std::shared_ptr<IPayload>& payload) override {
        if (refuse > 0) {
            --refuse;
            if (onRefuse) onRefuse();
            return static_cast<int>(StreamRoutingResult::kFailure);
        }
        lines.emplace_back();
        builder.BuildPayloadString(*payload, lines.back());
        if (onLine) onLine();
        return StreamRoutingResult::kQueued;
    }
    bool WaitUntilSafe(unsigned int timeoutMs) override {
        longest = std::max(longest, timeoutMs);
        if (onQuestion) onQuestion();
        return unsafe-- <= 0;
    }

    SyslogPayloadBuilder builder;
    std::vector<std::string> lines;
    int refuse = 0, unsafe = 0;
    unsigned int longest = 0;  // of what WaitUntilSafe was given
    std::function<void()> onLine, onRefuse, onQuestion;
};

/// The services that a collector needs, with the library's payload factory. Every look at the clock takes
/// 100 ms, so that a position is kept every few batches.
struct FakeRoad {
    FakeRoad() {
        payload.components.components["PayloadRouter"] = &router;
        payload.components.components["PersistenceManager"] = &persistence;
        ReplaceSteadyClock([]() noexcept { return now += 100; });
    }
    ~FakeRoad() { ReplaceSteadyClock(nullptr); }

    /// Runs a collector until it has finished by itself, or until end. Its status then.
    template <class Collector>
    EnvironmentBlock Run(Collector&& collector, const EnvironmentBlock& settings,
                         const Signal* end = nullptr) {
        collector.Configure(ServiceConfig("test", "", "", ""));
        collector.Initialize(settings);
        collector.Start();
        if (end)
            EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(end->event.get(), 60'000));
        else
            collector.wait();
        EnvironmentBlock status;
        collector.GetStatus(status);
        collector.Shutdown();
        return status;
    }

    static inline std::int64_t now = 0;
    WindowsAgentCommon::test::PayloadServices payload{};
    FakeRouter router;
    FakePersistence persistence;
    FakeRecord& record = *persistence.record;
};

}  // namespace CorvaneAgent::test
