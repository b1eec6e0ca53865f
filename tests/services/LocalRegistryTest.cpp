#include "WindowsAgentCommon/IRegistryCache.h"
#include "WindowsAgentCommon/ServiceFactories.h"

#include <ace/Service_Object.h>
#include <gtest/gtest.h>

#include <string>

#include <windows.h>

#include <shlwapi.h>

namespace WindowsAgentCommon {
namespace {

/// The service as its creation function makes it, and a key below HKEY_LOCAL_MACHINE that goes with the test.
class LocalRegistry : public testing::Test {
protected:
    LocalRegistry() {
        EnvironmentBlock settings;
        settings.SetStringValue("RefreshSeconds", "86400");
        cache->Initialize(settings);
        EXPECT_EQ(cache->GetReader(L".", reader), 0U);
    }
    ~LocalRegistry() override {
        ::SHDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
        component->fini();
        exterminator(component);
    }
    static void Set(const std::wstring& key, const std::wstring& text) {
        const auto bytes = static_cast<DWORD>(text.size()) * DWORD{sizeof(wchar_t)};
        EXPECT_EQ(::SHSetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"v", REG_SZ, text.data(), bytes), 0U);
    }

    const std::wstring path = L"SYSTEM\\CorvaneRegistryTest" + std::to_wstring(::GetCurrentProcessId());
    ACE_Service_Object_Exterminator exterminator = nullptr;
    ACE_Service_Object* const component = _make_RegistryCache(&exterminator);
    IRegistryCache* const cache = dynamic_cast<IRegistryCache*>(component);
    std::shared_ptr<IRegistryCacheReader> reader;
};

TEST_F(LocalRegistry, NoticesChangesAtOnce) {
    std::wstring text;
    std::vector<std::wstring> names;
    for (const std::size_t length : {1U, 511U, 512U, 513U, 5000U, 500'000U}) {
        Set(path, std::wstring(length, L'x'));
        for (int read = 0; read < 2; ++read) {
            EXPECT_EQ(reader->GetString(path, L"V", text), 0U);
            EXPECT_EQ(text, std::wstring(length, L'x'));
        }
    }
    Set(path, std::wstring(600'000, L'x'));
    EXPECT_EQ(reader->GetString(path, L"v", text), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(reader->GetString(path, L"none", text), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(reader->GetSubkeys(path, names), 0U);
    EXPECT_TRUE(names.empty());
    Set(path + L"\\Sub", L"");
    EXPECT_EQ(reader->GetSubkeys(path, names), 0U);
    EXPECT_EQ(names, std::vector<std::wstring>{L"Sub"});
}

// Wine has none of the counters, Windows all.
TEST_F(LocalRegistry, CountersAreThereOrSaidToBeMissing) {
    double threads = 0;
    std::map<std::wstring, double> values;
    const unsigned long error = cache->GetPerformanceCounter(L"Thread Count", threads);
    EXPECT_EQ(cache->GetPerformanceCounters(values), error);
    EXPECT_EQ(error, values.empty() ? DWORD{ERROR_NOT_FOUND} : 0U);
    EXPECT_EQ(threads >= 1, error == 0);
}

}  // namespace
}  // namespace WindowsAgentCommon
