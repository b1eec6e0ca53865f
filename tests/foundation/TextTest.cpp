#include "WindowsAgentCommon/Text.h"

#include <gtest/gtest.h>

namespace WindowsAgentCommon {
namespace {

TEST(Text, ComponentNamesBecomeSafe) {
    const struct {
        const char* name;
        const char* expected;
    } rows[] = {
        {"", ""},     {"Event Log", "_Event_Log"}, {"_x.y", "_x_y"},          {" -.{}:", "______"},
        {"-x", "_x"}, {"a  b", "_a__b"},           {"a/b\\c,d", "_a/b\\c,d"}, {"\xD0\x96", "_\xD0\x96"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string name = row.name;
        EXPECT_EQ(&name, &NormalizeComponentName(name));
        EXPECT_EQ(row.expected, name);
    }
}

TEST(Text, ParametersAreCutAtTheirFirstSeparator) {
    using Map = std::multimap<std::string, std::string>;
    const struct {
        const char* name;
        std::vector<std::wstring> items;
        std::wstring separators;
        Map before;
        Map after;
    } rows[] = {
        {"equal keys stay", {L"a=1", L"b", L"a=2"}, L"=", {}, {{"a", "1"}, {"a", "2"}}},
        {"only one character cuts", {L"a=b=c", L"d:=e"}, L"=:", {}, {{"a", "b=c"}, {"d", "=e"}}},
        {"empty key and value", {L"=v", L"k=", L"="}, L"=", {}, {{"", "v"}, {"", ""}, {"k", ""}}},
        {"nothing cuts", {L"a=1"}, L"", {}, {}},
        {"what was there counts", {L" a = 1 ", L"x"}, L"=", {{"a", "0"}}, {{" a ", " 1 "}, {"a", "0"}}},
        {"beyond ASCII", {L"\x416\x20AC\xD83D\xDE00"}, L"\x20AC", {}, {{"\xD0\x96", "\xF0\x9F\x98\x80"}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Map map = row.before;
        EXPECT_EQ(row.after.size(), ConvertParamVectorToMap(row.items, map, row.separators));
        EXPECT_EQ(row.after, map);
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
