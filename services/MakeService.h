#pragma once

#include <ace/Service_Object.h>
#include <ace/Service_Types.h>

#include <memory>

namespace WindowsAgentCommon::detail {

/// The body of every creation function: nothing that a component's constructor throws may reach the service
/// configurator.
template <class Component>
ACE_Service_Object* MakeService(ACE_Service_Object_Exterminator* exterminator) noexcept {
    try {
        auto component = std::make_unique<Component>();
        if (exterminator) {
            *exterminator = [](void* object) { delete static_cast<ACE_Service_Object*>(object); };
        }
        return component.release();
    } catch (...) {
        return nullptr;  // the configurator reports the directive as failed
    }
}

}  // namespace WindowsAgentCommon::detail
