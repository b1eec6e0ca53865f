#include "agent/sdk/ServiceRegistration.h"

#include "WindowsAgentCommon/KORException.h"

#include <ace/DLL.h>
#include <ace/Service_Config.h>
#include <ace/Service_Gestalt.h>
#include <ace/Service_Object.h>
#include <ace/Service_Repository.h>
#include <ace/Service_Types.h>

#include <memory>

namespace CorvaneAgent {

ServiceRegistration::ServiceRegistration(const wchar_t* name, ACE_Service_Object& service) : name_(name) {
    // Without flags and exterminator, so that the repository deletes its own records and not the service.
    auto implementation = std::make_unique<ACE_Service_Object_Type>(&service, name);
    auto record = std::make_unique<ACE_Service_Type>(name, implementation.release(), ACE_DLL(), true);
    if (ACE_Service_Config::current()->current_service_repository()->insert(record.get()) != 0) {
        throw WindowsAgentCommon::InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                                          "The service configurator takes no more services");
    }
    static_cast<void>(record.release());  // the repository's
}

ServiceRegistration::~ServiceRegistration() { ACE_Service_Config::remove(name_); }

}  // namespace CorvaneAgent
