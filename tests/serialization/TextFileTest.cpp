#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <winioctl.h>

namespace WindowsAgentCommon {
namespace {

using test::TempFolder;
using testing::ElementsAre;
using testing::Pair;
using Lines = std::vector<std::string>;
using Props = std::multimap<std::string, std::string>;

TEST(TextFile, TextComesBackAsItIsAndLinesEndAtLineFeeds) {
    const TempFolder temp;
    const std::pair<std::string, Lines> rows[] = {
        {"", {}},
        {"\n", {""}},
        {"a", {"a"}},
        {"a\r\nb\n", {"a", "b"}},
        {"\r\n\r\n\nx", {"", "", "", "x"}},
        {"a\rb\r\r\nc\r", {"a\rb\r", "c\r"}},
        {"\xEF\xBB\xBFk\n", {"\xEF\xBB\xBFk"}},
        {std::string("z\0z\n\0", 5), {std::string("z\0z", 3), std::string(1, '\0')}},
        {std::string(300'000, 'l') + "\n", {std::string(300'000, 'l')}},
    };
    for (const auto& [bytes, expected] : rows) {
        SCOPED_TRACE(&bytes - &rows[0].first);
        std::string text = "old";
        Lines lines{"old"};
        EXPECT_TRUE(SaveTextFile(temp.Path(L"f"), bytes));
        EXPECT_TRUE(temp.Read(L"f") == bytes);
        EXPECT_TRUE(ReadTextFile(temp.Path(L"f"), text));
        EXPECT_TRUE(text == bytes);
        EXPECT_TRUE(ReadTextFile(temp.Path(L"f"), lines));
        EXPECT_TRUE(lines == expected);
    }
    Lines lines{"a", "b"}, many(50'000, "line"), back;
    EXPECT_TRUE(SaveTextFile(temp.Path(L"f"), lines));
    EXPECT_EQ(temp.Read(L"f"), "a\r\nb\r\n");
    EXPECT_TRUE(SaveTextFile(temp.Path(L"f"), many));
    EXPECT_TRUE(ReadTextFile(temp.Path(L"f"), back));
    EXPECT_TRUE(back == many);
}

// A file of zeros that takes no room on the disk.
std::wstring MakeSparse(const TempFolder& temp, const std::wstring& name, LONGLONG size) {
    temp.Write(name, "");
    const HANDLE file =
        ::CreateFileW(temp.Path(name).c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD got = 0;
    ::DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &got, nullptr);
    LARGE_INTEGER end;
    end.QuadPart = size;
    EXPECT_TRUE(::SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && ::SetEndOfFile(file));
    ::CloseHandle(file);
    return temp.Path(name);
}

TEST(TextFile, WhatCannotBeReadOrDoesNotFitLeavesTheOutputAlone) {
    const TempFolder temp;
    const std::wstring beyondMemory = MakeSparse(temp, L"large", (1LL << 30U) - 16);
    const std::wstring beyondStrings = MakeSparse(temp, L"huge", (1LL << 32U) + 1);
    std::vector<void*> taken;  // until the second of 2 GB is not to be had
    while (void* const part = ::VirtualAlloc(nullptr, 1U << 28U, MEM_RESERVE, PAGE_NOACCESS))
        taken.push_back(part);
    for (const std::wstring& path : {beyondMemory, beyondStrings, temp.Path(L"none"), temp.Path()}) {
        std::string text = "kept";
        Lines lines{"kept"};
        Props props{{"kept", ""}};
        EXPECT_FALSE(ReadTextFile(path, text));
        EXPECT_FALSE(ReadTextFile(path, lines));
        EXPECT_NE(ReadPropFile(path, props), 0U);
        EXPECT_EQ(text + lines.at(0) + props.begin()->first, "keptkeptkept");
    }
    for (void* const part : taken) ::VirtualFree(part, 0, MEM_RELEASE);
    EXPECT_FALSE(SaveTextFile(temp.Path(L"no\\f"), "x"));
}

TEST(PropFile, LinesWithAnEqualsSignBecomeTrimmedPairs) {
    const TempFolder temp;
    Props props{{"had", "1"}};
    temp.Write(
        L"p",
        "\xEF\xBB\xBFkey = a=b\r\n\r\nno sign\n\tt\tt\t=\t1\t2\t\nkey=second\n = nameless\nbare\r=x\rend=1");
    EXPECT_EQ(ReadPropFile(temp.Path(L"p"), props), 0U);
    EXPECT_THAT(props, ElementsAre(Pair("", "nameless"), Pair("bare", "x\rend=1"), Pair("had", "1"),
                                   Pair("key", "a=b"), Pair("key", "second"), Pair("t t", "1 2")));
    EXPECT_EQ(ReadPropFile(temp.Path(L"none"), props), DWORD{ERROR_FILE_NOT_FOUND});
}

}  // namespace
}  // namespace WindowsAgentCommon
