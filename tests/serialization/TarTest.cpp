#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/KORException.h"
#include "tests/support/FolderLink.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <cstdio>

using namespace WindowsAgentCommon;

namespace {

using testing::StartsWith;

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
