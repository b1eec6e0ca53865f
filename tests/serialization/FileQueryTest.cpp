#include <ace/Time_Value.h>  // first: the Windows headers must come through it

#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/FolderLink.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

using namespace WindowsAgentCommon;

namespace {

using test::TempFolder;

LONGLONG ContentSize(const std::wstring& folder) {
    LARGE_INTEGER size = {};
    EXPECT_EQ(GetDirectoryContentSize(folder, size), 0U);
    return size.QuadPart;
}

bool IsEmpty(const std::wstring& folder) {
    bool isEmpty = false;
    return IsDirectoryEmpty(folder, isEmpty) == 0 && isEmpty;
}

TEST(Folder, MissingLevelsAreMadeAndTheFirstErrorEndsTheWalk) {
    const TempFolder temp;
    temp.Write(L"file", "");
    const std::wstring name = L"\\" + std::wstring(100, L'x');
    for (const std::wstring& path :
         {temp.Path(L"a\\b\\c"), temp.Path(L"a/b\\d\\"), temp.Path(name + name + name), std::wstring(L"C:\\"),
          std::wstring(L"\\\\?\\C:")}) {
        bool isFolder = false;
        EXPECT_EQ(CreateDirectoryRecursive(path), 0U) << path.substr(0, 60).c_str();
        EXPECT_TRUE(IsDirectory(path + L"\\", isFolder) == 0 && isFolder);
    }
    EXPECT_EQ(CreateDirectoryRecursive(temp.Path(L"file")), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(CreateDirectoryRecursive(temp.Path(L"file\\sub")), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(CreateDirectoryRecursive(L""), DWORD{ERROR_PATH_NOT_FOUND});
    for (const wchar_t* const path : {L"NUL", L"\\\\?\\Q:"})
        EXPECT_EQ(CreateDirectoryRecursive(path), DWORD{ERROR_INVALID_NAME});
    EXPECT_EQ(DeleteDirectoryContents(temp.Path(), nullptr), 0U);
    EXPECT_TRUE(IsEmpty(temp.Path()));
}

TEST(Folder, ContentsAreMeasuredAndDeletedByPattern) {
    const TempFolder temp;
    ASSERT_EQ(CreateDirectoryRecursive(temp.Path(L"sub.log\\deep")), 0U);
    const std::wstring dotted = L"\\\\?\\" + temp.Path(L"b.log.");  // must not be taken for "b.log"
    ::CreateDirectoryW(dotted.c_str(), nullptr);
    for (const wchar_t* name : {L"a.txt", L"b.log", L"sub.log\\b.log", L"sub.log\\deep\\d"})
        temp.Write(name, "123");
    const std::tuple<const wchar_t*, DWORD, LONGLONG> rows[] = {
        {L"*.none", 0, 12}, {L"b.log.", 0, 12}, {L"sub.log\\*", ERROR_INVALID_NAME, 12}, {L"*.log", 0, 3}};
    for (const auto& [pattern, error, left] : rows) {
        EXPECT_EQ(DeleteDirectoryContents(temp.Path(), pattern), error);
        EXPECT_EQ(ContentSize(temp.Path()), left);
    }
    const HANDLE held =
        ::CreateFileW(temp.Path(L"a.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    temp.Write(L"z.txt", "");
    EXPECT_EQ(DeleteDirectoryContents(temp.Path(), L"*"), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_FALSE(temp.Has(L"z.txt") || temp.Has(L"sub.log"));  // the walk went on
    ::CloseHandle(held);
    for (const std::wstring& none : {temp.Path(L"none"), std::wstring()})
        EXPECT_EQ(DeleteDirectoryContents(none, nullptr), DWORD{ERROR_PATH_NOT_FOUND});
}

TEST(Folder, LinksAreNotFollowed) {
    const TempFolder temp, other;
    other.Write(L"outside", "12345");
    temp.Write(L"inside", "123");
    const std::wstring& target = other.Path();
    const test::FolderLink link(temp.Path(L"link"), target.substr(0, target.size() - 1));
    ASSERT_TRUE(link.Exists());
    EXPECT_EQ(ContentSize(temp.Path()), 3);
    DeleteDirectoryContents(temp.Path(), L"*");  // Wine cannot remove the link: the result says nothing here
    EXPECT_FALSE(temp.Has(L"inside"));
    EXPECT_EQ(other.Read(L"outside"), "12345");
}

DWORD WINAPI DeleteInThread(void* folder) {
    LARGE_INTEGER size;
    const std::wstring& path = *static_cast<std::wstring*>(folder);
    return GetDirectoryContentSize(path, size) | DeleteDirectoryContents(path, nullptr);
}

// 250 levels on a stack of 128 KB stand for the 16,000 that a path can have on one of 1 MB.
TEST(Folder, DeepTreesNeedNoDeepStack) {
    const TempFolder temp;
    std::wstring path = temp.Path(), deep = L"\\\\?\\" + path + L"d";
    for (int level = 0; level < 250; ++level, deep += L"\\d")
        ASSERT_TRUE(::CreateDirectoryW(deep.c_str(), nullptr));
    const HANDLE thread =
        ::CreateThread(nullptr, 1U << 17U, DeleteInThread, &path, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    ::WaitForSingleObject(thread, INFINITE);
    ::CloseHandle(thread);
    EXPECT_TRUE(IsEmpty(path));
}

TEST(FileQuery, KindsAndSizesAreTold) {
    const TempFolder temp;
    const std::wstring file = temp.Path(L"a"), none = temp.Path(L"none");
    temp.Write(L"a", "12345");
    bool result = true;
    EXPECT_TRUE(IsDirectory(file, result) == 0 && !result);
    EXPECT_EQ(IsDirectoryEmpty(file, result), DWORD{ERROR_DIRECTORY});
    EXPECT_EQ(IsDirectory(none, result), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_FALSE(IsEmpty(temp.Path()) || IsDotFolder(L"...") || IsDotFolder(L"") || IsDotFolder(nullptr));
    EXPECT_TRUE(IsDotFolder(L".") && IsDotFolder(L".."));
    unsigned long long size = 0;
    LARGE_INTEGER large = {};
    EXPECT_TRUE(GetFilesize(file, size) == 0 && GetFileSizeEx(file, &large) && size == 5 &&
                large.QuadPart == 5);
    EXPECT_TRUE(GetFilesize(temp.Path(), size) == 0 && size == 0);
    EXPECT_EQ(GetFilesize(none, size), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_FALSE(GetFileSizeEx(none, &large) || GetFileSizeEx(file, nullptr));
}

TEST(FileQuery, TimesAreReadAndComparedWithFilesAndValues) {
    const TempFolder temp;
    const std::wstring path = temp.Path(L"a"), older = temp.Path(L"b"), none = temp.Path(L"none");
    for (const wchar_t* const name : {L"a", L"b"}) {
        temp.Write(name, "");
        const ULONGLONG ticks = 131891000175000000 + (name[0] == L'a') * 10;  // 2018-12-12 14:53:37.5 UTC
        const FILETIME time = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32U)};
        const HANDLE file =
            ::CreateFileW(temp.Path(name).c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        ::SetFileTime(file, nullptr, nullptr, &time);
        ::CloseHandle(file);
    }
    WIN32_FILE_ATTRIBUTE_DATA data;  // Wine cannot set the time of creation
    ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
    const ACE_Time_Value created(data.ftCreationTime), modified(1544626417, 500'001), tick(0, 1);
    ACE_Time_Value time;
    EXPECT_TRUE(GetFileCreationTimestamp(path, time) == 0 && time == created);
    EXPECT_TRUE(GetFileLastModifiedTimestamp(path, time) == 0 && time == modified);
    bool result = false;
    EXPECT_TRUE(WasFileModifiedAfter(path, older, result) == 0 && result);
    EXPECT_TRUE(WasFileModifiedAfter(older, path, result) == 0 && !result);
    EXPECT_TRUE(WasFileModifiedAfter(path, modified - tick, result) == 0 && result);
    EXPECT_TRUE(WasFileModifiedAfter(path, modified, result) == 0 && !result);
    EXPECT_TRUE(WasFileCreatedAfter(path, created - tick, result) == 0 && result);
    EXPECT_TRUE(WasFileCreatedAfter(path, path, result) == 0 && !result);
    EXPECT_EQ(WasFileCreatedAfter(path, none, result), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(WasFileModifiedAfter(none, time, result), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(TouchFile(none), 2U);
    EXPECT_FALSE(temp.Has(L"none"));
    EXPECT_TRUE(TouchFile(path) == 0 && WasFileModifiedAfter(path, modified, result) == 0 && result);
}

TEST(FileQuery, NamesOfFilesAndProcesses) {
    const std::pair<std::string, std::string> rows[] = {
        {"C:\\a\\b.txt", "b.txt"}, {"a/b\\c/d", "d"}, {"plain", "plain"}, {"a\\", ""}, {"", ""}};
    for (const auto& [path, expected] : rows) {
        std::string name = path;
        std::wstring wide(path.begin(), path.end());
        EXPECT_EQ(GetFilenameOnly(name, name) + GetFilenameOnly(wide, wide), 0U);
        EXPECT_EQ(name, expected);
        EXPECT_EQ(wide, std::wstring(expected.begin(), expected.end()));
    }
    EXPECT_EQ(LastError(5).substr(0, 14), "Error code 5: ");
    std::wstring name, mine(MAX_PATH, L'\0'), path;
    mine.resize(::GetModuleFileNameW(nullptr, mine.data(), MAX_PATH));
    EXPECT_EQ(GetProcessNameForPID(static_cast<int>(::GetCurrentProcessId()), name), 0U);
    EXPECT_EQ(::_wcsicmp(name.c_str(), mine.c_str()), 0);
    EXPECT_EQ(GetProcessNameForPID(-4, name), DWORD{ERROR_INVALID_PARAMETER});
    const unsigned long error = GetTempFilename(L"prefix", path);
    EXPECT_EQ(error, ::GetLastError());  // deliberate: whatever it is, the file is there
    GetFilenameOnly(path, name);
    EXPECT_EQ(name.substr(0, 3), L"pre");
    EXPECT_TRUE(::DeleteFileW(path.c_str()));
}

}  // namespace
