// Four threads use the services; handles and memory must not grow meanwhile. For longer by hand: the
// environment variable SOAK_ROUNDS, of which an idle machine makes some 1,000 a second.

#include "WindowsAgentCommon/IDiskManager.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/IPayloadProfile.h"
#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "WindowsAgentCommon/SyslogPayloadBuilder.h"
#include "tests/support/FakeComponentFactory.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <deque>

#include <windows.h>

#include <psapi.h>
#include <winternl.h>

using namespace WindowsAgentCommon;

namespace {

std::atomic<int> failures{0};  // EXPECT is not for threads that fail side by side

void Check(bool holds) { failures += holds ? 0 : 1; }

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

unsigned long Kilobytes() {
    PROCESS_MEMORY_COUNTERS counters = {};
    ::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<unsigned long>(counters.PagefileUsage / 1024);
}

void Persist(const std::string& name, int round) {
    auto* const manager = dynamic_cast<IPersistenceManager*>(_getService("PersistenceManager"));
    std::shared_ptr<IPersistentRecord> record;
    Check(manager->OpenRecord(name, record) == 0);
    EnvironmentBlock block, loaded;
    block.SetIntegerValue("round", round);
    Check(record->Save(block) == 0 && record->Load(loaded) == 0 && block.Entries() == loaded.Entries());
    Check(round % 50 != 0 || manager->Flush() == 0);
    Check(round % 70 != 0 || record->Remove() == 0);
}

void Reserve() {
    auto* const manager = dynamic_cast<IDiskManager*>(_getService("DiskManager"));
    const bool reserved = manager->ReserveSpace(1, 1000);
    Check(reserved);
    if (reserved) manager->ReleaseSpace(1, 1000);
}

/// One event, from fields to line, and once more from the blocks of a chain.
void Render(int round) {
    auto* const factory = dynamic_cast<IPayloadFactory*>(_getService("PayloadFactory"));
    std::shared_ptr<IPayloadBuilder> builder;
    std::shared_ptr<IPayloadProfile> profile;
    std::shared_ptr<IPayload> payload, received;
    Check(factory->CreatePayloadBuilder("SyslogPayloadBuilder", builder));
    factory->CreatePayloadProfile(profile);
    factory->CreatePayload(payload);
    profile->AddField("SyslogHeader", kPayloadText);
    profile->AddField("event", kPayloadInteger64);
    profile->AddField("user", kPayloadWideText);
    profile->AddField("message", kPayloadText | kPayloadDeferred);
    const std::string message(static_cast<std::size_t>(round % 500), 'm');
    Check(payload->AddField(*profile, "SyslogHeader", std::string("<13>host ")));
    Check(payload->AddField(*profile, "message", message));
    Check(payload->AddField(*profile, "event", std::int64_t{round}));
    Check(payload->AddField(*profile, "user", std::wstring(L"m\u00E9")));
    Check(factory->ReadPayload(payload->Clone()->GetMessageBlock(), received));
    for (const auto& each : {payload, received}) {
        std::string line;
        builder->BuildPayloadString(*each, line);
        Check(line == "<13>host event=" + std::to_string(round) + "\tuser=m\xC3\xA9\tmessage=" + message);
    }
}

TEST(Services, HandlesAndMemoryStayFlatUnderFourThreads) {
    const test::TempFolder folder;
    const std::unique_ptr<ACE_Service_Object> persistence(_make_PersistenceManager(nullptr)),
        payloads(_make_PayloadFactory(nullptr)), disk(_make_DiskManager(nullptr));
    test::FakeComponentFactory factory;
    factory.components = {{"PersistenceManager", dynamic_cast<IServiceComponent*>(persistence.get())},
                          {"PayloadFactory", dynamic_cast<IServiceComponent*>(payloads.get())},
                          {"DiskManager", dynamic_cast<IServiceComponent*>(disk.get())}};
    EnvironmentBlock settings;
    settings.SetStringValue("BasePath", folder.Narrow("records"));
    for (const auto& [name, component] : factory.components) component->Initialize(settings);
    const auto use = [](int rounds) {
        std::deque<test::Thread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([=] {
                for (int round = 1; round <= rounds; ++round) {
                    Check(!_getService("NoSuchService"));
                    Reserve();
                    Persist("record " + std::to_string(thread * 10 + round % 10), round);
                    Render(round);
                }
            });
    };
    use(200);
    const unsigned long handles = Handles(), kilobytes = Kilobytes();
    const char* const asked = std::getenv("SOAK_ROUNDS");
    use(asked ? std::atoi(asked) : 800);
    const unsigned long handlesNow = Handles(), kilobytesNow = Kilobytes();
    std::printf("handles %lu -> %lu, memory %lu -> %lu KB\n", handles, handlesNow, kilobytes, kilobytesNow);
    EXPECT_EQ(failures, 0);
    EXPECT_TRUE(handles > 0 && kilobytes > 0);
    EXPECT_LE(handlesNow, handles + 8);
    EXPECT_LE(kilobytesNow, kilobytes + 2048);
    persistence->fini();
}

}  // namespace
