#pragma once

#include "logging/LogCaught.h"

#include <ace/Service_Object.h>
#include <ace/Service_Types.h>

#include <memory>
#include <string>

namespace WindowsAgentCommon::detail {

/// The body of every creation function: nothing that a component's constructor throws may reach the service
/// configurator.
template <class Component>
ACE_Service_Object* MakeService(ACE_Service_Object_Exterminator* exterminator) noexcept {
    std::string name;
    try {
        name = Component::GetServiceName();
        auto component = std::make_unique<Component>();
        if (exterminator) {
            *exterminator = [](void* object) { delete static_cast<ACE_Service_Object*>(object); };
        }
        return component.release();
    } catch (...) {
        // The configurator only reports the directive as failed.
        CorvaneLogger::detail::LogCaught("Code.ComponentFactory", "Unable to make service", name);
        return nullptr;
    }
}

}  // namespace WindowsAgentCommon::detail
