// Finding a service beside the bare look-up that it is made of.

#include "benchmarks/Benchmark.h"
#include "tests/support/TestFactory.h"

#include "WindowsAgentCommon/ServiceFactories.h"

#include <ace/Dynamic_Service.h>

#include <memory>

using namespace WindowsAgentCommon;

int main(int argc, char** argv) {
    const std::unique_ptr<ACE_Service_Object> service(_make_PersistenceManager(nullptr));
    auto* const component = dynamic_cast<IServiceComponent*>(service.get());
    auto* const factory = new test::TestFactory;
    const test::RegisteredFactory registered(factory);  // owns it
    const std::string name = "PersistenceManager";
    for (const char* other : {"DiskManager", "PayloadFactory", "RegistryCache", "UNCMachineNameFactory"})
        factory->RegisterComponent(other, nullptr);
    factory->RegisterComponent(name, component);

    bench::Comparison comparison(argc, argv);
    IServiceComponent *ours = nullptr, *peers = nullptr;
    comparison.Run(
        "_getService", "repository, cast, factory", 20'000, [&] { ours = _getService(name); },
        [&] {
            peers =
                ACE_Dynamic_Service<IComponentFactory>::instance(L"ComponentFactory_Dynamic_Service", true)
                    ->GetComponent(name);
        });
    return ours == component && peers == component ? 0 : 1;
}
