#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/LogLines.h"
#include "tests/support/Program.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <ace/Manual_Event.h>
#include <ace/Service_Object.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <set>

#include <windows.h>

using namespace WindowsAgentCommon;
using namespace std::string_literals;

namespace {

using Record = std::shared_ptr<IPersistentRecord>;
constexpr unsigned long kNotActive = ERROR_SERVICE_NOT_ACTIVE;

struct PersistenceManagerTest : testing::Test {
    PersistenceManagerTest() { settings.SetStringValue("BasePath", folder.Narrow("records")); }
    ~PersistenceManagerTest() override { manager->Shutdown(); }

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

    static unsigned long Save(const Record& record, const std::string& value) {
        EnvironmentBlock block;
        block.SetStringValue("value", value);
        return record->Save(block);
    }

    /// The value, or the error.
    static std::string Load(const Record& record) {
        EnvironmentBlock block;
        block.SetStringValue("value", "left over");
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
    test::LogLines lines{"Code.PersistenceManager"};
    EnvironmentBlock settings;
    std::unique_ptr<ACE_Service_Object> service{_make_PersistenceManager(nullptr)};
    IPersistenceManager* manager = dynamic_cast<IPersistenceManager*>(service.get());
};

TEST_F(PersistenceManagerTest, AnyNamesAreDifferentRecordsInFilesOfTheFolder) {
    std::vector<std::string> names = {std::string(5000, 'n'), std::string(5001, 'n'), "z\0z"s};
    for (const char* name : {"a", "A", "CON", "nul.txt", "x", "x.", "x ", " x", "..\\..\\evil", "../evil",
                             "C:\\a", "a:stream", "*?", "\xc3\xa4", "\xff", "z"})
        names.emplace_back(name);
    Record none;
    EXPECT_EQ(kNotActive, manager->OpenRecord("early", none));
    Restart();
    EXPECT_EQ(DWORD{ERROR_INVALID_NAME}, manager->OpenRecord("", none));
    const auto valueOf = [&](const std::string& name) { return std::to_string(&name - names.data()); };
    for (const std::string& name : names) {
        EXPECT_EQ("error 2", Load(Open(name)));
        EXPECT_EQ(0u, Save(Open(name), valueOf(name)));
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
int moves = 0;  // by the one thread that writes

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
        const test::ImportPatch patch(L"CorvaneCommon.dll", "MoveFileExW", &SlowMove);
        Save(record, "0");
        first.wait();
        for (int i = 1; i <= 100; ++i) EXPECT_EQ(0u, Save(record, std::to_string(i)));
        for (const std::size_t tooLong : {4080u, 100'000u})
            EXPECT_EQ(DWORD{ERROR_INVALID_DATA}, Save(record, std::string(tooLong, 'x')));
        EXPECT_EQ("100", Load(record));
        EXPECT_EQ("1", Status("RecordsWaiting"));
        const test::Thread beside([&] {
            const DWORD error = manager->Flush();
            EXPECT_TRUE(error == 0 || error == kNotActive) << error;
        });
        on.signal();
        manager->Shutdown();
    }
    EXPECT_EQ(2, moves);
    EXPECT_EQ("100", Load(record)) << "reading needs no manager";
    for (const unsigned long error : {Save(record, "late"), record->Remove(), manager->Flush()})
        EXPECT_EQ(kNotActive, error);
    manager->Initialize(settings);
    const std::wstring temporary = folder.Path(L"records\\" + Files().at(0) + L".tmp");
    const detail::FileHandle scanned(
        ::CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    EXPECT_EQ(0u, Save(record, std::string(4079, 'y')));
    Restart();
    EXPECT_EQ(std::string(4079, 'y'), Load(Open("a")));
    EXPECT_EQ("error 2", Load(untouched));
}

Record savedMeanwhile;

std::uintptr_t NoThread(void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned, unsigned*) {
    EXPECT_EQ(0u, PersistenceManagerTest::Save(savedMeanwhile, "taken"));
    errno = EAGAIN;
    return 0;
}

TEST_F(PersistenceManagerTest, WithoutAThreadLosesNothingThatItTook) {
    Restart();
    savedMeanwhile = Open("a");
    manager->Shutdown();
    {
        const test::ImportPatch patch(L"libACE.dll", "_beginthreadex", &NoThread);
        EXPECT_THROW(manager->Initialize(settings), InitializationException);
    }
    EXPECT_EQ(1u, Files().size());
    EXPECT_EQ(kNotActive, std::exchange(savedMeanwhile, nullptr)->Remove());
    Restart();
    EXPECT_EQ("taken", Load(Open("a")));
}

bool diskIsFull = false;

BOOL WINAPI Write(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
    if (!diskIsFull) return ::WriteFile(file, bytes, size, written, overlapped);
    ::SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

TEST_F(PersistenceManagerTest, KeepsWhatCannotBeWrittenAndSaysSoOnce) {
    const test::ImportPatch patch(L"CorvaneCommon.dll", "WriteFile", &Write);
    for (const bool isFull : {true, false}) {
        SCOPED_TRACE(isFull);
        Restart();
        const Record record = Open("a");
        Save(record, "old");
        manager->Flush();
        lines.text.clear();
        diskIsFull = isFull;
        if (!isFull) {
            ::DeleteFileW(folder.Path(L"records\\" + Files().at(0)).c_str());
            ::RemoveDirectoryW(folder.Path(L"records").c_str());
            folder.Write(L"records", "a file in the way");
        }
        Save(record, "new");
        for (int i = 0; i < 3; ++i) EXPECT_NE(0u, manager->Flush());
        EXPECT_EQ("new", Load(record));
        EXPECT_EQ("1", Status("RecordsWaiting"));
        EXPECT_EQ(isFull, Status("LastError") == "112");
        EXPECT_EQ(0u, lines.text.find("100 Record a cannot be written, tried again every 30 s: "));
        EXPECT_EQ(lines.text.size() - 1, lines.text.find('\n'));

        EnvironmentBlock large;
        large.SetArrayValue("value", std::vector<std::string>(1000, std::string(4000, 'x')));
        for (int i = 0; i < 9; ++i)  // of 4 MB
            EXPECT_EQ(i < 8 ? 0 : DWORD{ERROR_NOT_ENOUGH_QUOTA}, Open(std::to_string(i))->Save(large)) << i;
        for (int i = 0; i < 8; ++i) EXPECT_EQ(0u, Open(std::to_string(i))->Remove());

        manager->Shutdown();
        EXPECT_NE(std::string::npos, lines.text.find("100 Record a is not written: "));
        diskIsFull = false;
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
    Save(Open("a"), "v");
    manager->Flush();
    const std::wstring file = L"records\\" + Files().at(0);
    const std::string whole = folder.Read(file);
    ASSERT_EQ(22u, whole.size());
    std::vector<std::string> damaged = {whole + '\0', whole + whole, std::string(100'000, '\xff'),
                                        std::string(17 << 20, '\0'), whole.substr(0, 4) + "\xff\xff\xff\x7f"};
    for (std::size_t size = 0; size < whole.size(); ++size)
        if (size != 4) damaged.push_back(whole.substr(0, size));  // the header alone is an empty block
    for (const std::size_t length : {4, 8, 17})
        for (const char value : {'\0', '\x7f', '\xff'}) (damaged.emplace_back(whole))[length] = value;
    for (const std::string& bytes : damaged) {
        SCOPED_TRACE(testing::PrintToString(bytes.substr(0, 40)));
        folder.Write(file, bytes);
        EXPECT_EQ("error 13", Load(Open("a")));
        EXPECT_EQ(bytes, folder.Read(file)) << "somebody may want to look at it";
        EXPECT_EQ(0u, Save(Open("a"), "v"));
        EXPECT_EQ(0u, manager->Flush());
        EXPECT_EQ("v", Load(Open("a")));
    }
}

TEST_F(PersistenceManagerTest, NeedsAFolder) {
    folder.Write(L"file", "");
    for (const std::string& path : {""s, folder.Narrow("file"), folder.Narrow("file\\below")}) {
        SCOPED_TRACE(path);
        settings.SetStringValue("BasePath", path);
        EXPECT_THROW(manager->Initialize(settings), InitializationException);
        EXPECT_FALSE(manager->IsInitialized());
    }
    ::SetEnvironmentVariableW(L"CCT_FOLDER", folder.Path(L"deep/" + std::wstring(200, L'd')).c_str());
    settings.SetStringValue("BasePath", "%CCT_FOLDER%\\" + std::string(200, 'e'));
    Restart();
    Save(Open("a"), "far down");
    Restart();
    EXPECT_EQ("far down", Load(Open("a")));
    SetRootPath(folder.Path(L"root"));
    settings = EnvironmentBlock();
    Restart();
    EXPECT_TRUE(folder.Has(L"root\\cache\\Persistence"));
}

TEST_F(PersistenceManagerTest, AKillLeavesTheOldOrTheNewRecord) {
    for (int kill = 0; kill < 30; ++kill) {
        SCOPED_TRACE(kill);
        int told = 0;
        {
            test::Program program(BinFile(L"persistence-host.exe"), L"\"" + folder.Path(L"records") + L"\"");
            for (int reads = 0; reads <= kill % 10; ++reads)
                told = std::max(told, std::atoi(program.Read().c_str()));
            program.Kill();
            program.Wait();
        }
        ASSERT_GT(told, 0);
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
}

}  // namespace
