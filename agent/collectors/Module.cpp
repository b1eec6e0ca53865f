#include "agent/collectors/EventLogCollector.h"
#include "agent/collectors/EventXmlCollector.h"
#include "agent/collectors/TextFileCollector.h"
#include "agent/sdk/MakeService.h"

// What the service configurator calls.

extern "C" {

__declspec(dllexport) ACE_Service_Object* _make_EventXmlCollector(ACE_Service_Object_Exterminator* e) {
    return CorvaneAgent::MakeService<CorvaneAgent::EventXmlCollector>(e);
}

__declspec(dllexport) ACE_Service_Object* _make_TextFileCollector(ACE_Service_Object_Exterminator* e) {
    return CorvaneAgent::MakeService<CorvaneAgent::TextFileCollector>(e);
}

__declspec(dllexport) ACE_Service_Object* _make_EventLogCollector(ACE_Service_Object_Exterminator* e) {
    return CorvaneAgent::MakeService<CorvaneAgent::EventLogCollector>(e);
}

}  // extern "C"
