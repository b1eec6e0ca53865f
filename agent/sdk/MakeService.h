#pragma once

#include <ace/Service_Object.h>
#include <ace/Service_Types.h>

#include <memory>

namespace CorvaneAgent {

/// The body of a module's creation function, which nothing may leave by an exception:
///
///     extern "C" __declspec(dllexport) ACE_Service_Object*
///     _make_MyCollector(ACE_Service_Object_Exterminator* e) {
///         return CorvaneAgent::MakeService<MyCollector>(e);
///     }
template <class Component>
ACE_Service_Object* MakeService(ACE_Service_Object_Exterminator* exterminator) noexcept {
    try {
        auto component = std::make_unique<Component>();
        if (exterminator)
            *exterminator = [](void* object) { delete static_cast<ACE_Service_Object*>(object); };
        return component.release();
    } catch (...) {
        return nullptr;  // the service configurator reports the directive as failed
    }
}

}  // namespace CorvaneAgent
