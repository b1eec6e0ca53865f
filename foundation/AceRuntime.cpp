#include "WindowsAgentCommon/AceRuntime.h"

#include "WindowsAgentCommon/KORException.h"

#include <ace/Guard_T.h>
#include <ace/Init_ACE.h>
#include <ace/Object_Manager.h>
#include <ace/Thread_Mutex.h>

namespace WindowsAgentCommon {

void EnsureAceInitialized() {
    static ACE_Thread_Mutex mutex;  // needs no runtime itself
    const ACE_Guard<ACE_Thread_Mutex> guard(mutex);
    // ACE counts init calls: one on top of the host's would turn the host's ACE::fini() into nothing.
    if (ACE_Object_Manager::starting_up() && ACE::init() == -1)
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__, "The ACE runtime cannot be started");
}

}  // namespace WindowsAgentCommon
