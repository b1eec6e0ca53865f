#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <cstring>

using namespace WindowsAgentCommon;

namespace {

using test::ImportPatch;
using test::TempFolder;
using testing::Pair;
using Lines = std::vector<std::string>;
using Props = std::multimap<std::string, std::string>;

TEST(TextFile, TextComesBackAsItIsAndLinesEndAtLineFeeds) {
    const TempFolder temp;
    const std::wstring path = temp.Path(L"f");
    const std::pair<std::string, Lines> rows[] = {
        {"", {}},
        {"\n", {""}},
        {"a\r\nb\n", {"a", "b"}},
        {"\r\n\r\n\nx", {"", "", "", "x"}},
        {"a\rb\r\r\nc\r", {"a\rb\r", "c\r"}},
        {"\xEF\xBB\xBFk\n", {"\xEF\xBB\xBFk"}},
        {std::string("z\0z\n\0", 5), {std::string("z\0z", 3), std::string(1, '\0')}},
        {std::string(300'000, 'l') + "\n", {std::string(300'000, 'l')}}};
    for (const auto& [bytes, expected] : rows) {
        SCOPED_TRACE(bytes.substr(0, 9));
        std::string text = "old";
        Lines lines{"old"};
        EXPECT_TRUE(SaveTextFile(path, bytes) && temp.Read(L"f") == bytes);
        EXPECT_TRUE(ReadTextFile(path, text) && text == bytes);
        EXPECT_TRUE(ReadTextFile(path, lines) && lines == expected);
    }
    Lines lines{"a", "b"}, many(50'000, "line"), back;
    EXPECT_TRUE(SaveTextFile(path, lines) && temp.Read(L"f") == "a\r\nb\r\n");
    EXPECT_TRUE(SaveTextFile(path, many) && ReadTextFile(path, back) && back == many);
    EXPECT_FALSE(SaveTextFile(temp.Path(L"no\\f"), "x"));
}

LONGLONG g_size = 0;  // of a file that holds line feeds only

BOOL WINAPI Size(HANDLE, LARGE_INTEGER* size) { return size->QuadPart = g_size, TRUE; }

BOOL WINAPI Feeds(HANDLE, void* bytes, DWORD count, DWORD* got, OVERLAPPED*) {
    std::memset(bytes, '\n', *got = count);
    return TRUE;
}

void ExpectUnread(const std::wstring& path, unsigned long error) {
    SCOPED_TRACE(g_size);
    std::string text = "kept";
    Lines lines{"kept"};
    Props props{{"kept", ""}};
    EXPECT_TRUE(ReadTextFile(path, text) || text == "kept");
    EXPECT_FALSE(ReadTextFile(path, lines));
    EXPECT_EQ(ReadPropFile(path, props), error);
    EXPECT_EQ(lines.at(0) + props.begin()->first, "keptkept");
}

TEST(TextFile, WhatCannotBeReadOrDoesNotFitLeavesTheOutputAlone) {
    const TempFolder temp;
    temp.Write(L"f", "");
    ExpectUnread(temp.Path(L"none"), ERROR_FILE_NOT_FOUND);
    const ImportPatch measure(L"CorvaneCommon.dll", "GetFileSizeEx", &Size);
    const ImportPatch read(L"CorvaneCommon.dll", "ReadFile", &Feeds);
    for (const LONGLONG size :
         {(1LL << 32U) + 1, (1LL << 31U) - 2, 90'000'000LL}) {  // beyond strings, memory, vectors
        g_size = size;
        ExpectUnread(temp.Path(L"f"), ERROR_NOT_ENOUGH_MEMORY);
    }
}

TEST(PropFile, LinesWithAnEqualsSignBecomeTrimmedPairs) {
    const TempFolder temp;
    Props props{{"had", "1"}};
    temp.Write(
        L"p",
        "\xEF\xBB\xBFkey = a=b\r\n\r\nno sign\n\tt\tt\t=\t1\t2\t\nkey=second\n = nameless\nbare\r=x\rend=1");
    EXPECT_EQ(ReadPropFile(temp.Path(L"p"), props), 0U);
    EXPECT_THAT(props, testing::ElementsAre(Pair("", "nameless"), Pair("bare", "x\rend=1"), Pair("had", "1"),
                                            Pair("key", "a=b"), Pair("key", "second"), Pair("t t", "1 2")));
}

}  // namespace
