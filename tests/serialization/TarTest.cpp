#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/KORException.h"
#include "tests/support/FolderLink.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <functional>

namespace WindowsAgentCommon {
namespace {

using test::TempFolder;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kEnd(1024, '\0');

std::string Sealed(std::string header) {
    header.replace(148, 8, 8, ' ');
    unsigned sum = 0;
    for (const char byte : header) sum += static_cast<unsigned char>(byte);
    char text[16];
    std::snprintf(text, sizeof text, "%06o", sum);
    return header.replace(148, 7, text, 7);
}

std::string Header(const std::string& name, char type, const std::string& size,
                   const std::string& prefix = "") {
    std::string header(512, '\0');
    header.replace(0, name.size(), name).replace(124, size.size(), size)[156] = type;
    if (!prefix.empty())
        header
            .replace(257, 8,
                     "ustar\0"
                     "00",
                     8)
            .replace(345, prefix.size(), prefix);
    return Sealed(header);
}

std::string File(const std::string& name, const std::string& data, const std::string& prefix = "") {
    char size[16];
    std::snprintf(size, sizeof size, "%011o", static_cast<unsigned>(data.size()));
    return Header(name, '0', size, prefix) + data + std::string((512 - data.size() % 512) % 512, '\0');
}

std::string Folder(const std::string& name) { return Header(name, '5', "00000000000"); }

struct Tar : testing::Test {
    TempFolder temp;
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
            EXPECT_THAT(failure.GetLocation(), HasSubstr("FileUtil"));
            return {failure.GetLastError(), failure.what()};
        }
    }
};

TEST_F(Tar, ExtractsFoldersAndFilesBelowTheDestinationAndStaysInTheWorkingFolder) {
    wchar_t before[MAX_PATH], after[MAX_PATH];
    ::GetCurrentDirectoryW(MAX_PATH, before);
    const std::string block(512, 'b'), big(700'001, 'x'), name(100, 'n');
    EXPECT_EQ(
        Extract(Folder("./") + Folder("./a/b/") + File("a/b/one", "1") + File("block", block) +
                File("big.", big) + File("empty", "") + File(name, "long") + File("p", "prefixed", "a/b") +
                File("\xD0\xB6", "utf8") + Header("link", '2', "") + File("after", "2") + kEnd),
        7U);
    const std::pair<std::wstring, std::string> files[] = {{L"in\\a\\b\\one", "1"},
                                                          {L"in\\block", block},
                                                          {L"in\\big", big},
                                                          {L"in\\empty", "<none>"},
                                                          {L"in\\" + std::wstring(100, L'n'), "long"},
                                                          {L"in\\a\\b\\p", "prefixed"},
                                                          {L"in\\\x0436", "utf8"},
                                                          {L"in\\link", "<none>"},
                                                          {L"in\\after", "2"}};
    for (const auto& [path, content] : files)
        EXPECT_TRUE(temp.Read(path) == content) << temp.Read(path).substr(0, 99);
    ::GetCurrentDirectoryW(MAX_PATH, after);
    EXPECT_STREQ(before, after);
    EXPECT_EQ(Extract(kEnd), 0U);
    EXPECT_EQ(Extract(""), 0U);
}

TEST_F(Tar, MissingArchiveOrDestinationIsAnObjectThatDoesNotExist) {
    temp.Write(L"a.tar", kEnd);
    EXPECT_THROW(BasicUnTar(temp.Path(L"b.tar"), dest), ObjectDoesNotExistException);
    EXPECT_THROW(BasicUnTar(temp.Path(L"a.tar"), temp.Path(L"no")), ObjectDoesNotExistException);
    EXPECT_THROW(BasicUnTar(temp.Path(L"a.tar"), temp.Path(L"a.tar")), ObjectDoesNotExistException);
}

TEST_F(Tar, DamagedArchivesFailWithTheirReasonAndKeepWhatWasExtracted) {
    const char* const header =
        "This does not appear to be a valid tar file, or the file is corrupt "
        "(file header checksum invalid).";
    const char* const create =
        "An error occurred when trying to create an extracted file (f); extraction aborted. "
        "Reason: Error code ";
    const char* const folder = "An error occurred when trying to create an extracted directory (";
    const char* const write =
        "An error occurred when trying to write one of the files in the archive (f); "
        "extraction aborted. Reason: Error code 38: ";
    const std::string file = File("f", std::string(600, 'f'));
    std::string altered = file, noSum = file;
    altered[3] = 'x';
    noSum.replace(148, 8, "garbage!");
    const struct {
        std::string archive;
        unsigned long code;
        const char* text;
    } rows[] = {
        {altered, ERROR_INVALID_DATA, header},
        {noSum, ERROR_INVALID_DATA, header},
        {file.substr(0, 300), ERROR_HANDLE_EOF, header},
        {file.substr(0, 512), ERROR_HANDLE_EOF, write},
        {file.substr(0, 512 + 599), ERROR_HANDLE_EOF, write},
        {Header("f", '0', "77777777777") + "few", ERROR_HANDLE_EOF, write},
        {Header("f", '0', "777777777777"), ERROR_HANDLE_EOF, write},
        {Header("f", '0', "00000000009"), ERROR_INVALID_DATA, create},
        {Header("f", '0', std::string("\x80\0\0\0\0\0\0\0\0\0\0\1", 12)), ERROR_INVALID_DATA, create},
        {Header("f", '0', "-1"), ERROR_INVALID_DATA, create},
        {Folder("f") + file, ERROR_ACCESS_DENIED, create},
        {File("no/f", "1"), ERROR_PATH_NOT_FOUND,
         "An error occurred when trying to create an extracted file (no/f)"},
        {Folder("whole/sub"), ERROR_ALREADY_EXISTS, folder},
        {Header("x", 'x', "00000000010") + std::string(512, 'p'), ERROR_INVALID_DATA, header},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        ::DeleteFileW(temp.Path(L"in\\f").c_str());
        ::RemoveDirectoryW(temp.Path(L"in\\f").c_str());
        const auto [code, text] = Failure(File("whole", "1") + row.archive);
        EXPECT_EQ(code, row.code);
        EXPECT_THAT(text, StartsWith(row.text));
        EXPECT_EQ(temp.Read(L"in\\whole"), "1");
    }
    EXPECT_EQ(Failure(file.substr(0, 512 + 600)).second,
              "1");  // the padding may be missing, the data is there
    temp.Write(L"in\\a.tar", File("a.tar", "self"));
    EXPECT_THROW(BasicUnTar(temp.Path(L"in\\a.tar"), dest), KORException);
    EXPECT_EQ(temp.Read(L"in\\a.tar"), File("a.tar", "self"));
}

TEST_F(Tar, NamesThatLeadOutsideOrToDevicesAreRefused) {
    const std::string drive = temp.Narrow("out");
    for (const std::string& name : {std::string("/out"),
                                    std::string("\\out"),
                                    std::string("../out"),
                                    std::string("a/../../out"),
                                    std::string("..\\out"),
                                    std::string(".. /out"),
                                    std::string("a/..."),
                                    drive,
                                    std::string("c:out"),
                                    std::string("f:stream"),
                                    std::string("//server/share/out"),
                                    std::string("\\\\?\\C:\\out"),
                                    std::string("NUL"),
                                    std::string("nul.txt"),
                                    std::string("CON .x"),
                                    std::string("a/aux/b"),
                                    std::string("Prn."),
                                    std::string("com1"),
                                    std::string("LPT9.tar.gz"),
                                    std::string("COM\xC2\xB2"),
                                    std::string("CONIN$"),
                                    std::string("conout$ "),
                                    std::string("a?"),
                                    std::string("a\nb"),
                                    std::string("sub/")}) {
        SCOPED_TRACE(name);
        const auto [code, text] = Failure(File(name, "1"));
        EXPECT_EQ(code, DWORD{ERROR_INVALID_NAME});
        EXPECT_THAT(text,
                    HasSubstr("create an extracted file (" + name + "); extraction aborted. Reason: Error"));
        if (name == "sub/") continue;
        EXPECT_THAT(Failure(Folder(name)).second, HasSubstr("create an extracted directory ("));
        EXPECT_EQ(Failure(Header(name, '\0', "")).first, DWORD{ERROR_INVALID_NAME});
    }
    bool isEmpty = false;
    EXPECT_EQ(IsDirectoryEmpty(dest, isEmpty), 0U);
    EXPECT_TRUE(isEmpty);
    EXPECT_FALSE(temp.Has(L"out"));
    EXPECT_EQ(Extract(File("console", "1") + File("COM0", "1") + File("nu.l", "1") + File("LPT10", "1")), 4U);
}

TEST_F(Tar, NothingIsWrittenThroughALink) {
    const std::wstring out = temp.Path(L"out");
    ::CreateDirectoryW(out.c_str(), nullptr);
    const test::FolderLink link(temp.Path(L"in\\link"), out);
    ASSERT_TRUE(link.Exists());
    EXPECT_EQ(Failure(File("link/f", "1")).first, DWORD{ERROR_CANT_ACCESS_FILE});
    EXPECT_EQ(Failure(Folder("link/d")).first, DWORD{ERROR_CANT_ACCESS_FILE});
    EXPECT_EQ(Failure(Folder("link")).first, DWORD{ERROR_CANT_ACCESS_FILE});
    bool isEmpty = false;
    EXPECT_EQ(IsDirectoryEmpty(out, isEmpty), 0U);
    EXPECT_TRUE(isEmpty);
}

}  // namespace
}  // namespace WindowsAgentCommon
