// Finding a service beside the bare look-up that it is made of.

#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/ServiceFactories.h"

#include <ace/Dynamic_Service.h>

#include <memory>

#include "tests/support/FakeComponentFactory.h"

#include "benchmarks/Benchmark.h"

using namespace WindowsAgentCommon;

namespace {

constexpr int kCalls = 20'000;

}  // namespace

int main(int argc, char** argv) {
    const std::unique_ptr<ACE_Service_Object> service(_make_PersistenceManager(nullptr));
    auto* const component = dynamic_cast<IServiceComponent*>(service.get());
    test::FakeComponentFactory factory;
    for (const char* name :
         {"DiskManager", "PayloadFactory", "PersistenceManager", "RegistryCache", "UNCMachineNameFactory"})
        factory.components[name] = component;

    bench::Comparison comparison(argc, argv);
    IServiceComponent *ours = nullptr, *peers = nullptr;
    const auto bare = [&](const std::string& name) {
        auto* const found =
            ACE_Dynamic_Service<IComponentFactory>::instance(L"ComponentFactory_Dynamic_Service", true);
        peers = found->GetComponent(name);
    };
    const std::string shortName = "DiskManager", longName = "PersistenceManager";
    comparison.Run(
        "_getService(GetServiceName())", "repository, cast, factory", kCalls,
        [&] { ours = _getService(IPersistenceManager::GetServiceName()); },
        [&] { bare(IPersistenceManager::GetServiceName()); });
    comparison.Run(
        "_getService of a short name", "repository, cast, factory", kCalls,
        [&] { ours = _getService(shortName); }, [&] { bare(shortName); });
    comparison.Run(  // by value: a long name that the caller keeps is copied to the heap
        "_getService of a kept long name", "repository, cast, factory", kCalls,
        [&] { ours = _getService(longName); }, [&] { bare(longName); });
    return ours == component && peers == component ? 0 : 1;
}
