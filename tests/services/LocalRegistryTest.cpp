#include "WindowsAgentCommon/IRegistryCache.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "foundation/Win32Handle.h"

#include <ace/Service_Object.h>
#include <gtest/gtest.h>

#include <string>

#include <windows.h>

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
        ::RegDeleteKeyW(key.Get(), L"Sub");
        ::RegDeleteKeyW(key.Get(), L"");
        component->fini();
        exterminator(component);
    }

    static HKEY Create(HKEY parent, const std::wstring& name) {
        HKEY made = nullptr;
        EXPECT_EQ(::RegCreateKeyExW(parent, name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY,
                                    nullptr, &made, nullptr),
                  0);
        return made;
    }
    void Set(const std::wstring& text) const {
        EXPECT_EQ(::RegSetValueExW(key.Get(), L"v", 0, REG_SZ, reinterpret_cast<const BYTE*>(text.data()),
                                   static_cast<DWORD>(text.size() * sizeof(wchar_t))),
                  0);
    }

    const std::wstring path = L"Software\\CorvaneRegistryTest" + std::to_wstring(::GetCurrentProcessId());
    const detail::RegistryHandle key{Create(HKEY_LOCAL_MACHINE, path)};
    ACE_Service_Object_Exterminator exterminator = nullptr;
    ACE_Service_Object* const component = _make_RegistryCache(&exterminator);
    IRegistryCache* const cache = dynamic_cast<IRegistryCache*>(component);
    std::shared_ptr<IRegistryCacheReader> reader;
};

TEST_F(LocalRegistry, NoticesChangesAtOnce) {
    std::wstring text;
    std::vector<std::wstring> names;
    for (const std::size_t length : {1U, 511U, 512U, 513U, 5000U, 500'000U}) {
        Set(std::wstring(length, L'x'));
        for (int read = 0; read < 2; ++read) {
            EXPECT_EQ(reader->GetString(path, L"V", text), 0U);
            EXPECT_EQ(text, std::wstring(length, L'x'));
        }
    }
    Set(std::wstring(600'000, L'x'));
    EXPECT_EQ(reader->GetString(path, L"v", text), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(reader->GetString(path, L"none", text), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(reader->GetSubkeys(path, names), 0U);
    EXPECT_TRUE(names.empty());
    detail::RegistryHandle(Create(key.Get(), L"Sub")).Reset();
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
