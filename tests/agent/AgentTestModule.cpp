// What tests of the whole agent load: a collector that ends its process, and a registry cache that knows
// counters, which Wine has none of.

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/IRegistryCache.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"
#include "agent/sdk/Collector.h"
#include "agent/sdk/MakeService.h"

#include "agent/sdk/Win32.h"

namespace {

using namespace WindowsAgentCommon;

bool faulting = false;

struct Destination : CorvaneLogger::LogDst {
    using LogDst::lock_;
};

class FaultingCollector : public CorvaneAgent::Collector {
protected:
    void ReadSettings(CorvaneAgent::SettingsReader& settings) override { kind_ = settings.Text("Kind"); }
    void Restore(const EnvironmentBlock&) override {}
    Progress Collect() override {
        if (kind_ == "locked")
            (CorvaneLogger::CV_Logger::TheLogger().findLogDst("file")->*&Destination::lock_).acquire();
        GetLog()->Info("The line before the end");
        faulting = true;
        if (kind_ == "exception") throwThrough();
        auto* const nowhere = static_cast<volatile int*>(
            ::VirtualAlloc(nullptr, 4096, MEM_RESERVE, PAGE_NOACCESS));  // page 0 may be there under Wine
        *nowhere = 1;
        return Progress::kFinished;
    }
    void SavePosition(EnvironmentBlock&) const override {}

private:
    static void fail() { throw KORException(__FILE__, __FUNCTION__, __LINE__, "told to"); }
    static void throwThrough() noexcept { fail(); }  // NOLINT(bugprone-exception-escape): it ends the process
    std::string kind_;
};

class CountingCache : public ServiceComponentBase<IRegistryCache, ACE_Service_Object> {
public:
    InitializeResult Initialize(const EnvironmentBlock&) override { return InitializeResult::kDone; }
    void Shutdown() override {}
    unsigned long GetPerformanceCounter(const std::wstring&, double&) override { return 1; }
    unsigned long GetPerformanceCounters(std::map<std::wstring, double>& values) override {
        values = {{L"Private Bytes", 12345678}, {L"% Processor Time", 1.5}};
        return 0;
    }
    unsigned long GetReader(const std::wstring&, std::shared_ptr<IRegistryCacheReader>&) override {
        return 1;
    }
};

}  // namespace

/// A farewell that waits for what a thread that is no more has left taken.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    while (reason == DLL_PROCESS_DETACH && faulting) ::Sleep(INFINITE);
    return TRUE;
}

extern "C" __declspec(dllexport)
    ACE_Service_Object* _make_FaultingCollector(ACE_Service_Object_Exterminator* exterminator) {
    return CorvaneAgent::MakeService<FaultingCollector>(exterminator);
}

extern "C" __declspec(dllexport)
    ACE_Service_Object* _make_CountingCache(ACE_Service_Object_Exterminator* exterminator) {
    return CorvaneAgent::MakeService<CountingCache>(exterminator);
}
