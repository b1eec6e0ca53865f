// Four threads use the services for a while; handles and memory must not grow meanwhile.
//   services-soak SECONDS
// Exit code: 0 flat, 1 something grew or failed, 2 wrong use.

#include "WindowsAgentCommon/IDiskManager.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/IPayloadProfile.h"
#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "WindowsAgentCommon/SyslogPayloadBuilder.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "tests/support/TempFolder.h"
#include "tests/support/TestFactory.h"
#include "tests/support/Thread.h"

#include <windows.h>

#include <psapi.h>
#include <winternl.h>

namespace {

using namespace WindowsAgentCommon;

std::atomic<bool> stop{false};
std::atomic<long> failures{0}, rounds{0};

void Check(bool holds, const char* what) {
    if (!holds && ++failures <= 10) std::printf("failed: %s\n", what);
}

template <class Interface>
Interface* Service() {
    return dynamic_cast<Interface*>(_getService(Interface::GetServiceName()));
}

/// Of the process. Wine's GetProcessHandleCount knows nothing; the system's list of handles does, everywhere.
unsigned long Handles() {
    struct Entry {
        unsigned long owner;
        unsigned char type, flags;
        unsigned short value;
        void* object;
        unsigned long access;
    };
    constexpr auto kSystemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
    std::vector<unsigned long> list(1 << 16);
    while (::NtQuerySystemInformation(kSystemHandleInformation, list.data(),
                                      static_cast<ULONG>(list.size()) * sizeof list[0], nullptr) < 0)
        list.resize(list.size() * 2);
    const auto* const entries = reinterpret_cast<const Entry*>(&list[1]);
    unsigned long count = 0;
    for (unsigned long i = 0; i < list[0]; ++i) count += entries[i].owner == ::GetCurrentProcessId() ? 1 : 0;
    return count;
}

unsigned long Memory() {
    PROCESS_MEMORY_COUNTERS counters = {};
    ::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<unsigned long>(counters.PagefileUsage / 1024);
}

void Persist(const std::string& name, int round) {
    auto* const manager = Service<IPersistenceManager>();
    std::shared_ptr<IPersistentRecord> record;
    Check(manager && manager->OpenRecord(name, record) == 0, "opening a record");
    EnvironmentBlock block, loaded;
    block.SetIntegerValue("round", round);
    Check(record->Save(block) == 0 && record->Load(loaded) == 0, "a record");
    Check(block.Entries() == loaded.Entries(), "a record's content");
    if (round % 50 == 0) Check(manager->Flush() == 0, "flushing");
    if (round % 70 == 0) Check(record->Remove() == 0, "removing a record");
}

void Reserve() {
    auto* const manager = Service<IDiskManager>();
    const bool reserved = manager && manager->ReserveSpace(1, 1000);
    Check(reserved, "reserving");
    if (reserved) manager->ReleaseSpace(1, 1000);
}

/// One event, from fields to line, and once more from the blocks of a chain.
void Render(IPayloadBuilder& builder, int round) {
    auto* const factory = Service<IPayloadFactory>();
    std::shared_ptr<IPayloadProfile> profile;
    std::shared_ptr<IPayload> payload, received;
    factory->CreatePayloadProfile(profile);
    factory->CreatePayload(payload);
    profile->AddField("SyslogHeader", kPayloadText);
    profile->AddField("event", kPayloadInteger64);
    profile->AddField("message", kPayloadText | kPayloadDeferred);
    profile->AddField("user", kPayloadWideText);
    const std::string message(static_cast<std::size_t>(round % 5000), 'm');
    const bool added = payload->AddField(*profile, "SyslogHeader", std::string("<13>host ")) &&
                       payload->AddField(*profile, "message", message) &&
                       payload->AddField(*profile, "event", std::int64_t{round}) &&
                       payload->AddField(*profile, "user", std::wstring(L"me"));
    Check(added && !payload->AddField(*profile, "unknown", true), "filling a payload");
    const std::string expected = "<13>host event=" + std::to_string(round) + "\tuser=me\tmessage=" + message;
    std::string line;
    builder.BuildPayloadString(*payload->Clone(), line);
    Check(line == expected, "a payload's line");
    Check(factory->ReadPayload(payload->GetMessageBlock(), received), "reading a payload");
    builder.BuildPayloadString(*received, line);
    Check(line == expected, "the line of a payload that was read");
}

void Work(int thread) {
    const auto builder = std::make_unique<SyslogPayloadBuilder>();
    std::shared_ptr<IPayloadBuilder> made;
    for (int round = 1; !stop; ++round, ++rounds) {
        Check(!_getService("NoSuchService"), "an unknown service");
        Persist("record " + std::to_string(thread * 10 + round % 10), round);
        Reserve();
        if (round % 100 == 1)
            Check(Service<IPayloadFactory>()->CreatePayloadBuilder("SyslogPayloadBuilder", made),
                  "a builder");
        Render(*builder, round);
        Render(*made, round);
    }
}

/// Makes a service, initialises it and puts it under the factory's names.
template <class Interface>
std::unique_ptr<ACE_Service_Object> Start(IComponentFactory& factory, const EnvironmentBlock& settings,
                                          ACE_Service_Object* made) {
    std::unique_ptr<ACE_Service_Object> service(made);
    auto* const component = dynamic_cast<Interface*>(made);
    component->Initialize(settings);
    factory.RegisterComponent(Interface::GetServiceName(), component);
    component->Start();
    return service;
}

/// Whether handles and memory stay within what the first fifth of the time took.
bool Watch(int seconds) {
    ::Sleep(static_cast<DWORD>(seconds) * 200);
    const unsigned long handles = Handles(), memory = Memory();
    ::Sleep(static_cast<DWORD>(seconds) * 800);
    const unsigned long handlesNow = Handles(), memoryNow = Memory();
    std::printf("%ld rounds, handles %lu -> %lu, memory %lu -> %lu KB\n", rounds.load(), handles, handlesNow,
                memory, memoryNow);
    return handlesNow <= handles + 8 && memoryNow <= memory + 2048 && handles > 0 && memory > 0;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what is thrown ends the soak
int main(int argc, char** argv) {
    const int seconds = argc == 2 ? std::atoi(argv[1]) : 0;
    if (seconds <= 0) return 2;
    const test::TempFolder folder;
    auto* const factory = new test::TestFactory;
    const test::RegisteredFactory registered(factory);  // owns it
    EnvironmentBlock records, disk;
    records.SetStringValue("BasePath", folder.Narrow("records"));
    disk.SetStringValue("BasePath", folder.Narrow("disk"));
    const std::unique_ptr<ACE_Service_Object> services[] = {
        Start<IPersistenceManager>(*factory, records, _make_PersistenceManager(nullptr)),
        Start<IPayloadFactory>(*factory, {}, _make_PayloadFactory(nullptr)),
        Start<IDiskManager>(*factory, disk, _make_DiskManager(nullptr))};

    bool flat = false;
    {
        std::vector<std::unique_ptr<test::Thread>> threads;
        for (int i = 0; i < 4; ++i) threads.push_back(std::make_unique<test::Thread>([i] { Work(i); }));
        flat = Watch(seconds);
        stop = true;
    }
    for (const auto& service : services) service->fini();
    return flat && failures == 0 ? 0 : 1;
}
