// What the module exports: the creation functions of its services.

#include "agent/road/DestinationManager.h"
#include "agent/road/PayloadRouter.h"

#include <ace/Service_Types.h>

#include <exception>

namespace {

void destroy(void* object) {
    const std::unique_ptr<ACE_Service_Object> owner(static_cast<ACE_Service_Object*>(object));
}

template <class Component>
ACE_Service_Object* make(ACE_Service_Object_Exterminator* exterminator) noexcept {
    try {
        auto component = std::make_unique<Component>();
        if (exterminator) *exterminator = destroy;
        return component.release();
    } catch (const std::exception&) {
        return nullptr;  // the service configurator reports it
    }
}

}  // namespace

extern "C" {

__declspec(dllexport) ACE_Service_Object* _make_PayloadRouter(ACE_Service_Object_Exterminator* exterminator) {
    return make<CorvaneAgent::PayloadRouter>(exterminator);
}

__declspec(dllexport)
    ACE_Service_Object* _make_DestinationManager(ACE_Service_Object_Exterminator* exterminator) {
    return make<CorvaneAgent::DestinationManager>(exterminator);
}

}  // extern "C"
