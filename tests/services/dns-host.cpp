// Prints for the machine name that is its argument what the factory's object says: "local|remote ORIGINAL
// MACHINE", and before that what was logged.

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/IUNCMachineNameFactory.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "WindowsAgentCommon/UNCMachineName.h"

#include <ace/Service_Object.h>

#include <cstdio>

using namespace WindowsAgentCommon;

int main(int argc, char** argv) {
    CorvaneLogger::CV_Logger::SetGlobalLevel(CorvaneLogger::kLevelDebug, "test");
    const std::unique_ptr<ACE_Service_Object> service(_make_UNCMachineNameFactory(nullptr));
    auto* const factory = dynamic_cast<IUNCMachineNameFactory*>(service.get());
    if (!factory || argc != 2) return 1;
    factory->Initialize(EnvironmentBlock());
    std::shared_ptr<UNCMachineName> machine;
    factory->GetUNCMachineName(argv[1], machine);
    const std::string name = machine->GetMachineName();  // logs, before anything is printed
    return std::printf("%s %s %s\n", machine->IsRemote() ? "remote" : "local",
                       machine->GetOriginalMachineName().c_str(), name.c_str()) < 0;
}
