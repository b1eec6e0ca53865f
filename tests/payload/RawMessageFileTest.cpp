#include "WindowsAgentCommon/RawMessageFile.h"
#include "tests/support/LogLines.h"

#include "tests/support/ImportPatch.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace WindowsAgentCommon;
using namespace std::string_literals;

namespace {

using Messages = std::map<unsigned long, std::wstring>;

const std::string kFile =
    "\3\0\0\0\5\0\0\0\3\0\0\0a\0b\0\xAC\x20\7\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\2\0\0\0\0\0z\0"s;
const Messages kMessages = {{5, L"ab\u20AC"}, {7, L""}, {0xFFFFFFFF, L"\0z"s}};

struct RawMessageFileTest : testing::Test {
    // What was logged, "FILE" in place of the path and "..." in place of the system's text.
    std::string Said() {
        std::string said = std::exchange(lines.text, "");
        const std::string name = temp.Narrow("f");
        if (said.find(name) != std::string::npos) said.replace(said.find(name), name.size(), "FILE");
        if (said.find("Error code") != std::string::npos)
            said.replace(said.find("Error code"), said.npos, "...");
        return said;
    }

    const test::TempFolder temp;
    const std::wstring path = temp.Path(L"f");
    test::LogLines lines;
    CorvaneLogger::ALogger logger{"Code", &lines.base};
    Log log{logger};
};

LONGLONG g_size = 0;
BOOL WINAPI Size(HANDLE, LARGE_INTEGER* size) { return size->QuadPart = g_size, TRUE; }
BOOL WINAPI NoRead(HANDLE, void*, DWORD, DWORD*, OVERLAPPED*) { return ::SetLastError(ERROR_CRC), FALSE; }
BOOL WINAPI NoWrite(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) {
    return ::SetLastError(ERROR_DISK_FULL), FALSE;
}

TEST_F(RawMessageFileTest, TablesComeBackAsTheyWereSaved) {
    Messages messages = kMessages, none, large, back;
    EXPECT_TRUE(RawMessageFile::Save(path, messages, log) && temp.Read(L"f") == kFile);
    EXPECT_EQ(Said(), "400 Saved 3 raw messages to file FILE\n");
    back = {{5, L"kept"}};
    EXPECT_TRUE(RawMessageFile::Load(path, back, log));
    EXPECT_EQ(Said(), "400 Loaded 3 raw messages from file FILE\n");
    messages[5] = L"kept";
    EXPECT_EQ(back, messages);

    EXPECT_TRUE(RawMessageFile::Save(path, none, log) && temp.Read(L"f") == std::string(4, '\0'));
    EXPECT_TRUE(RawMessageFile::Load(path, none, log) && none.empty());
    EXPECT_EQ(Said(), "400 Saved 0 raw messages to file FILE\n400 Loaded 0 raw messages from file " +
                          temp.Narrow("f\n"));

    const std::wstring longPath = temp.Path() + std::wstring(250, L'n');
    for (unsigned long key = 0; key < 40; ++key)
        large[key] = std::wstring(key * 20'000, L'x') + L"\U0001F600";
    back.clear();
    EXPECT_TRUE(RawMessageFile::Save(longPath, large, log) && RawMessageFile::Load(longPath, back, log));
    EXPECT_EQ(back, large);
}

TEST_F(RawMessageFileTest, DamagedFilesGiveTheEntriesBeforeTheDamage) {
    const std::pair<std::string, std::string> rows[] = {
        {kFile + "x", "The file goes on behind entry 3 of 3"},
        {"\1\0\0\0\5\0\0\0\0\0\0\x80____"s, "The file ends inside entry 1 of 1"}};
    Messages none;
    for (const auto& [bytes, why] : rows) {
        temp.Write(L"f", bytes);
        EXPECT_FALSE(RawMessageFile::Load(path, none, log));
        EXPECT_EQ(Said(), "400 Unable to load raw message file FILE -- " + why + "\n");
    }
    for (std::size_t size = 1; size < kFile.size(); ++size) {
        SCOPED_TRACE(size);
        temp.Write(L"f", kFile.substr(0, size));
        Messages back;
        EXPECT_FALSE(RawMessageFile::Load(path, back, log));
        EXPECT_EQ(back.size(), size < 18 ? 0U : size < 26 ? 1U : 2U);
    }
}

TEST_F(RawMessageFileTest, WhatTheSystemRefusesIsLogged) {
    Messages messages = kMessages;
    EXPECT_FALSE(RawMessageFile::Load(path, messages, log));
    EXPECT_EQ(Said(), "400 Unable to open raw message file FILE -- ...");
    temp.Write(L"f", "");
    EXPECT_FALSE(RawMessageFile::Load(path, messages, log));
    EXPECT_EQ(Said(), "400 Raw message file FILE -- is empty\n");
    EXPECT_FALSE(RawMessageFile::Save(temp.Path(), messages, log));
    EXPECT_EQ(Said().find("400 Unable to create raw message file " + temp.Narrow() + " -- "), 0U);
    {
        const test::ImportPatch patch(L"CorvaneCommon.dll", "WriteFile", &NoWrite);
        EXPECT_FALSE(RawMessageFile::Save(path, messages, log));
        EXPECT_EQ(Said(), "400 Unable to write raw message file FILE -- ...");
    }
    const test::ImportPatch measure(L"CorvaneCommon.dll", "GetFileSizeEx", &Size);
    for (const LONGLONG size : {(5LL << 32U) + 8, (1LL << 31U) - 2, 100LL}) {  // beyond all, memory, the file
        g_size = size;
        EXPECT_FALSE(RawMessageFile::Load(path, messages, log));
        EXPECT_EQ(Said(), "400 Unable to load raw message file FILE -- "s +
                              (size > 100 ? "std::bad_alloc\n" : "The file was cut short\n"));
    }
    const test::ImportPatch patch(L"CorvaneCommon.dll", "ReadFile", &NoRead);
    EXPECT_FALSE(RawMessageFile::Load(path, messages, log));
    EXPECT_EQ(Said(), "400 Unable to load raw message file FILE -- ...");
    EXPECT_EQ(messages, kMessages);
}

}  // namespace
