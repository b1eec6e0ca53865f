#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/ServiceFactories.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/support/LogLines.h"
#include "tests/support/TestFactory.h"

namespace WindowsAgentCommon {
namespace {

struct ThrowingFactory : test::TestFactory {
    IServiceComponent* GetComponent(const std::string&) override { throw "no std::exception"; }
};

TEST(ServiceLookup, FindsWhatTheRegisteredFactoryKnowsAndLogsEachFailureOnce) {
    test::LogLines lines;
    CorvaneLogger::CV_Logger::Logger("Code.ComponentFactory").Reset(&lines.base);
    const std::unique_ptr<ACE_Service_Object> service(_make_PersistenceManager(nullptr));
    auto* const component = dynamic_cast<IServiceComponent*>(service.get());
    const std::string noFactory = "100 Unable to get component factory\n";
    const struct {
        const char* what;
        ACE_Service_Object* factory;
        const char* name;
        bool found;
        std::string log;
    } rows[] = {
        {"nothing registered", nullptr, "PayloadFactory", false, noFactory},
        {"no factory", new ACE_Service_Object, "PayloadFactory", false, noFactory},
        {"unknown service", new test::TestFactory, "Foo", false, "400 Unable to get service Foo\n"},
        {"known service", new test::TestFactory, "Known", true, ""},
        {"a factory that throws", new ThrowingFactory, "Known", false,
         "100 Unable to get service Known: unknown exception\n"},
        {"nothing kept of it", nullptr, "Known", false, noFactory},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::unique_ptr<test::RegisteredFactory> registered;
        if (row.factory) registered = std::make_unique<test::RegisteredFactory>(row.factory);
        auto* const factory = dynamic_cast<test::TestFactory*>(row.factory);
        if (factory) factory->RegisterComponent("Known", component);
        EXPECT_EQ(factory, GetComponentFactory());
        for (int twice = 0; twice < 2; ++twice) {
            lines.text.clear();
            EXPECT_EQ(row.found ? component : nullptr, _getService(row.name));
            EXPECT_EQ(row.log, lines.text);
        }
    }
    EXPECT_LT(static_cast<void*>(service.get()), static_cast<void*>(component)) << "the ACE part comes first";
    EXPECT_EQ("PayloadFactory", IPayloadFactory::GetServiceName());
    CorvaneLogger::CV_Logger::TheLogger().FixBaseLoggers();
}

TEST(ComponentFactoryHook, OverridesOnlyWhatItNeeds) {
    struct Hook : IComponentFactoryHook {
        std::string GetHookName() const override { return "hook"; }
        void OnModuleInitialized(const std::string& name) override { seen = name; }
        std::string seen;
    } hook;
    IComponentFactoryHook& used = hook;
    used.OnFactoryInitializationStart();
    used.OnStaticConfigurationInitialized("a");
    used.OnModuleInitialized("b");
    used.OnComponentInitializeSuccess("c");
    used.OnComponentInitializeFail("d");
    used.OnComponentInitializeDefer("e");
    used.OnComponentInitializeBadDependency("f");
    used.OnFactoryInitializationEnd(kComponentFactorySuccess);
    used.OnBeforeComponentShutdown("g");
    used.OnAfterComponentShutdown("h", kComponentFactoryShutdownFailed);
    used.OnFactoryShutdownStarting();
    used.OnFactoryShutdownComplete();
    EXPECT_EQ("b", hook.seen);
}

}  // namespace
}  // namespace WindowsAgentCommon
