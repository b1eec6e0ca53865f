#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/ServiceFactories.h"

#include <ace/Manual_Event.h>
#include <ace/Service_Object.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "tests/support/ImportPatch.h"
#include "tests/support/LogLines.h"
#include "tests/support/Program.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

using Record = std::shared_ptr<IPersistentRecord>;

class PersistenceManagerTest : public testing::Test {
protected:
    PersistenceManagerTest() {
        CorvaneLogger::CV_Logger::Logger("Code.PersistenceManager").Reset(&lines.base);
        settings.SetStringValue("BasePath", folder.Narrow("records"));
    }
    ~PersistenceManagerTest() override {
        manager->Shutdown();
        CorvaneLogger::CV_Logger::TheLogger().FixBaseLoggers();
    }

    void Restart() {
        manager->Shutdown();
        service.reset(_make_PersistenceManager(nullptr));
        manager = dynamic_cast<IPersistenceManager*>(service.get());
        manager->Initialize(settings);
    }

    Record Open(const std::string& name) {
        Record record;
        EXPECT_EQ(0u, manager->OpenRecord(name, record));
        return record;
    }

    static EnvironmentBlock Block(const std::string& value) {
        EnvironmentBlock block;
        block.SetStringValue("value", value);
        return block;
    }

    /// The value, or the error.
    static std::string Load(const Record& record) {
        EnvironmentBlock block = Block("left over");
        std::string value;
        const unsigned long error = record->Load(block);
        EXPECT_TRUE(error == 0 || block.Entries().empty());
        block.GetStringValue("value", value, "nothing");
        return error != 0 ? "error " + std::to_string(error) : value;
    }

    std::string Status(const std::string& name) const {
        EnvironmentBlock status;
        std::string value;
        manager->GetStatus(status);
        status.GetStringValue(name, value, "?");
        return value;
    }

    std::vector<std::wstring> Files() const {
        std::vector<std::wstring> files;
        WIN32_FIND_DATAW entry;
        const detail::FindHandle search(::FindFirstFileW(folder.Path(L"records\\*").c_str(), &entry));
        for (BOOL more = static_cast<bool>(search); more; more = ::FindNextFileW(search.Get(), &entry))
            if (entry.cFileName[0] != L'.') files.push_back(entry.cFileName);
        return files;
    }

    test::TempFolder folder;
    test::LogLines lines;
    EnvironmentBlock settings;
    std::unique_ptr<ACE_Service_Object> service{_make_PersistenceManager(nullptr)};
    IPersistenceManager* manager = dynamic_cast<IPersistenceManager*>(service.get());
};

TEST_F(PersistenceManagerTest, AnyNamesAreDifferentRecordsInFilesOfTheFolder) {
    std::vector<std::string> names = {std::string(5000, 'n'), std::string(5001, 'n'), std::string("z\0z", 3)};
    std::istringstream others(
        "a|A|CON|nul.txt|x|x.|x | x|..\\..\\evil|../evil|C:\\a|a:stream|*?|\xc3\xa4|\xff|z");
    for (std::string name; std::getline(others, name, '|');) names.push_back(name);
    Record none;
    EXPECT_EQ(DWORD{ERROR_SERVICE_NOT_ACTIVE}, manager->OpenRecord("early", none));
    Restart();
    EXPECT_EQ(DWORD{ERROR_INVALID_NAME}, manager->OpenRecord("", none));
    const auto valueOf = [&](const std::string& name) { return std::to_string(&name - names.data()); };
    for (const std::string& name : names) {
        EXPECT_EQ("error 2", Load(Open(name)));
        EXPECT_EQ(0u, Open(name)->Save(Block(valueOf(name))));
        EXPECT_EQ(valueOf(name), Load(Open(name)));
    }
    Restart();
    std::set<std::wstring> files;
    for (std::wstring file : Files()) {
        EXPECT_LE(file.size(), 80u);
        std::transform(file.begin(), file.end(), file.begin(), ::towlower);
        EXPECT_TRUE(files.insert(file).second);
    }
    EXPECT_EQ(names.size(), files.size());
    for (const std::string& name : names) {
        EXPECT_EQ(valueOf(name), Load(Open(name)));
        EXPECT_EQ(0u, Open(name)->Remove());
        EXPECT_EQ("error 2", Load(Open(name)));
    }
    EXPECT_EQ(0u, manager->Flush());
    EXPECT_TRUE(Files().empty());
    EXPECT_EQ("", lines.text);
}

ACE_Manual_Event* firstMove = nullptr;
ACE_Manual_Event* goOn = nullptr;
std::atomic<int> moves;

BOOL WINAPI SlowMove(const wchar_t* from, const wchar_t* to, DWORD flags) {
    if (++moves == 1) {
        firstMove->signal();
        goOn->wait();
    }
    return ::MoveFileExW(from, to, flags);
}

TEST_F(PersistenceManagerTest, WritesWhatIsSavedMeanwhileOnceAndLosesNothingAtTheEnd) {
    Restart();
    const Record record = Open("a"), untouched = Open("b");
    ACE_Manual_Event first, on;
    firstMove = &first;
    goOn = &on;
    moves = 0;
    {
        const test::ImportPatch<BOOL WINAPI(const wchar_t*, const wchar_t*, DWORD)> patch(
            L"CorvaneCommon.dll", "MoveFileExW", SlowMove);
        record->Save(Block("0"));
        first.wait();
        for (int i = 1; i <= 100; ++i) EXPECT_EQ(0u, record->Save(Block(std::to_string(i))));
        for (const std::size_t tooLong : {4080u, 100'000u})
            EXPECT_EQ(DWORD{ERROR_INVALID_DATA}, record->Save(Block(std::string(tooLong, 'x'))));
        EXPECT_EQ("100", Load(record));
        EXPECT_EQ("1", Status("RecordsWaiting"));
        const test::Thread beside([&] {
            const DWORD error = manager->Flush();
            EXPECT_TRUE(error == 0 || error == ERROR_SERVICE_NOT_ACTIVE) << error;
        });
        on.signal();
        manager->Shutdown();
    }
    EXPECT_EQ(2, moves);
    EXPECT_EQ("100", Load(record)) << "reading needs no manager";
    EXPECT_EQ(DWORD{ERROR_SERVICE_NOT_ACTIVE}, record->Save(Block("late")));
    EXPECT_EQ(DWORD{ERROR_SERVICE_NOT_ACTIVE}, record->Remove());
    EXPECT_EQ(DWORD{ERROR_SERVICE_NOT_ACTIVE}, manager->Flush());
    manager->Initialize(settings);
    const std::wstring temporary = folder.Path(L"records\\" + Files().at(0) + L".tmp");
    const detail::FileHandle scanned(
        ::CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    EXPECT_EQ(0u, record->Save(Block(std::string(4079, 'y'))));
    Restart();
    EXPECT_EQ(std::string(4079, 'y'), Load(Open("a")));
    EXPECT_EQ("error 2", Load(untouched));
}

Record savedMeanwhile;

std::uintptr_t NoThread(void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned, unsigned*) {
    EnvironmentBlock block;
    block.SetStringValue("value", "taken");
    EXPECT_EQ(0u, savedMeanwhile->Save(block));
    errno = EAGAIN;
    return 0;
}

TEST_F(PersistenceManagerTest, WithoutAThreadLosesNothingThatItTook) {
    Restart();
    savedMeanwhile = Open("a");
    manager->Shutdown();
    {
        const test::ImportPatch<decltype(NoThread)> patch(L"libACE.dll", "_beginthreadex", NoThread);
        EXPECT_THROW(manager->Initialize(settings), InitializationException);
    }
    EXPECT_EQ(1u, Files().size());
    EXPECT_EQ(DWORD{ERROR_SERVICE_NOT_ACTIVE}, std::exchange(savedMeanwhile, nullptr)->Remove());
    EXPECT_EQ(DWORD{ERROR_SERVICE_NOT_ACTIVE}, manager->Flush());
    Restart();
    EXPECT_EQ("taken", Load(Open("a")));
}

BOOL WINAPI FullDisk(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) {
    ::SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

TEST_F(PersistenceManagerTest, KeepsWhatCannotBeWrittenAndSaysSoOnce) {
    const std::string error = "100 Record a cannot be written, tried again every 30 s: ";
    for (const bool diskIsFull : {true, false}) {
        SCOPED_TRACE(diskIsFull);
        Restart();
        const Record record = Open("a");
        record->Save(Block("old"));
        manager->Flush();
        lines.text.clear();
        std::unique_ptr<test::ImportPatch<decltype(FullDisk)>> full;
        if (diskIsFull) {
            full = std::make_unique<test::ImportPatch<decltype(FullDisk)>>(L"CorvaneCommon.dll", "WriteFile",
                                                                           FullDisk);
        } else {
            for (const std::wstring& file : Files()) ::DeleteFileW(folder.Path(L"records\\" + file).c_str());
            ::RemoveDirectoryW(folder.Path(L"records").c_str());
            folder.Write(L"records", "a file in the way");
        }
        record->Save(Block("new"));
        for (int i = 0; i < 3; ++i) EXPECT_NE(0u, manager->Flush());
        EXPECT_EQ("new", Load(record));
        EXPECT_EQ("1", Status("RecordsWaiting"));
        EXPECT_EQ(diskIsFull, Status("LastError") == "112");
        EXPECT_EQ(0u, lines.text.find(error)) << lines.text;
        EXPECT_EQ(lines.text.size() - 1, lines.text.find('\n'));

        EnvironmentBlock large;
        large.SetArrayValue("value", std::vector<std::string>(1000, std::string(4000, 'x')));
        for (int i = 0; i < 9; ++i)  // of 4 MB
            EXPECT_EQ(i < 8 ? 0 : DWORD{ERROR_NOT_ENOUGH_QUOTA}, Open(std::to_string(i))->Save(large)) << i;
        for (int i = 0; i < 8; ++i) EXPECT_EQ(0u, Open(std::to_string(i))->Remove());

        manager->Shutdown();
        EXPECT_NE(std::string::npos, lines.text.find("100 Record a is not written: "));
        full.reset();
        ::DeleteFileW(folder.Path(L"records").c_str());
        lines.text.clear();
        manager->Initialize(settings);
        EXPECT_EQ(0u, manager->Flush());
        EXPECT_EQ("300 Records are written again\n", lines.text);
        EXPECT_EQ(1u, Files().size());
        EXPECT_EQ("new", Load(Open("a")));
        EXPECT_EQ("0", Status("BytesWaiting"));
    }
}

TEST_F(PersistenceManagerTest, RefusesDamagedFilesUntilTheNextSave) {
    Restart();
    Open("a")->Save(Block("v"));
    manager->Flush();
    const std::wstring file = L"records\\" + Files().at(0);
    const std::string whole = folder.Read(file);
    ASSERT_EQ(22u, whole.size());
    std::vector<std::string> damaged = {whole + '\0', whole + whole, std::string(100'000, '\xff'),
                                        std::string(17 << 20, '\0'),
                                        whole.substr(0, 4) + std::string("\xff\xff\xff\x7f", 4)};
    for (std::size_t size = 0; size < whole.size(); ++size)
        if (size != 4) damaged.push_back(whole.substr(0, size));  // the header alone is an empty block
    for (const std::size_t length : {4, 8, 17}) {
        for (const char value : {'\0', '\x7f', '\xff'}) {
            damaged.push_back(whole);
            damaged.back()[length] = value;
        }
    }
    for (const std::string& bytes : damaged) {
        SCOPED_TRACE(testing::PrintToString(bytes.substr(0, 40)));
        folder.Write(file, bytes);
        EXPECT_EQ("error 13", Load(Open("a")));
        EXPECT_EQ(bytes, folder.Read(file)) << "somebody may want to look at it";
        EXPECT_EQ(0u, Open("a")->Save(Block("v")));
        EXPECT_EQ(0u, manager->Flush());
        EXPECT_EQ("v", Load(Open("a")));
    }
}

TEST_F(PersistenceManagerTest, NeedsAFolder) {
    folder.Write(L"file", "");
    for (const std::string& path : {std::string(), folder.Narrow("file"), folder.Narrow("file\\below")}) {
        SCOPED_TRACE(path);
        settings.SetStringValue("BasePath", path);
        EXPECT_THROW(manager->Initialize(settings), InitializationException);
        EXPECT_FALSE(manager->IsInitialized());
    }
    ::SetEnvironmentVariableW(L"CCT_FOLDER", folder.Path(L"deep/" + std::wstring(200, L'd')).c_str());
    settings.SetStringValue("BasePath", "%CCT_FOLDER%\\" + std::string(200, 'e'));
    Restart();
    Open("a")->Save(Block("far down"));
    Restart();
    EXPECT_EQ("far down", Load(Open("a")));
    SetRootPath(folder.Path(L"root"));
    settings = EnvironmentBlock();
    Restart();
    EXPECT_TRUE(folder.Has(L"root\\cache\\Persistence"));
}

TEST_F(PersistenceManagerTest, AKillLeavesTheOldOrTheNewRecord) {
    const std::wstring arguments = L"\"" + folder.Path(L"records") + L"\"";
    int left = 0;
    for (int kill = 0; kill < 30; ++kill) {
        SCOPED_TRACE(kill);
        int told = 0;
        {
            test::Program program(BinFile(L"persistence-host.exe"), arguments);
            for (int reads = 0; reads <= kill % 10; ++reads)
                told = std::max(told, std::atoi(program.Read().c_str()));
            program.Kill();
            program.Wait();
        }
        ASSERT_GT(told, 0);
        left += Files().size() > 1 ? 1 : 0;
        Restart();
        EXPECT_EQ(1u, Files().size()) << "half a file stays";
        EnvironmentBlock block;
        ASSERT_EQ(0u, Open("record")->Load(block));
        std::vector<std::string> values;
        block.GetArrayValue("value", values);
        ASSERT_EQ(500u, values.size());
        EXPECT_EQ(values.front(), values.back());
        EXPECT_GE(std::atoi(values.front().c_str()), told) << "what was flushed is lost";
        manager->Shutdown();
    }
    std::printf("killed 30 times, %d of them in the middle of a file\n", left);
}

}  // namespace
}  // namespace WindowsAgentCommon
