#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/IDiskManager.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "tests/support/FakeComponentFactory.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <ace/Service_Object.h>
#include <gtest/gtest.h>

#include <atomic>

using namespace WindowsAgentCommon;
using namespace std::string_literals;

namespace {

constexpr std::uint64_t kMiB = 1 << 20, kMost = ~std::uint64_t{0};

struct DiskManagerTest : testing::Test {
    DiskManagerTest() { SetBinPath(temp.Path()); }

    // Begins anew; values are separated from names by "=".
    void Initialize(const std::vector<std::string>& settings) {
        EnvironmentBlock block;
        for (const std::string& setting : settings)
            block.SetStringValue(setting.substr(0, setting.find('=')), setting.substr(setting.find('=') + 1));
        manager->Shutdown();
        lines.text.clear();
        EXPECT_EQ(manager->Initialize(block), InitializeResult::kDone);
        EXPECT_TRUE(manager->IsInitialized());
    }

    std::uint64_t Used() const {
        EnvironmentBlock status;
        std::uint64_t used = kMost;
        manager->GetStatus(status);
        status.GetIntegerValue("UsedBytes", used, kMost);
        return used;
    }

    const test::TempFolder temp;
    test::LogLines lines{"Code.DiskManager"};
    const std::unique_ptr<ACE_Service_Object> service{_make_DiskManager(nullptr)};
    IDiskManager* const manager = dynamic_cast<IDiskManager*>(service.get());
};

TEST_F(DiskManagerTest, GrantsUpToTheCapacityAndNeverWraps) {
    struct Step {
        char what;  // (r)eserve, (n)ot reserved, (g)ive back
        std::uint64_t bytes, used;
    };
    const std::pair<std::string, std::vector<Step>> rows[] = {
        {"Capacity=1", {{'r', kMiB, kMiB}, {'n', 1, kMiB}, {'g', 1, kMiB - 1}, {'g', kMiB, 0}, {'g', 1, 0}}},
        {"Unset=", {{'n', 1000 * kMiB + 1, 0}, {'r', 1000 * kMiB, 1000 * kMiB}}},
        {"Capacity=17592186044415", {{'n', kMost, 0}, {'r', kMost - kMiB + 1, kMost - kMiB + 1}}},
        {"Capacity=17592186044416", {{'r', kMost, kMost}, {'n', 1, kMost}}},  // saturates
        {"Capacity=0", {{'r', kMost, 0}, {'g', 1, 0}}},
        {"Enabled=false", {{'r', kMost, 0}, {'g', 1, 0}}}};
    EXPECT_TRUE(manager->ReserveSpace(0, kMost));  // not initialised
    for (const auto& [setting, steps] : rows) {
        Initialize({setting});
        EXPECT_EQ(manager->GetBasePath(), setting[0] == 'E' ? L"" : temp.Path(L"DiskManager"));
        for (std::size_t i = 0; i < steps.size(); ++i) {
            SCOPED_TRACE(setting + " " + std::to_string(i));
            if (steps[i].what == 'g')
                manager->ReleaseSpace(7, steps[i].bytes);
            else
                EXPECT_EQ(manager->ReserveSpace(static_cast<unsigned>(i), steps[i].bytes),
                          steps[i].what == 'r');
            EXPECT_EQ(Used(), steps[i].used);
        }
    }
}

TEST_F(DiskManagerTest, ThreadsThatReserveAndGiveBackAtOnceKeepTheAccount) {
    Initialize({});
    std::atomic<int> ready{0};
    {
        const auto work = [&] {
            for (++ready; ready < 2;) {  // begin together, so that a missing lock shows
            }
            for (int i = 0; i < 1'000'000; ++i) {
                manager->ReserveSpace(0, 2);
                manager->ReleaseSpace(0, 1);
            }
        };
        const test::Thread one(work), two(work);
    }
    EXPECT_EQ(Used(), 2'000'000U);
}

TEST_F(DiskManagerTest, CountsWhatLiesInItsFolder) {
    const std::string path = temp.Narrow("a\\b");
    Initialize({"Capacity=1", "BasePath=" + temp.Narrow("a\\.\\x\\..\\b")});
    EXPECT_EQ(lines.text, "400 BasePath (" + path +
                              ") has a current size of 0 bytes, with a configured capacity "
                              "of 1048576 bytes.\n");
    temp.Write(L"a\\b\\one", std::string(kMiB, 'x'));
    temp.Write(L"a\\two", "not below");
    temp.Write(L"a\\b\\two", std::string(kMiB, 'x'));
    Initialize({"Capacity=1", "BasePath=" + path});
    EXPECT_EQ(lines.text, "200 BasePath (" + path +
                              ") has a current size of 2097152 bytes larger than configured "
                              "capacity of 1048576 bytes.\n");
    EXPECT_FALSE(manager->ReserveSpace(0, 1));
    lines.text.clear();
    service->fini();
    EXPECT_EQ(lines.text, "300 Disk manager engine shutting down...\n300 Disk manager shut down.\n");
}

TEST_F(DiskManagerTest, AFolderThatCannotBeUsedIsRefusedInTheLogAndByException) {
    temp.Write(L"file", "");
    const std::string tooLong = temp.Narrow(std::string(120, 'd') + "\\" + std::string(140, 'd'));
    const std::tuple<std::string, std::string, unsigned long> rows[] = {
        {temp.Narrow("file"), "does not exist and cannot be created.", ERROR_ALREADY_EXISTS},
        {"", "does not exist and cannot be created.", ERROR_PATH_NOT_FOUND},
        {tooLong, "has no absolute path of less than 260 characters.", ERROR_FILENAME_EXCED_RANGE}};
    const std::string good = "BasePath=" + temp.Narrow("good");
    Initialize({good});
    for (const auto& [path, why, error] : rows) {
        SCOPED_TRACE(path);
        try {
            Initialize({"BasePath=" + path});
            ADD_FAILURE() << "nothing was thrown";
        } catch (const InitializationException& failure) {
            const std::string text = "Directory specified by BasePath (" + path + ") " + why;
            EXPECT_EQ(lines.text, "100 " + text + "\n");
            EXPECT_EQ(failure.GetMessageW(), text);
            EXPECT_EQ(failure.GetFunction(), "WindowsAgentCommon::DiskManager::Initialize");
            EXPECT_EQ(failure.GetLastError(), error);
        }
        EXPECT_FALSE(manager->IsInitialized());
        EXPECT_EQ(manager->GetBasePath(), temp.Path(L"good"));
        EXPECT_TRUE(manager->ReserveSpace(0, kMost) && Used() == 0);
    }
    Initialize({good});
    EXPECT_FALSE(manager->ReserveSpace(0, kMost));
}

TEST_F(DiskManagerTest, TemporaryFoldersLieBelowTheBasePathUnderSafeNames) {
    const std::map<std::wstring, std::wstring> escaped = {{L"", L"%"},
                                                          {L"..", L".%002E"},
                                                          {L"a ", L"a%0020"},
                                                          {L"..\\..\\x", L"..%005C..%005Cx"},
                                                          {L"a:b/%\n", L"a%003Ab%002F%0025%000A"},
                                                          {L"nul", L"%006Eul"},
                                                          {L"COM\u00B2 .txt", L"%0043OM\u00B2 .txt"}};
    for (const auto& [caller, name] : escaped)
        EXPECT_EQ(IDiskManager::GetTemporaryDirectory(caller),
                  temp.Path(L"DiskManager\\Temp\\" + name + L"\\"));
    for (const std::wstring& name : {L"Spooler 2"s, L"comet"s, std::wstring(64, L'x')})
        EXPECT_EQ(IDiskManager::GetTemporaryDirectory(name),
                  temp.Path(L"DiskManager\\Temp\\" + name + L"\\"));
    const std::wstring digest = IDiskManager::GetTemporaryDirectory(std::wstring(65, L'x'));
    EXPECT_EQ(digest.size(), temp.Path(L"DiskManager\\Temp\\").size() + 66);
    EXPECT_NE(digest, IDiskManager::GetTemporaryDirectory(std::wstring(66, L'x')));

    test::FakeComponentFactory factory;
    factory.components["DiskManager"] = manager;
    Initialize({"BasePath=" + temp.Narrow("other")});
    EXPECT_EQ(IDiskManager::GetTemporaryDirectory(L"x"), temp.Path(L"other\\Temp\\x\\"));
    EXPECT_FALSE(temp.Has(L"other\\Temp"));
}

}  // namespace
