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
    const std::pair<std::wstring, Parts> rows[] = {
        {L"", Parts(5)},
        {L"file:///C:/data/strings.dat", {L"file", L"", L"/C:/data/strings.dat", L"", L""}},
        {L"res://box:8080/a/b?x=1#top", {L"res", L"box:8080", L"/a/b", L"x=1", L"top"}},
        {L"C:\\data\\x", {L"C", L"", L"\\data\\x", L"", L""}},
        {L":relative/%41%", {L"", L"", L":relative/%41%", L"", L""}},
        {L"//h?q?/:#f#?", {L"", L"h", L"", L"q?/:", L"f#?"}},
        {L"a\nb:c\r#d\ne", {L"a\nb", L"", L"c\r", L"", L"d\ne"}},
        {L"p" + zero + L"\xD800?" + zero, {L"", L"", L"p" + zero + L"\xD800", zero, L""}},
        {longText + L"://" + longText + L"#" + longText, {longText, longText, L"", L"", longText}},
    };
    URIParser copy;
    EXPECT_FALSE(copy.IsValid());
    for (const auto& [text, parts] : rows) {
        SCOPED_TRACE(text.substr(0, 60));
        const URIParser uri(text);
        copy = uri;
        EXPECT_TRUE(uri.IsValid() && copy.IsValid());
        EXPECT_EQ(text, copy.GetURI());
        EXPECT_EQ(parts, PartsOf(uri));
        EXPECT_EQ(parts, PartsOf(copy));
    }
    copy.SetURI(L"");  // nothing of the last text stays
    EXPECT_EQ(Parts(5), PartsOf(copy));
}
