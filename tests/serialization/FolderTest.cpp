#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/FolderLink.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace WindowsAgentCommon {
namespace {

using test::TempFolder;

LONGLONG ContentSize(const std::wstring& folder) {
    LARGE_INTEGER size = {};
    EXPECT_EQ(GetDirectoryContentSize(folder, size), 0U);
    return size.QuadPart;
}

TEST(Folder, MissingLevelsAreMadeAndTheFirstErrorEndsTheWalk) {
    const TempFolder temp;
    temp.Write(L"file", "");
    const std::wstring name(100, L'x');
    const std::pair<std::wstring, unsigned long> rows[] = {
        {temp.Path(L"a\\b\\c"), 0},
        {temp.Path(L"a\\b\\c\\"), 0},
        {temp.Path(L"a/d"), 0},
        {temp.Path(name + L"\\" + name + L"\\" + name), 0},
        {temp.Path(L"file"), ERROR_ALREADY_EXISTS},
        {temp.Path(L"file\\sub"), ERROR_ALREADY_EXISTS},
        {L"C:\\", 0},
        {L"", ERROR_PATH_NOT_FOUND},
        {L"NUL", ERROR_INVALID_NAME},
    };
    for (const auto& [path, error] : rows) {
        EXPECT_EQ(CreateDirectoryRecursive(path), error) << path.substr(0, 60).c_str();
        bool isFolder = false;
        const bool isThere = error == 0 && IsDirectory(path, isFolder) == 0;
        EXPECT_EQ(isThere && isFolder, error == 0);
    }
    EXPECT_NE(CreateDirectoryRecursive(L"Q:\\none"), 0U);
    EXPECT_EQ(DeleteDirectoryContents(temp.Path(), nullptr), 0U);
}

TEST(Folder, ContentsAreMeasuredAndDeletedByPattern) {
    const TempFolder temp;
    ASSERT_EQ(CreateDirectoryRecursive(temp.Path(L"sub.log\\deep")), 0U);
    const std::wstring dotted = L"\\\\?\\" + temp.Path(L"b.log.");  // must not be taken for "b.log"
    ::CreateDirectoryW(dotted.c_str(), nullptr);
    for (const wchar_t* name : {L"a.txt", L"b.log", L"sub.log\\c", L"sub.log\\deep\\d"})
        temp.Write(name, "123");
    EXPECT_EQ(ContentSize(temp.Path()), 12);
    EXPECT_EQ(DeleteDirectoryContents(temp.Path(), L"*.nothing"), 0U);
    EXPECT_EQ(DeleteDirectoryContents(temp.Path(), L"b.log."), 0U);
    EXPECT_EQ(ContentSize(temp.Path()), 12);
    EXPECT_EQ(DeleteDirectoryContents(temp.Path(), L"*.log"), 0U);
    EXPECT_EQ(ContentSize(temp.Path()), 3);
    EXPECT_FALSE(temp.Has(L"sub.log"));

    const HANDLE held =
        ::CreateFileW(temp.Path(L"a.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    temp.Write(L"z.txt", "");
    EXPECT_EQ(DeleteDirectoryContents(temp.Path(), L"*"), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_FALSE(temp.Has(L"z.txt"));  // the walk went on
    ::CloseHandle(held);
    EXPECT_EQ(DeleteDirectoryContents(temp.Path(L"none"), nullptr), DWORD{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(DeleteDirectoryContents(L"", nullptr), DWORD{ERROR_PATH_NOT_FOUND});
}

TEST(Folder, LinksAreNotFollowed) {
    const TempFolder temp, other;
    const std::wstring target = other.Path(L"target");
    ASSERT_EQ(CreateDirectoryRecursive(target), 0U);
    ASSERT_EQ(CreateDirectoryRecursive(temp.Path(L"sub")), 0U);
    other.Write(L"target\\outside", "12345");
    temp.Write(L"sub\\inside", "123");
    const test::FolderLink link(temp.Path(L"sub\\link"), target);
    ASSERT_TRUE(link.Exists());
    EXPECT_EQ(ContentSize(temp.Path()), 3);
    DeleteDirectoryContents(temp.Path(), L"*");  // Wine cannot remove the link: the result says nothing here
    EXPECT_FALSE(temp.Has(L"sub\\inside"));
    EXPECT_EQ(other.Read(L"target\\outside"), "12345");
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
    DWORD error = ERROR_INVALID_FUNCTION;
    EXPECT_TRUE(::GetExitCodeThread(thread, &error) && error == 0) << error;
    ::CloseHandle(thread);
    bool isEmpty = false;
    EXPECT_EQ(IsDirectoryEmpty(path, isEmpty), 0U);
    EXPECT_TRUE(isEmpty);
}

TEST(Folder, KindsAreToldApart) {
    const TempFolder temp;
    temp.Write(L"file", "");
    bool result = true;
    EXPECT_EQ(IsDirectory(temp.Path(L"file"), result), 0U);
    EXPECT_FALSE(result);
    EXPECT_EQ(IsDirectoryEmpty(temp.Path(L"file"), result), DWORD{ERROR_DIRECTORY});
    EXPECT_EQ(IsDirectory(temp.Path(L"none"), result), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(IsDirectoryEmpty(temp.Path(L"none"), result), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(IsDirectoryEmpty(temp.Path(), result), 0U);
    EXPECT_FALSE(result);
    EXPECT_TRUE(IsDotFolder(L".") && IsDotFolder(L".."));
    EXPECT_FALSE(IsDotFolder(L"...") || IsDotFolder(L"") || IsDotFolder(L".a") || IsDotFolder(nullptr));
}

}  // namespace
}  // namespace WindowsAgentCommon
