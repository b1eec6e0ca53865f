#include "WindowsAgentCommon/ServiceFactories.h"
#include "tests/support/FakeComponentFactory.h"
#include "tests/support/LogLines.h"

#include <gtest/gtest.h>

#include <memory>

using namespace WindowsAgentCommon;

namespace {

struct ThrowingFactory : test::FakeComponentFactory {
    IServiceComponent* GetComponent(const std::string&) override { throw "no std::exception"; }
};

TEST(ServiceLookup, FindsWhatTheRegisteredFactoryKnowsAndLogsEachFailureOnce) {
    test::LogLines lines("Code.ComponentFactory");
    const std::unique_ptr<ACE_Service_Object> service(_make_PersistenceManager(nullptr));
    auto* const component = dynamic_cast<IServiceComponent*>(service.get());
    EXPECT_LT(static_cast<void*>(service.get()), static_cast<void*>(component)) << "the ACE part comes first";
    const auto expect = [&](const IComponentFactory* factory, bool finds, const std::string& log) {
        EXPECT_EQ(factory, GetComponentFactory());
        for (int twice = 0; twice < 2; ++twice) {
            lines.text.clear();
            EXPECT_EQ(finds ? component : nullptr, _getService("Known"));
            EXPECT_EQ(log, lines.text);
        }
    };
    const std::string noFactory = "100 Unable to get component factory\n";
    expect(nullptr, false, noFactory);
    {
        ACE_Service_Object other;
        const test::RegisteredFactory registered(&other);
        expect(nullptr, false, noFactory);
    }
    {
        test::FakeComponentFactory factory;
        expect(&factory, false, "400 Unable to get service Known\n");
        factory.components["Known"] = component;
        expect(&factory, true, "");
    }
    {
        const ThrowingFactory factory;
        expect(&factory, false, "100 Unable to get service Known: unknown exception\n");
    }
    expect(nullptr, false, noFactory);
}

}  // namespace
