#include "WindowsAgentCommon/EnvironmentBlockHelper.h"

#include "CorvaneLogger/LogDst.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

using Map = std::multimap<std::string, std::string>;

TEST(EnvironmentBlockHelper, NarrowTextIsExpandedAndWideTextIsNot) {
    ASSERT_TRUE(::SetEnvironmentVariableW(L"CORVANE_TEST", L"\x416"));
    const struct {
        std::string stored, narrow;
        std::wstring wide;
    } rows[] = {{"%CORVANE_TEST%\\x%NONE%", "\xD0\x96\\x%NONE%", L"%CORVANE_TEST%\\x%NONE%"},
                {"\xFF\xD0\x96", "\xEF\xBF\xBD\xD0\x96", L"\xFFFD\x416"},
                {{"a\0b", 3}, "a", {L"a\0b", 3}},
                {std::string(4095, 'x'), std::string(4095, 'x'), std::wstring(4095, L'x')},
                {std::string(4096, 'x'), "", std::wstring(4096, L'x')}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.stored);
        const Map entries = {{"n", row.stored}};
        const EnvironmentBlockHelper helper(entries);
        std::string narrow = row.stored;
        std::wstring wide;
        std::vector<std::wstring> values;
        EXPECT_TRUE(helper.GetStringValue("n", narrow, "none") && narrow == row.narrow);
        EXPECT_FALSE(helper.GetStringValue("m", narrow = row.stored, narrow) || narrow != row.narrow);
        EXPECT_TRUE(helper.GetStringValue("n", wide, L"none") && wide == row.wide);
        EXPECT_TRUE(helper.GetArrayValue("n", values) && values == std::vector<std::wstring>{row.wide});
    }
}

class Lines : public CorvaneLogger::LogDst {
public:
    Lines() : LogDst("lines", "Lines") {}
    bool accept(int) override { return true; }
    void log(int, const char*, const char* line, unsigned int length, const char*) override {
        last.assign(line, length);
    }
    std::string last;
};

TEST(EnvironmentBlockHelper, CheckedReadsAreLogged) {
    ASSERT_TRUE(::SetEnvironmentVariableW(L"OS", L"Windows_NT"));
    Lines lines;
    CorvaneLogger::BaseLogger base("Code", CorvaneLogger::kLevelDebug);
    ASSERT_TRUE(base.AddDest(&lines));
    CorvaneLogger::ALogger logger("Code.X", &base);
    const Map entries = {{"Protocol", "TCP"}};
    EnvironmentBlockHelper helper(entries);
    const struct {
        const char *name, *value, *line;
        std::set<std::string> allowed;
    } rows[] = {
        {"Protocol", "TCP", "DEBUG Code.X : Setting Protocol to TCP\n", {"TCP", "UDP"}},
        {"Protocol", "%OS%", "WARN  Code.X : Invalid TCP value specified: %OS% -- defaulting to %OS%\n", {}},
        {"none", "Windows_NT", "DEBUG Code.X : none not specified -- defaulting to Windows_NT\n", {}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        std::string value = "%OS%";
        helper.GetStringValue(Log(logger), row.name, value, value, row.allowed);
        EXPECT_EQ(row.value, value);
        EXPECT_EQ(row.line, lines.last);
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
