#include "WindowsAgentCommon/URIParser.h"
#include "serialization/FileUri.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

using namespace WindowsAgentCommon;

namespace {

using Parts = std::vector<std::wstring>;

Parts PartsOf(const URIParser& uri) {
    return {uri.GetScheme(), uri.GetAuthority(), uri.GetPath(), uri.GetQuery(), uri.GetFragment()};
}

TEST(URIParser, SplitsAnyTextIntoFiveComponents) {
    const std::wstring zero(1, L'\0'), longText(1'000'000, L'x');
    const std::pair<std::wstring, Parts> rows[] = {
        {L"", Parts(5)},
        {L"file:///C:/data/strings.dat", {L"file", L"", L"/C:/data/strings.dat", L"", L""}},
        {L"res://box:8080/a/b?x=1#top", {L"res", L"box:8080", L"/a/b", L"x=1", L"top"}},
        {L"C:\\data\\x", {L"C", L"", L"\\data\\x", L"", L""}},
        {L":relative/%41%", {L"", L"", L":relative/%41%", L"", L""}},
        {L"//h?q?/:#f#?", {L"", L"h", L"", L"q?/:", L"f#?"}},
        {L"a\nb:c\r#d\ne", {L"a\nb", L"", L"c\r", L"", L"d\ne"}},
        {L"p" + zero + L"\xD800?" + zero, {L"", L"", L"p" + zero + L"\xD800", zero, L""}},
        {longText + L"://" + longText + L"#" + longText, {longText, longText, L"", L"", longText}}};
    URIParser copy;
    EXPECT_FALSE(copy.IsValid());
    for (const auto& [text, parts] : rows) {
        SCOPED_TRACE(text.substr(0, 60));
        const URIParser uri(text);
        copy = uri;
        EXPECT_TRUE(uri.IsValid() && copy.IsValid() && copy.GetURI() == text);
        EXPECT_EQ(parts, PartsOf(uri));
        EXPECT_EQ(parts, PartsOf(copy));
    }
    copy.SetURI(L"");  // nothing of the last text stays
    EXPECT_EQ(Parts(5), PartsOf(copy));
}

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
        EXPECT_TRUE(detail::FilePathOf(URIParser(uri), path)) << testing::PrintToString(uri);
        EXPECT_EQ(path, expected);
    }
    std::wistringstream others(
        L"file: file:///x file:x file:///C: file:///C:x file:///C:/ file:///C:/x/ file:///CC:/x "  // no path
        L"file:///%3A:/x file:///C:/%4 file:///C:/%4g file:///C:/%FF file:///C:/\xD83D file:///C:/a%00b "
        L"file:///C:/a#1.dat file:///C:/a?b file:///C:/a:s file:///C:/a%3Fb "  // another than is meant
        L"file://server/share file://server/share/ file://server//x file://server:80/share/x "
        L"file://user@server/share/x file://./pipe/x file://%3F/C:/x file:////./C:/x file:////%3F/C:/x "
        L"file:///%5C%5C.%5Cpipe%5Cx");
    path = L"as before";
    for (std::wstring uri; others >> uri;)
        EXPECT_FALSE(detail::FilePathOf(URIParser(uri), path)) << testing::PrintToString(uri);
    EXPECT_EQ(path, L"as before");
}

}  // namespace
