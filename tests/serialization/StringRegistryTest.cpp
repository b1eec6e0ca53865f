#include "WindowsAgentCommon/StringRegistry.h"

#include "CorvaneLogger/CV_Logger.h"
#include "serialization/RegistryRecords.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <vector>

#include <process.h>
#include <windows.h>

using namespace WindowsAgentCommon;
using test::GuardedBuffer;
using test::TempFolder;
using testing::HasSubstr;

namespace {

constexpr unsigned int kCollidingKey = 0x4AE754BE;  // of "badu" and of "banx"

std::wstring UriOf(const TempFolder& folder) { return L"file:///" + folder.Path(L"strings.dat"); }

std::string Record(unsigned int key, const std::string& text) {
    std::string record;
    detail::AppendRegistryRecord(record, {key, text});
    return record;
}

unsigned int KeyOf(const std::string& text) {
    unsigned int key = 0;
    StringRegistry().RegisterString(text, key);
    return key;
}

std::string StringOf(const StringRegistry& registry, unsigned int key) {
    std::string text = "<none>";
    registry.GetString(key, text);
    return text;
}

// The registry's log, all levels, in a file of the folder.
void LogInto(const TempFolder& folder) {
    auto& logger = CorvaneLogger::CV_Logger::TheLogger();
    logger.addBaseLogger("Code.StringRegistry", CorvaneLogger::kLevelTrace);
    std::map<std::string, std::string> params = {{"File", folder.Narrow("log.txt")}};
    logger.addDest(folder.Narrow(), "File")->setup(params);
    logger.addDstToBaseLogger("Code.StringRegistry", folder.Narrow());
    logger.FixBaseLoggers();
}

// --- the DLL's calls of the system, replaced ---

DWORD g_room = 0;  // bytes that the disk still takes, but for log files

BOOL WINAPI WriteUpToRoom(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* at) {
    if (at == nullptr) return ::WriteFile(file, bytes, size, written, at);
    const DWORD taken = std::min(size, g_room);
    g_room -= taken;
    if (!::WriteFile(file, bytes, taken, written, at)) return FALSE;
    if (taken == size) return TRUE;
    ::SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

BOOL WINAPI ReadTooLittle(HANDLE file, void* bytes, DWORD size, DWORD* got, OVERLAPPED* at) {
    return ::ReadFile(file, bytes, size - 1, got, at);
}

std::atomic<int> g_added{0}, g_wrong{0};

unsigned WINAPI Register2000(void* argument) {
    auto& registry = *static_cast<StringRegistry*>(argument);
    for (int i = 0; i < 2000; ++i) {
        const std::string text = std::to_string(1000 + i);
        unsigned int key = 0, found = 1;
        if (registry.RegisterString(text, key)) ++g_added;
        if (!registry.GetKey(text, found) || found != key || StringOf(registry, key) != text) ++g_wrong;
    }
    return 0;
}

}  // namespace

TEST(StringRegistry, MakesKeysOfSignedBytesAndFindsEachByTheOther) {
    const std::string zeros("\0a\0", 3);
    const std::pair<std::string, unsigned int> rows[] = {
        {"", 0}, {"a", 0x9E377A1A}, {"\xE9", 0x9E3779A2}, {"f\xC3\xBCr", 0x4AE98907}, {zeros, KeyOf(zeros)}};
    StringRegistry registry;
    std::wstring wide = L"as before";
    for (const auto& [text, expected] : rows) {
        unsigned int key = 7;
        EXPECT_FALSE(registry.GetKey(text, key) || registry.GetString(expected, wide));
        EXPECT_TRUE(key == 7 && wide == L"as before");
        EXPECT_TRUE(registry.RegisterString(text, key));
        EXPECT_EQ(expected, key);
        EXPECT_EQ(text, StringOf(registry, key));
    }
    EXPECT_FALSE(registry.RegisterString(L"f\x00FCr"));
    EXPECT_TRUE(registry.GetString(rows[3].second, wide));
    EXPECT_EQ(L"f\x00FCr", wide);
    EXPECT_EQ(GetGlobalStringRegistry(), GetGlobalStringRegistry());
}

TEST(StringRegistry, TheFirstHolderKeepsItsKeyAndStoredKeysStand) {
    const TempFolder folder;
    const std::string stored = Record(5, "five") + Record(6, "five") + Record(5, "six") + Record(0, "");
    folder.Write(L"strings.dat", stored);
    {
        StringRegistry registry;
        registry.RegisterString("before");
        ASSERT_TRUE(registry.BackByFile(UriOf(folder)));
        EXPECT_FALSE(registry.BackByFile(UriOf(folder)));
        EXPECT_FALSE(StringRegistry().BackByFile(UriOf(folder)));  // it is nobody else's
        EXPECT_TRUE(registry.RegisterString("badu"));
        for (const char* text : {"before", "five", "six", "", "badu", "banx", "banx"})
            EXPECT_FALSE(registry.RegisterString(text)) << text;
        for (const auto& [text, key] : {std::pair("five", 5U), {"six", 5}, {"banx", kCollidingKey}}) {
            unsigned int found = 0;
            EXPECT_TRUE(registry.GetKey(text, found));
            EXPECT_EQ(key, found);
        }
        for (const auto& [key, text] : {std::pair(5U, "five"), {6, "five"}, {kCollidingKey, "badu"}})
            EXPECT_EQ(text, StringOf(registry, key));
    }
    EXPECT_EQ(stored + Record(kCollidingKey, "badu") + Record(kCollidingKey, "banx"),
              folder.Read(L"strings.dat"));
}

// A process that is killed leaves a file that ends at any byte of a record.
TEST(StringRegistry, LoadsAndContinuesAFileThatEndsAtAnyByte) {
    const TempFolder folder;
    const std::vector<std::string> texts = {"abc", "", "a longer text than all the others", "d"};
    std::string whole;
    std::vector<std::size_t> ends = {0};
    for (const std::string& text : texts) ends.push_back((whole += Record(KeyOf(text), text)).size());
    EXPECT_EQ(std::string("\x0B\0\0\0\x11\x57\x51\xFB\0\0\0\0abc", 15), whole.substr(0, 15));
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        const auto records =
            static_cast<std::size_t>(std::upper_bound(ends.begin(), ends.end(), size) - ends.begin() - 1);
        folder.Write(L"strings.dat", whole.substr(0, size));
        {
            StringRegistry registry;
            ASSERT_TRUE(registry.BackByFile(UriOf(folder)));
            unsigned int key = 0;
            for (std::size_t i = 0; i < texts.size(); ++i)
                EXPECT_EQ(i < records, registry.GetKey(texts[i], key)) << i;
            EXPECT_TRUE(registry.RegisterString("x"));
        }
        EXPECT_EQ(whole.substr(0, ends[records]) + Record(KeyOf("x"), "x"), folder.Read(L"strings.dat"));
    }
}

TEST(StringRegistry, HostileFilesAreReadToTheirEndAndLeftAsTheyAre) {
    const TempFolder folder;
    const std::string good = Record(1, "good"), zeros(9, '\0');
    const struct {
        std::string rest;
        bool attached;
    } rows[] = {
        {zeros, true},  // what a power failure leaves
        {std::string("\xFF\xFF\xFF\xFF\x01\0\0\0\0\0\0\0x", 13), true},
        {std::string("\xFF\xFF\xFF\xFF\x01\0\0\0\x01", 9), false},
        {std::string("\x07\0\0\0\x01\0\0\0\0\0\0", 11), false},
        {std::string("\x04\0\0\0\x01\0\0\0", 8), false},
        {zeros + good, false},
        {"<?xml version=\"1.0\"?>", false},
        {std::string("\x09\0\0\0\x02\0\0\0\xAA\xBB\xCC\xDDy", 13), true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.rest));
        const std::string bytes = good + row.rest;
        const GuardedBuffer guarded(bytes.data(), bytes.size());
        detail::RegistryRecords records({guarded.Data(), bytes.size()});
        detail::RegistryRecord record{};
        while (records.Next(record)) EXPECT_TRUE(record.text == "good" || record.text == "y");
        EXPECT_EQ(row.attached, records.RestIsCutOff());

        folder.Write(L"strings.dat", bytes);
        StringRegistry registry;
        EXPECT_EQ(row.attached, registry.BackByFile(UriOf(folder)));
        EXPECT_EQ("good", StringOf(registry, 1));
        if (row.attached) continue;
        EXPECT_EQ(bytes, folder.Read(L"strings.dat"));
    }
}

TEST(StringRegistry, LogsWhatItCannotOpenAndWhatItDoes) {
    const TempFolder folder;
    LogInto(folder);
    folder.Write(L"strings.dat", Record(1, "x"));
    StringRegistry registry;
    for (const std::wstring& uri : {std::wstring(L"ftp://h/x"), std::wstring(L"file:///x#\x0436"),
                                    std::wstring(L"file:///C:/NUL"), L"file:///" + folder.Path(L"none/x")})
        EXPECT_FALSE(registry.BackByFile(uri));
    {
        const test::ImportPatch patch(L"CorvaneCommon.dll", "ReadFile", &ReadTooLittle);
        EXPECT_FALSE(registry.BackByFile(UriOf(folder)));
    }
    EXPECT_EQ("<none>", StringOf(registry, 1));
    EXPECT_TRUE(registry.BackByFile(UriOf(folder)));
    registry.RegisterString("new");
    CorvaneLogger::CV_Logger::TheLogger().flushDsts();
    const std::string failed =
                          "ERROR Code.StringRegistry : Failed to open string registry backing file. URI ",
                      log = folder.Read(L"log.txt");
    for (const std::string& line :
         {failed + "scheme 'ftp' is invalid: 'ftp://h/x'.",
          failed + "path '/x' is invalid: 'file:///x#\xD0\xB6'.",
          failed + "path 'C:\\NUL' is invalid: 'file:///C:/NUL'.",
          "DEBUG Code.StringRegistry : Unable to open " + folder.Narrow("none\\x"),
          "DEBUG Code.StringRegistry : Loading from " + folder.Narrow("strings.dat"),
          std::string("ERROR Code.StringRegistry : Failed to read string registry from backing file."),
          std::string("TRACE Code.StringRegistry : Saving new")})
        EXPECT_THAT(log, HasSubstr(line + "\n"));
}

TEST(StringRegistry, FullDiskDelaysRecordsAndLosesNone) {
    const TempFolder folder;
    LogInto(folder);
    const std::string first = Record(KeyOf("first"), "first"), rest = Record(KeyOf("second"), "second") +
                                                                      Record(KeyOf("third"), "third") +
                                                                      Record(KeyOf("x"), "x");
    {
        const test::ImportPatch patch(L"CorvaneCommon.dll", "WriteFile", &WriteUpToRoom);
        StringRegistry registry;
        ASSERT_TRUE(registry.BackByFile(UriOf(folder)));
        g_room = static_cast<DWORD>(first.size()) + 7;
        for (const char* text : {"first", "second", "third"}) EXPECT_TRUE(registry.RegisterString(text));
        g_room = 1000;
        EXPECT_TRUE(registry.RegisterString("x"));
    }
    EXPECT_EQ(first + rest, folder.Read(L"strings.dat"));
    const std::string log = folder.Read(L"log.txt"),
                      error = " : Failed to write string registry backing file. Error";
    EXPECT_THAT(log, HasSubstr(error + " code 112: "));
    EXPECT_EQ(log.find(error), log.rfind(error));
}

TEST(StringRegistry, ThreadsThatRegisterTheSameStringsAddEachOnce) {
    const TempFolder folder;
    {
        StringRegistry registry;
        ASSERT_TRUE(registry.BackByFile(UriOf(folder)));
        HANDLE threads[4];
        for (HANDLE& thread : threads)
            thread =
                reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, Register2000, &registry, 0, nullptr));
        ::WaitForMultipleObjects(4, threads, TRUE, INFINITE);
        for (const HANDLE thread : threads) ::CloseHandle(thread);
    }
    EXPECT_EQ(2000, g_added);
    EXPECT_EQ(0, g_wrong);
    const std::string bytes = folder.Read(L"strings.dat");
    detail::RegistryRecords records(bytes);
    detail::RegistryRecord record{};
    int written = 0;
    while (records.Next(record)) ++written;
    EXPECT_EQ(2000, written);
    EXPECT_EQ(0U, records.RestSize());
}
