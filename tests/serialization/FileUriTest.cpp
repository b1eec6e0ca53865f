#include "serialization/FileUri.h"

#include <gtest/gtest.h>

#include <utility>

namespace WindowsAgentCommon::detail {

TEST(FileUri, GivesThePathThatAWindowsUserExpectsOrNone) {
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"file:///C:/x/a.dat", L"C:\\x\\a.dat"},
        {L"file://LocalHost/c:/x", L"c:\\x"},
        {L"file:C:/x", L"C:\\x"},
        {L"file://C:/x", L"C:\\x"},
        {L"file:///C%3a\\a%20b/%2525", L"C:\\a b\\%25"},
        {L"file:///C:/\x0416%D0%B6", L"C:\\\x0416\x0436"},
        {L"file:///C:/%F0%9F%98%80", L"C:\\\xD83D\xDE00"},
        {L"file://server/share/a/b", L"\\\\server\\share\\a\\b"},
        {L"file://///server/share/x", L"\\\\server\\share\\x"}};
    std::wstring path;
    for (const auto& [uri, expected] : rows) {
        EXPECT_TRUE(FilePathOf(URIParser(uri), path)) << testing::PrintToString(uri);
        EXPECT_EQ(path, expected);
    }
    // No absolute path; bad escapes; another file than the one meant; no server, share or file; devices.
    path = L"as before";
    for (const wchar_t* const uri : {L"file:",
                                     L"file:///x",
                                     L"file:x",
                                     L"file:///C:",
                                     L"file:///C:x",
                                     L"file:///C:/",
                                     L"file:///C:/x/",
                                     L"file:///CC:/x",
                                     L"file:///%3A:/x",
                                     L"file:///C:/%4",
                                     L"file:///C:/%4g",
                                     L"file:///C:/%FF",
                                     L"file:///C:/\xD83D",
                                     L"file:///C:/a%00b",
                                     L"file:///C:/a#1.dat",
                                     L"file:///C:/a?b",
                                     L"file:///C:/a:s",
                                     L"file:///C:/a%3Fb",
                                     L"file://server/share",
                                     L"file://server/share/",
                                     L"file://server//x",
                                     L"file://server:80/share/x",
                                     L"file://user@server/share/x",
                                     L"file://./pipe/x",
                                     L"file://%3F/C:/x",
                                     L"file:////./C:/x",
                                     L"file:////%3F/C:/x",
                                     L"file:///%5C%5C.%5Cpipe%5Cx"})
        EXPECT_FALSE(FilePathOf(URIParser(uri), path)) << testing::PrintToString(uri);
    EXPECT_EQ(path, L"as before");
}

}  // namespace WindowsAgentCommon::detail
