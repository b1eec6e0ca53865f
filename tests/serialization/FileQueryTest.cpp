#include <ace/Time_Value.h>  // first: the Windows headers must come through it

#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

using test::TempFolder;

// seconds: after 2018-12-12 14:53:37.5 UTC
void SetTimes(const std::wstring& path, int createdSeconds, int modifiedSeconds) {
    const auto at = [](int seconds) {
        const ULONGLONG ticks = 131891000175000000 + static_cast<ULONGLONG>(seconds) * 10'000'000;
        return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32U)};
    };
    const FILETIME created = at(createdSeconds), modified = at(modifiedSeconds);
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ::SetFileTime(file, &created, nullptr, &modified);
    ::CloseHandle(file);
}

TEST(FileQuery, TimesAreReadAndComparedWithFilesAndValues) {
    const TempFolder temp;
    const std::wstring path = temp.Path(L"a"), older = temp.Path(L"b"), none = temp.Path(L"none");
    temp.Write(L"a", "");
    temp.Write(L"b", "");
    SetTimes(older, 0, 0);
    SetTimes(path, 10, 20);
    WIN32_FILE_ATTRIBUTE_DATA data;  // Wine cannot set the time of creation
    ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
    const ACE_Time_Value created(data.ftCreationTime), modified(1544626417 + 20, 500'000), tick(0, 1);
    ACE_Time_Value time;
    EXPECT_EQ(GetFileCreationTimestamp(path, time), 0U);
    EXPECT_EQ(time, created);
    EXPECT_EQ(GetFileLastModifiedTimestamp(path, time), 0U);
    EXPECT_EQ(time, modified);
    bool result = false;
    EXPECT_TRUE(WasFileModifiedAfter(path, older, result) == 0 && result);
    EXPECT_TRUE(WasFileModifiedAfter(older, path, result) == 0 && !result);
    EXPECT_TRUE(WasFileModifiedAfter(path, modified - tick, result) == 0 && result);
    EXPECT_TRUE(WasFileModifiedAfter(path, modified, result) == 0 && !result);
    EXPECT_TRUE(WasFileCreatedAfter(path, created - tick, result) == 0 && result);
    EXPECT_TRUE(WasFileCreatedAfter(path, created, result) == 0 && !result);
    result = true;
    EXPECT_TRUE(WasFileCreatedAfter(path, path, result) == 0 && !result);
    EXPECT_EQ(WasFileCreatedAfter(path, none, result), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(WasFileModifiedAfter(none, time, result), DWORD{ERROR_FILE_NOT_FOUND});

    EXPECT_EQ(TouchFile(none), 2U);
    EXPECT_FALSE(temp.Has(L"none"));
    EXPECT_EQ(TouchFile(path), 0U);
    EXPECT_TRUE(WasFileModifiedAfter(path, modified, result) == 0 && result);
}

TEST(FileQuery, SizesComeFromTheDirectoryEntry) {
    const TempFolder temp;
    temp.Write(L"a", "12345");
    unsigned long long size = 0;
    LARGE_INTEGER large = {};
    EXPECT_EQ(GetFilesize(temp.Path(L"a"), size), 0U);
    EXPECT_TRUE(GetFileSizeEx(temp.Path(L"a"), &large));
    EXPECT_TRUE(size == 5 && large.QuadPart == 5);
    EXPECT_EQ(GetFilesize(temp.Path(), size), 0U);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(GetFilesize(temp.Path(L"none"), size), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_FALSE(GetFileSizeEx(temp.Path(L"none"), &large));
    EXPECT_FALSE(GetFileSizeEx(temp.Path(L"a"), nullptr));
}

TEST(FileQuery, NamesAndTexts) {
    const std::pair<std::string, std::string> rows[] = {
        {"C:\\a\\b.txt", "b.txt"}, {"a/b\\c/d", "d"}, {"plain", "plain"}, {"a\\", ""}, {"", ""}};
    for (const auto& [path, expected] : rows) {
        std::string name = path;
        std::wstring wide(path.begin(), path.end());
        EXPECT_EQ(GetFilenameOnly(name, name), 0U);
        EXPECT_EQ(GetFilenameOnly(wide, wide), 0U);
        EXPECT_EQ(name, expected);
        EXPECT_EQ(wide, std::wstring(expected.begin(), expected.end()));
    }
    EXPECT_THAT(LastError(5), testing::StartsWith("Error code 5: "));
    std::wstring name, mine(MAX_PATH, L'\0');
    mine.resize(::GetModuleFileNameW(nullptr, mine.data(), MAX_PATH));
    EXPECT_EQ(GetProcessNameForPID(static_cast<int>(::GetCurrentProcessId()), name), 0U);
    EXPECT_EQ(::_wcsicmp(name.c_str(), mine.c_str()), 0);
    EXPECT_EQ(GetProcessNameForPID(-4, name), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(name.empty());
}

TEST(FileQuery, ATemporaryFileIsMadeAndTheLastErrorIsWhatTheCallsLeft) {
    std::wstring path, second;
    ::SetLastError(ERROR_NOT_READY);
    const unsigned long error = GetTempFilename(L"prefix", path);
    EXPECT_EQ(error, ::GetLastError());  // deliberate: whatever it is, the file is there
    EXPECT_NE(::GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES);
    GetTempFilename(L"prefix", second);
    EXPECT_NE(path, second);
    std::wstring name;
    GetFilenameOnly(path, name);
    EXPECT_EQ(name.substr(0, 3), L"pre");
    EXPECT_TRUE(::DeleteFileW(path.c_str()) && ::DeleteFileW(second.c_str()));
}

}  // namespace
}  // namespace WindowsAgentCommon
