// sender-host TYPE HOST PORT FRAMING: sends the lines of its standard input through a sender of the
// connections module, loaded as the agent does. Ends with the number of those that were not sent.

#include "WindowsAgentCommon/IConnectionFactory.h"

#include <ace/Dynamic_Service.h>
#include <ace/Init_ACE.h>
#include <ace/Service_Config.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include <windows.h>

namespace {

using namespace WindowsAgentCommon;

int run(char** arguments) {
    ACE_Service_Config::process_directive(
        L"dynamic ConnectionFactory_Dynamic_Service Service_Object * "
        L"AgentConnections:_make_ConnectionFactory() \"\"");
    auto* const factory =
        ACE_Dynamic_Service<IConnectionFactory>::instance(L"ConnectionFactory_Dynamic_Service");
    if (!factory) return 100;
    factory->Initialize(EnvironmentBlock());
    EnvironmentBlock settings;
    const char* const names[] = {"Type", "TargetAddress", "TargetPort", "Framing"};
    for (int i = 0; i < 4; ++i) settings.SetStringValue(names[i], arguments[i]);
    settings.SetIntegerValue("MaxPayloadSize", 8000);
    std::shared_ptr<ISender> sender;
    if (!factory->CreateSender("test", settings, sender) || sender->Open() != 0) return 101;
    std::uint64_t count = 0, sent = 0;
    for (std::string line; std::getline(std::cin, line); ++count) {
        while (sender->GetQueuedBytes() > 500'000) ::SwitchToThread();
        sender->Send(line.data(), line.size());
    }
    sender->Close(30'000);
    EnvironmentBlock status;
    sender->GetStatus(status);
    status.GetIntegerValue("Sent", sent, 0);
    factory->Shutdown();
    return count - sent > 99 ? 99 : static_cast<int>(count - sent);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 5) return 102;
    ACE::init();
    const int result = run(arguments + 1);
    ACE::fini();
    return result;
}
