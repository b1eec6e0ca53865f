#include "WindowsAgentCommon/StringRegistry.h"

#include "serialization/RegistryRecords.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <vector>

using namespace WindowsAgentCommon;
using test::ImportPatch;
using testing::HasSubstr;

namespace {

constexpr unsigned int kCollidingKey = 0x4AE754BE;  // of "badu" and of "banx"
constexpr wchar_t kDll[] = L"CorvaneCommon.dll";

std::string Record(unsigned int key, const std::string& text) {
    std::string record;
    detail::AppendRegistryRecord(record, {key, text});
    return record;
}

std::string Record(const std::string& text) {
    unsigned int key = 0;
    StringRegistry().RegisterString(text, key);
    return Record(key, text);
}

std::string StringOf(const StringRegistry& registry, unsigned int key) {
    std::string text = "<none>";
    registry.GetString(key, text);
    return text;
}

struct Registry : testing::Test {
    test::TempFolder folder;
    const std::wstring uri = L"file:///" + folder.Path(L"strings.dat");
};

// --- the DLL's calls of the system, replaced ---

DWORD g_room = 0;  // bytes that the disk still takes

BOOL WINAPI WriteUpToRoom(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* at) {
    const DWORD taken = std::min(size, g_room);
    g_room -= taken;
    const BOOL done = ::WriteFile(file, bytes, taken, written, at);
    if (taken < size) ::SetLastError(ERROR_DISK_FULL);
    return taken < size ? FALSE : done;
}

BOOL WINAPI ReadTooLittle(HANDLE file, void* bytes, DWORD size, DWORD* got, OVERLAPPED* at) {
    return ::ReadFile(file, bytes, size - 1, got, at);
}

BOOL WINAPI ReadAsFromAnotherMachine(HANDLE file, void* bytes, DWORD size, DWORD* got, OVERLAPPED* at) {
    if (size <= 64 * 1024) return ::ReadFile(file, bytes, size, got, at);
    ::SetLastError(ERROR_NO_SYSTEM_RESOURCES);  // on XP, though not for so little
    return FALSE;
}

int g_cuts = 0;  // that are still allowed

BOOL WINAPI CutSome(HANDLE file) { return g_cuts-- > 0 && ::SetEndOfFile(file); }

}  // namespace

TEST_F(Registry, MakesKeysOfSignedBytesAndFindsEachByTheOther) {
    const std::pair<std::string, unsigned int> rows[] = {
        {"", 0}, {"a", 0x9E377A1A}, {"\xE9", 0x9E3779A2}, {"f\xC3\xBCr", 0x4AE98907}};
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
    EXPECT_TRUE(registry.RegisterString(std::string("\0a\0", 3)));
    EXPECT_FALSE(registry.RegisterString(L"f\x00FCr"));
    EXPECT_TRUE(registry.GetString(rows[3].second, wide) && wide == L"f\x00FCr");
    EXPECT_EQ(GetGlobalStringRegistry(), GetGlobalStringRegistry());
}

TEST_F(Registry, TheFirstHolderKeepsItsKeyAndStoredKeysStand) {
    const std::string stored = Record(5, "five") + Record(6, "five") + Record(5, "six") + Record(0, "");
    folder.Write(L"strings.dat", stored);
    auto owner = std::make_unique<StringRegistry>();
    StringRegistry& registry = *owner;
    registry.RegisterString("before");
    ASSERT_TRUE(registry.BackByFile(uri));
    EXPECT_FALSE(registry.BackByFile(uri) || StringRegistry().BackByFile(uri));  // it is nobody else's
    EXPECT_TRUE(registry.RegisterString("badu"));
    for (const char* text : {"before", "five", "six", "", "badu", "banx", "banx"})
        EXPECT_FALSE(registry.RegisterString(text)) << text;
    unsigned int found = 0;
    for (const auto& [text, key] : {std::pair("five", 5U), {"six", 5}, {"banx", kCollidingKey}})
        EXPECT_TRUE(registry.GetKey(text, found) && found == key) << text;
    for (const auto& [key, text] : {std::pair(5U, "five"), {6, "five"}, {kCollidingKey, "badu"}})
        EXPECT_EQ(text, StringOf(registry, key));
    owner.reset();  // and the file is everybody's
    EXPECT_EQ(stored + Record("badu") + Record("banx"), folder.Read(L"strings.dat"));
}

// A process that is killed leaves a file that ends at any byte of a record.
TEST_F(Registry, LoadsAndContinuesAFileThatEndsAtAnyByte) {
    const std::vector<std::string> texts = {"abc", "", "a longer text than all the others"};
    std::string whole;
    std::vector<std::size_t> ends = {0};
    for (const std::string& text : texts) ends.push_back((whole += Record(text)).size());
    EXPECT_EQ(std::string("\x0B\0\0\0\x11\x57\x51\xFB\0\0\0\0abc", 15), whole.substr(0, 15));
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        const auto records =
            static_cast<std::size_t>(std::upper_bound(ends.begin(), ends.end(), size) - ends.begin() - 1);
        folder.Write(L"strings.dat", whole.substr(0, size));
        {
            StringRegistry registry;
            ASSERT_TRUE(registry.BackByFile(uri));
            unsigned int key = 0;
            for (std::size_t i = 0; i < texts.size(); ++i)
                EXPECT_EQ(i < records, registry.GetKey(texts[i], key)) << i;
            EXPECT_TRUE(registry.RegisterString("x"));
        }
        EXPECT_EQ(whole.substr(0, ends[records]) + Record("x"), folder.Read(L"strings.dat"));
    }
    folder.Write(L"strings.dat", Record(std::string(100'000, 'x')) + whole);
    const ImportPatch patch(kDll, "ReadFile", &ReadAsFromAnotherMachine);
    StringRegistry registry;
    unsigned int key = 0;
    EXPECT_TRUE(registry.BackByFile(uri) && registry.GetKey("abc", key));
}

TEST_F(Registry, HostileFilesAreReadToTheirEndAndLeftAsTheyAre) {
    const std::string good = Record(1, "good"), zeros(9, '\0');
    const std::pair<std::string, bool> rows[] = {
        {zeros, true},  // what a power failure leaves
        {std::string("\xFF\xFF\xFF\xFF\x01\0\0\0\0\0\0\0x", 13), true},
        {std::string("\x09\0\0\0\x02\0\0\0\xAA\xBB\xCC\xDDy", 13), true},
        {std::string("\xFF\xFF\xFF\xFF\x01\0\0\0\x01", 9), false},
        {std::string("\x07\0\0\0\x01\0\0\0\0\0\0", 11), false},
        {zeros + good, false},
        {"<?xml version=\"1.0\"?>", false}};
    for (const auto& [rest, attached] : rows) {
        SCOPED_TRACE(testing::PrintToString(rest));
        const std::string bytes = good + rest;
        folder.Write(L"strings.dat", bytes);
        StringRegistry registry;
        EXPECT_EQ(attached, registry.BackByFile(uri));
        EXPECT_EQ("good", StringOf(registry, 1));
        EXPECT_TRUE(attached || bytes == folder.Read(L"strings.dat"));
    }
}

TEST_F(Registry, LogsWhatItCannotOpenAndWhatItDoes) {
    test::LogLines lines("Code.StringRegistry");
    folder.Write(L"strings.dat", Record(1, "x"));
    StringRegistry registry;
    for (const std::wstring& bad : {std::wstring(L"ftp://h/x"), std::wstring(L"file:///x#\x0436"),
                                    std::wstring(L"file:///C:/NUL"), L"file:///" + folder.Path(L"\x0436/x")})
        EXPECT_FALSE(registry.BackByFile(bad));
    {
        const ImportPatch patch(kDll, "ReadFile", &ReadTooLittle);
        EXPECT_FALSE(registry.BackByFile(uri));
    }
    EXPECT_EQ("<none>", StringOf(registry, 1));
    EXPECT_TRUE(registry.BackByFile(uri) && registry.RegisterString("new"));
    const std::string failed = "100 Failed to open string registry backing file. URI ";
    for (const std::string& line : {failed + "scheme 'ftp' is invalid: 'ftp://h/x'.",
                                    failed + "path '/x' is invalid: 'file:///x#\xD0\xB6'.",
                                    failed + "path 'C:\\NUL' is invalid: 'file:///C:/NUL'.",
                                    "400 Unable to open " + folder.Narrow("\xD0\xB6\\x"),
                                    "400 Loading from " + folder.Narrow("strings.dat"),
                                    std::string("100 Failed to read string registry from backing file."),
                                    std::string("500 Saving new")})
        EXPECT_THAT(lines.text, HasSubstr(line + "\n"));
}

TEST_F(Registry, FullDiskDelaysRecordsAndLosesNone) {
    test::LogLines lines("Code.StringRegistry");
    const std::string first = Record("first"), rest = Record("second") + Record("third") + Record("x");
    {
        const ImportPatch write(kDll, "WriteFile", &WriteUpToRoom);
        const ImportPatch cut(kDll, "SetEndOfFile", &CutSome);
        folder.Write(L"strings.dat", "cut");
        g_cuts = 1;  // what is whole in the file stays in it
        StringRegistry registry;
        ASSERT_TRUE(registry.BackByFile(uri));
        g_room = static_cast<DWORD>(first.size()) + 7;
        for (const char* text : {"first", "second", "third"}) EXPECT_TRUE(registry.RegisterString(text));
        g_room = 1000;
        EXPECT_TRUE(registry.RegisterString("x"));
    }
    EXPECT_EQ(first + rest, folder.Read(L"strings.dat"));
    const std::string error = "Failed to write string registry backing file. Error";
    EXPECT_THAT(lines.text, HasSubstr(error + " code 112: "));
    EXPECT_EQ(lines.text.find(error), lines.text.rfind(error));
}

TEST_F(Registry, ThreadsThatRegisterTheSameStringsAddEachOnce) {
    std::atomic<int> added{0}, wrong{0};
    auto owner = std::make_unique<StringRegistry>();
    StringRegistry& registry = *owner;
    ASSERT_TRUE(registry.BackByFile(uri));
    const auto work = [&] {
        for (int i = 1000; i < 3000; ++i) {
            const std::string text = std::to_string(i);
            unsigned int key = 0, found = 1;
            if (registry.RegisterString(text, key)) ++added;
            if (!registry.GetKey(text, found) || found != key) ++wrong;
        }
    };
    { const test::Thread threads[] = {test::Thread(work), test::Thread(work), test::Thread(work)}; }
    EXPECT_TRUE(added == 2000 && wrong == 0) << added;
    owner.reset();  // and the file is everybody's
    EXPECT_EQ(2000 * (detail::kRegistryHeadSize + 4), folder.Read(L"strings.dat").size());
}
