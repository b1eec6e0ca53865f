#include "serialization/FileUri.h"

#include <gtest/gtest.h>

#include <utility>

namespace WindowsAgentCommon::detail {
namespace {

TEST(FileUri, GivesThePathThatAWindowsUserExpects) {
    const std::pair<std::wstring, std::wstring> rows[] = {
        {L"file:///C:/x/strings.dat", L"C:\\x\\strings.dat"},
        {L"file://localhost/C:/x", L"C:\\x"},
        {L"file://LocalHost/c:/x", L"c:\\x"},
        {L"file:/C:/x", L"C:\\x"},
        {L"file:C:/x", L"C:\\x"},
        {L"file://C:/x", L"C:\\x"},
        {L"file:///C:\\a/b", L"C:\\a\\b"},
        {L"file:///C%3a/a%20b%2525", L"C:\\a b%25"},
        {L"file:///C:/\x0416%D0%B6", L"C:\\\x0416\x0436"},
        {L"file:///C:/%F0%9F%98%80", L"C:\\\xD83D\xDE00"},
        {L"file://server/share/a/b", L"\\\\server\\share\\a\\b"},
        {L"file://///server/share/x", L"\\\\server\\share\\x"},
    };
    for (const auto& [uri, expected] : rows) {
        SCOPED_TRACE(uri);
        std::wstring path;
        EXPECT_TRUE(FilePathOf(URIParser(uri), path));
        EXPECT_EQ(path, expected);
    }
}

TEST(FileUri, RefusesWhatNamesNoFileByAnAbsolutePath) {
    for (const std::wstring uri :
         {L"file:", L"file://", L"file:///", L"file:///x", L"file:x", L"file:///C:", L"file:///C:x",
          L"file:///C:/", L"file:///C:/x/", L"file:///CC:/x", L"file:///%3A:/x", L"file://localhost/share/x",
          // escapes and text that are none
          L"file:///C:/%", L"file:///C:/%4", L"file:///C:/%4g", L"file:///C:/%FF", L"file:///C:/%C0%AF",
          L"file:///C:/%ED%A0%80", L"file:///C:/\xD83D", L"file:///C:/a%00b", L"file:///C:/a%0Ab",
          // another file than the one meant
          L"file:///C:/a#1.dat", L"file:///C:/a?b", L"file:///C:/a:stream", L"file:///C:/a%3Fb",
          L"file:///C:/*",
          // no server, no share, no file; doors to devices
          L"file://server", L"file://server/", L"file://server/share", L"file://server/share/",
          L"file://server//x", L"file://server:8080/share/x", L"file://user@server/share/x",
          L"file://./pipe/x", L"file://%3F/C:/x", L"file://../share/x", L"file:////./C:/x",
          L"file:////%3F/C:/x", L"file:///%5C%5C.%5Cpipe%5Cx"}) {
        SCOPED_TRACE(uri);
        std::wstring path = L"as before";
        EXPECT_FALSE(FilePathOf(URIParser(uri), path));
        EXPECT_EQ(path, L"as before");
    }
}

}  // namespace
}  // namespace WindowsAgentCommon::detail
