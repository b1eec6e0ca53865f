#include "agent/host/Takeover.h"

#include "WindowsAgentCommon/IDeviceService.h"
#include "agent/host/ComponentFactory.h"
#include "agent/host/ConfigurationCheck.h"

#include <algorithm>

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

using Services = std::vector<ServiceConfig>;

Services::const_iterator find(const Services& services, const std::string& name) {
    return std::find_if(services.begin(), services.end(),
                        [&](const ServiceConfig& service) { return service.text1 == name; });
}

/// Starts a collector as wanted or, when that fails, as it was before (null: it was not).
void start(ComponentFactory& factory, const ServiceConfig& wanted, const ServiceConfig* before,
           Services& inForce, Takeover& takeover) {
    const std::string& name = wanted.text1;
    const ComponentFactoryResultCode result = factory.Add(wanted);
    if (result == kComponentFactorySuccess) {
        inForce.push_back(wanted);
        takeover.done += " " + name;
        return;
    }
    if (result == kComponentFactoryNotAComponent) {
        takeover.restart += " " + name;
    } else {
        takeover.refused += " " + name + ": " + factory.GetFailure() + ";";
    }
    if (!before) return;
    inForce.push_back(*before);
    if (factory.Add(*before) != kComponentFactorySuccess) {
        takeover.again = true;
        takeover.refused += " " + name + " as it was: " + factory.GetFailure() + ";";
    }
}

}  // namespace

Takeover TakeOverCollectors(ComponentFactory& factory, Services& inForce, const Services& wanted) {
    Takeover takeover;
    const Services before = inForce;
    Services going;
    std::vector<std::string> names;
    for (const ServiceConfig& old : before) {
        const auto now = find(wanted, old.text1);
        IServiceComponent* const component =
            factory.GetComponent(old.text1);  // null: it could not start again
        if (component && now != wanted.end() && SameService(*now, old)) continue;
        if (component && !dynamic_cast<IDeviceService*>(component)) {
            takeover.restart += " " + old.text1;
            continue;
        }
        going.push_back(old);
        names.push_back(old.text1);
    }
    factory.BeginStop(names);
    for (const ServiceConfig& old : going) {
        const auto now = find(wanted, old.text1);
        factory.RemoveComponent(old.text1);
        inForce.erase(find(inForce, old.text1));
        if (now != wanted.end()) {
            start(factory, *now, &old, inForce, takeover);
        } else {
            takeover.done += " " + old.text1;
        }
    }
    for (const ServiceConfig& service : wanted)
        if (find(before, service.text1) == before.end()) start(factory, service, nullptr, inForce, takeover);
    return takeover;
}

}  // namespace CorvaneAgent
