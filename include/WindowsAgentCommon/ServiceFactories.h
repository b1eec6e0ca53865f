#pragma once

#include <ace/Service_Types.h>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// \file
/// The creation functions of the library's own services, which the service configurator calls for a directive
/// such as
///
///     dynamic DiskManager_Dynamic_Service Service_Object * CorvaneCommon:_make_DiskManager() ""
///
/// Each makes a component that is neither configured nor initialised, and gives the function that destroys it
/// through exterminator where that is not null. Null when memory is lacking or the component cannot be made;
/// nothing is thrown. The component's parameter text is not looked at: settings come with Initialize.

extern "C" {

CORVANE_API ACE_Service_Object* _make_DiskManager(ACE_Service_Object_Exterminator* exterminator);
CORVANE_API ACE_Service_Object* _make_PayloadFactory(ACE_Service_Object_Exterminator* exterminator);
CORVANE_API ACE_Service_Object* _make_PersistenceManager(ACE_Service_Object_Exterminator* exterminator);
CORVANE_API ACE_Service_Object* _make_RegistryCache(ACE_Service_Object_Exterminator* exterminator);
CORVANE_API ACE_Service_Object* _make_UNCMachineNameFactory(ACE_Service_Object_Exterminator* exterminator);

}  // extern "C"

}  // namespace WindowsAgentCommon
