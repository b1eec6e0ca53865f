// Saves a record over and over, and tells each number that is on the disk, until it is killed.
//   persistence-host FOLDER

#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/ServiceFactories.h"

#include <ace/Service_Object.h>

#include <cstdio>
#include <memory>

using namespace WindowsAgentCommon;

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::unique_ptr<ACE_Service_Object> service(_make_PersistenceManager(nullptr));
    auto* const manager = dynamic_cast<IPersistenceManager*>(service.get());
    EnvironmentBlock settings, block;
    settings.SetStringValue("BasePath", argv[1]);
    manager->Initialize(settings);
    std::shared_ptr<IPersistentRecord> record;
    if (manager->OpenRecord("record", record) != 0) return 3;
    for (int number = 1;; ++number) {
        block.SetArrayValue("value", std::vector<std::string>(500, std::to_string(number)));
        if (record->Save(block) != 0 || (number % 3 != 0 && manager->Flush() != 0)) return 4;
        if (number % 3 == 0) continue;
        std::printf("%d\n", number);
        std::fflush(stdout);
    }
}
