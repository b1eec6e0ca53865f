#include "WindowsAgentCommon/URIParser.h"

#include <gtest/gtest.h>

#include <vector>

using namespace WindowsAgentCommon;

namespace {

using Parts = std::vector<std::wstring>;

Parts PartsOf(const URIParser& uri) {
    return {uri.GetScheme(), uri.GetAuthority(), uri.GetPath(), uri.GetQuery(), uri.GetFragment()};
}

}  // namespace

TEST(URIParser, SplitsAnyTextIntoFiveComponents) {
    const std::wstring zero(1, L'\0'), longText(1'000'000, L'x');
    const struct {
        std::wstring uri;
        Parts parts;
    } rows[] = {
        {L"", {L"", L"", L"", L"", L""}},
        {L"file:///C:/data/strings.dat", {L"file", L"", L"/C:/data/strings.dat", L"", L""}},
        {L"res://box:8080/a/b?x=1#top", {L"res", L"box:8080", L"/a/b", L"x=1", L"top"}},
        {L"C:\\data\\x", {L"C", L"", L"\\data\\x", L"", L""}},
        {L"relative/path", {L"", L"", L"relative/path", L"", L""}},
        {L":x", {L"", L"", L":x", L"", L""}},
        {L"//h?q?/:#f#?", {L"", L"h", L"", L"q?/:", L"f#?"}},
        {L"s:%41%", {L"s", L"", L"%41%", L"", L""}},
        {L"a\nb:c\r#d\ne", {L"a\nb", L"", L"c\r", L"", L"d\ne"}},
        {L"p" + zero + L"\xD800?" + zero, {L"", L"", L"p" + zero + L"\xD800", zero, L""}},
        {longText, {L"", L"", longText, L"", L""}},
        {longText + L"://" + longText + L"#" + longText, {longText, longText, L"", L"", longText}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.uri.substr(0, 60));
        const URIParser uri(row.uri);
        EXPECT_TRUE(uri.IsValid());
        EXPECT_EQ(row.uri, uri.GetURI());
        EXPECT_EQ(row.parts, PartsOf(uri));
    }
}

TEST(URIParser, BeginsInvalidAndCopiesWhole) {
    URIParser uri, copy(L"s://a/p?q#f");
    EXPECT_FALSE(uri.IsValid());
    uri = copy;
    copy.SetURI(L"");
    EXPECT_TRUE(uri.IsValid() && copy.IsValid());
    EXPECT_EQ((Parts{L"s", L"a", L"/p", L"q", L"f"}), PartsOf(uri));
    EXPECT_EQ(Parts(5), PartsOf(copy));
}
