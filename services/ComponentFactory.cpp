#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/IComponentFactory.h"
#include "logging/LogCaught.h"

#include <ace/Dynamic_Service.h>

namespace WindowsAgentCommon {

namespace {

constexpr char kCategory[] = "Code.ComponentFactory";

CorvaneLogger::ALogger& logger() { return CorvaneLogger::CV_Logger::Logger(kCategory); }

}  // namespace

IComponentFactory* GetComponentFactory() {
    const bool withoutParents = true;
    return ACE_Dynamic_Service<IComponentFactory>::instance(L"ComponentFactory_Dynamic_Service",
                                                            withoutParents);
}

// By value, which is part of the interface.
IServiceComponent* _getService(std::string name) {  // NOLINT(performance-unnecessary-value-param)
    try {
        IComponentFactory* const factory = GetComponentFactory();
        if (!factory) {
            logger().Error("Unable to get component factory");
            return nullptr;
        }
        IServiceComponent* const component = factory->GetComponent(name);
        if (!component) logger().Debug("Unable to get service %s", name.c_str());
        return component;
    } catch (...) {
        // Whatever a factory or a lack of memory may throw: a look-up never throws.
        CorvaneLogger::detail::LogCaught(kCategory, "Unable to get service", name);
        return nullptr;
    }
}

}  // namespace WindowsAgentCommon
