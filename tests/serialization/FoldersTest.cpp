#include <ace/Time_Value.h>  // first: the Windows headers must come through it

#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/KORException.h"
#include "tests/support/FolderLink.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <gmock/gmock.h>

#include <cstdio>

using namespace WindowsAgentCommon;

namespace {

using test::TempFolder;
using testing::StartsWith;

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

// 250 levels on a stack of 128 KB stand for the 16,000 that a path can have on one of 1 MB.
TEST(Folder, DeepTreesNeedNoDeepStack) {
    const TempFolder temp;
    std::wstring path = temp.Path(), deep = L"\\\\?\\" + path + L"d";
    for (int level = 0; level < 250; ++level, deep += L"\\d")
        ASSERT_TRUE(::CreateDirectoryW(deep.c_str(), nullptr));
    {
        const auto work = [&] {
            ContentSize(path);
            DeleteDirectoryContents(path, nullptr);
        };
        const test::Thread worker(work, 1U << 17U);
    }
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

std::string Octal(int width, std::size_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*o", width, static_cast<unsigned>(number));
    return text;
}

std::string Entry(const std::string& name, char type, const std::string& size, const std::string& data = "",
                  const std::string& prefix = "") {
    std::string header(512, '\0');
    header.replace(0, name.size(), name).replace(124, size.size(), size)[156] = type;
    if (!prefix.empty()) header.replace(257, 5, "ustar").replace(345, prefix.size(), prefix);
    header.replace(148, 8, 8, ' ');
    std::size_t sum = 0;
    for (const char byte : header) sum += static_cast<unsigned char>(byte);
    return header.replace(148, 6, Octal(6, sum)) + data + std::string((512 - data.size() % 512) % 512, '\0');
}

std::string File(const std::string& name, const std::string& data, const std::string& prefix = "") {
    return Entry(name, '0', Octal(11, data.size()), data, prefix);
}

std::string Folder(const std::string& name) { return Entry(name, '5', "0"); }

struct Tar : testing::Test {
    test::TempFolder temp;
    std::wstring dest = temp.Path(L"in");
    Tar() { ::CreateDirectoryW(dest.c_str(), nullptr); }

    unsigned int Extract(const std::string& archive) const {
        temp.Write(L"a.tar", archive);
        return BasicUnTar(temp.Path(L"a.tar"), dest);
    }
    // The exception's code and message; 0 and the count where there is none.
    std::pair<unsigned long, std::string> Failure(const std::string& archive) const {
        try {
            return {0, std::to_string(Extract(archive))};
        } catch (const KORException& failure) {
            EXPECT_EQ(failure.GetFunction(), "WindowsAgentCommon::BasicUnTar");
            EXPECT_THAT(failure.GetLocation(), testing::HasSubstr("FileUtil"));
            return {failure.GetLastError(), failure.what()};
        }
    }
};

TEST_F(Tar, ExtractsFoldersAndFilesBelowTheDestination) {
    const std::string block(512, 'b'), big(700'001, 'x'), name(100, 'n'), end(1024, '\0');
    EXPECT_EQ(Extract(Folder("./") + Folder("./a/b/") + File("block", block) + File("big.", big) +
                      File("empty", "") + File(name, "long") + File("p", "prefixed", "a/b") +
                      File("\xD0\xB6", "utf8") + Entry("link", '2', "") + Entry("old", '\0', "1", "o") + end),
              6U);
    const std::pair<std::wstring, std::string> files[] = {
        {L"block", block},    {L"big", big},
        {L"empty", "<none>"}, {std::wstring(100, L'n'), "long"},
        {L"link", "<none>"},  {L"a\\b\\p", "prefixed"},
        {L"\x0436", "utf8"},  {L"old", "o"}};
    for (const auto& [path, content] : files)
        EXPECT_TRUE(temp.Read(L"in\\" + path) == content) << content.substr(0, 99);
    EXPECT_EQ(Extract("") + Extract(end), 0U);
    dest = L"C:\\";
    EXPECT_EQ(Extract(Folder("./")), 0U);
    for (const wchar_t* const folder : {L"no", L"a.tar"})
        EXPECT_THROW(BasicUnTar(temp.Path(L"a.tar"), temp.Path(folder)), ObjectDoesNotExistException);
    EXPECT_THROW(BasicUnTar(temp.Path(L"no"), temp.Path()), ObjectDoesNotExistException);
}

TEST_F(Tar, DamagedArchivesFailWithTheirReasonAndKeepWhatWasExtracted) {
    const std::string header =
        "This does not appear to be a valid tar file, or the file is corrupt (file header checksum invalid).";
    const std::string create = "An error occurred when trying to create an extracted file (";
    const std::string folder = "An error occurred when trying to create an extracted directory (" +
                               temp.Narrow("in\\whole/sub); extraction aborted. Reason: Error code 183: ");
    const std::string write =
        "An error occurred when trying to write one of the files in the archive (f); extraction aborted. "
        "Reason: Error code 38: ";
    const std::string file = File("f", std::string(600, 'f'));
    const std::tuple<std::string, unsigned long, std::string> rows[] = {
        {std::string(file).replace(3, 1, "x"), ERROR_INVALID_DATA, header},
        {std::string(file).replace(148, 8, "garbage!"), ERROR_INVALID_DATA, header},
        {file.substr(0, 300), ERROR_HANDLE_EOF, header},
        {file.substr(0, 512), ERROR_HANDLE_EOF, write},
        {file.substr(0, 512 + 599), ERROR_HANDLE_EOF, write},
        {file.substr(0, 512 + 600), 0, "2"},  // only the padding is missing
        {Entry("f", '0', "777777777777"), ERROR_HANDLE_EOF, write},
        {Entry("f", '0', "00000000009"), ERROR_INVALID_DATA,
         create + "f); extraction aborted. Reason: Error "},
        {Entry("f", '0', "\x80"), ERROR_INVALID_DATA, create},
        {Entry("f", '0', "-1"), ERROR_INVALID_DATA, create},
        {Folder("d") + File("d", "1"), ERROR_ACCESS_DENIED, create},
        {File("no/f", "1"), ERROR_PATH_NOT_FOUND, create + "no/f)"},
        {Folder("whole/sub"), ERROR_ALREADY_EXISTS, folder},
        {Entry("x", 'x', "10", "pax data is read as a header"), ERROR_INVALID_DATA, header},
    };
    for (const auto& [archive, code, text] : rows) {
        const auto failure = Failure(File("whole", "1") + archive);
        EXPECT_EQ(failure.first, code);
        EXPECT_THAT(failure.second, StartsWith(text));
        EXPECT_EQ(temp.Read(L"in\\whole"), "1");
    }
    const std::string self = File("a.tar", "self");
    temp.Write(L"in\\a.tar", self);
    EXPECT_THROW(BasicUnTar(temp.Path(L"in\\a.tar"), dest), KORException);
    EXPECT_EQ(temp.Read(L"in\\a.tar"), self);
}

TEST_F(Tar, NamesThatLeadOutsideOrToDevicesAreRefused) {
    const std::string drive = temp.Narrow("out");
    for (const std::string name :
         {"/out",           "\\out",       "a/../../out", "..\\out",     ".. /out",
          "a/...",          drive.c_str(), "c:out",       "f:stream",    "//server/share/out",
          "\\\\?\\C:\\out", "NUL",         "nul.txt",     "CON .x",      "a/aux/b",
          "Prn.",           "com1",        "LPT9.tar.gz", "COM\xC2\xB2", "CONIN$",
          "conout$ ",       "a?",          "a\nb"}) {
        SCOPED_TRACE(name);
        const std::string text = "An error occurred when trying to create an extracted ";
        EXPECT_THAT(Failure(File(name, "1")).second, StartsWith(text + "file (" + name + "); extraction ab"));
        EXPECT_THAT(Failure(Folder(name)).second, StartsWith(text + "directory ("));
        EXPECT_EQ(Failure(Entry(name, '\0', "")).first, DWORD{ERROR_INVALID_NAME});
    }
    EXPECT_EQ(Failure(File("sub/", "1")).first, DWORD{ERROR_INVALID_NAME});
    EXPECT_FALSE(temp.Has(L"out"));
    EXPECT_TRUE(::RemoveDirectoryW(dest.c_str()));  // it is empty
    ::CreateDirectoryW(dest.c_str(), nullptr);
    EXPECT_EQ(Extract(File("console", "1") + File("COM0", "1") + File("nu.l", "1") + File("LPT10", "1")), 4U);
    ::CreateDirectoryW(temp.Path(L"out").c_str(), nullptr);
    const test::FolderLink link(dest + L"\\link", temp.Path(L"out"));
    ASSERT_TRUE(link.Exists());
    for (const std::string& entry : {File("link/f", "1"), Folder("link/d"), Folder("link")})
        EXPECT_EQ(Failure(entry).first, DWORD{ERROR_CANT_ACCESS_FILE});
    EXPECT_TRUE(::RemoveDirectoryW(temp.Path(L"out").c_str()));
}

}  // namespace
