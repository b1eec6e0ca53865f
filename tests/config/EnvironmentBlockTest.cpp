#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "WindowsAgentCommon/EnvironmentBlock.h"

#include <gtest/gtest.h>

#include <climits>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

using Map = std::multimap<std::string, std::string>;

TEST(EnvironmentBlock, SettersReplaceByText) {
    EnvironmentBlock block;
    block.SetArrayValue("a", {"old", "older"});
    block.SetIntegerValue("a", static_cast<short>(-5));
    block.SetIntegerValue("b", static_cast<unsigned short>(65535));
    block.SetIntegerValue("c", INT_MIN);
    block.SetIntegerValue("d", UINT_MAX);
    block.SetIntegerValue("e", LONG_MIN);
    block.SetIntegerValue("f", ULONG_MAX);
    block.SetIntegerValue("g", UINT64_MAX);
    block.SetFloatValue("h", 0.1F);
    block.SetFloatValue("i", -2.5);
    block.SetBooleanValue("j", true);
    block.SetBooleanValue("k", false);
    std::string texts;
    for (const auto& [name, text] : block.Entries()) texts += text + ' ';
    EXPECT_EQ(
        "-5 65535 -2147483648 4294967295 -2147483648 4294967295 18446744073709551615 0.100000 -2.500000 T F ",
        texts);
}

template <class Value, class Reader>
Value Integer(const Reader& reader) {
    Value value = 7;
    EXPECT_TRUE(!reader.GetIntegerValue("m", value, 8) && value == 8);
    EXPECT_TRUE(reader.GetIntegerValue("n", value, 9));
    return value;
}

TEST(EnvironmentBlock, GettersReadAnyText) {
    const struct {
        std::int64_t number;  // that any integer is cut from
        double real;
        const char* text;
        bool boolean = true;
    } rows[] = {{-5, -5, "-5"},    {70000, 70000, "70000"}, {12, 12, " 12x"},   {1, 1500, "1.5e3"},
                {0, 0, "", false}, {0, 0, "False", false},  {0, 0, "f", false}, {0, 0, "no"},
                {0, 0, "0"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EnvironmentBlock block;
        block.SetArrayValue("n", {row.text, "33"});
        const EnvironmentBlockHelper helper(block.Entries());
        EXPECT_EQ(static_cast<short>(row.number), Integer<short>(block));
        EXPECT_EQ(static_cast<unsigned short>(row.number), Integer<unsigned short>(helper));
        EXPECT_EQ(row.number, Integer<int>(block));
        EXPECT_EQ(static_cast<unsigned int>(row.number), Integer<unsigned int>(helper));
        EXPECT_EQ(row.number, Integer<long>(helper));
        EXPECT_EQ(static_cast<unsigned long>(row.number), Integer<unsigned long>(block));
        EXPECT_EQ(static_cast<std::uint64_t>(row.number), Integer<std::uint64_t>(helper));
        double real = 7;
        bool boolean = !row.boolean;
        EXPECT_TRUE(block.GetFloatValue("n", real, 8) && real == row.real);
        EXPECT_TRUE(helper.GetBooleanValue("n", boolean, !row.boolean) && boolean == row.boolean);
    }
}

TEST(EnvironmentBlock, NamesAreWholeAndKeepTheirOrder) {
    EnvironmentBlock block;
    block.SetArrayValue("k", {"2", "1", "2"});
    block.SetStringValue("ka", "");
    std::vector<std::string> values{"k"};
    EXPECT_TRUE(block.GetArrayValue(values[0], values));
    EXPECT_EQ((std::vector<std::string>{"2", "1", "2"}), values);
    EXPECT_TRUE(block.GetArrayValue("K", values) && values.empty());  // a greater name follows: deliberately
    EXPECT_FALSE(block.GetArrayValue("kb", values));
    EXPECT_TRUE(block.ValueCount("k") == 3 && block.ValueCount("K") == 0 && !block.ValueAvailable("K"));
    EnvironmentBlock copy(block);
    const auto first = copy.Entries().begin();
    copy.SetStringValue(first->first, std::next(first)->second);  // its own texts
    EXPECT_EQ((Map{{"k", "1"}, {"ka", ""}}), copy.Entries());
    copy.SetArrayValue("k", {});
    EXPECT_EQ((Map{{"ka", ""}}), copy.Entries());
}

struct Matching {
    const EnvironmentBlock& block;
    const std::string& pattern;
    Map matches;
    bool result;

    static DWORD WINAPI Run(void* argument) {
        auto& self = *static_cast<Matching*>(argument);
        self.result = self.block.GetValuesForMatchingName(self.pattern, self.matches);
        return 0;
    }
};

TEST(EnvironmentBlock, PatternsSelectWholeNames) {
    const std::string longest(1024, 'a'), backtracked(128, 'b');
    EnvironmentBlock block;
    for (const std::string& name : {longest + "a", longest, backtracked + "b", backtracked})
        block.SetStringValue(name, "");
    block.SetArrayValue("Host.1", {"x", "y"});
    block.SetStringValue("Host.2", "z");
    const struct {
        std::string pattern;
        Map matches;
        bool compiles = true;
    } rows[] = {
        {"Host\\.1", {{"Host.1", "x"}, {"Host.1", "y"}}},
        {"Ho(st)\\.(.)", {{"st", "x"}, {"st", "y"}, {"st", "z"}}},
        {"Host\\.(1)?2?", {{"1", "x"}, {"1", "y"}, {"", "z"}}},
        {"Host", {}},
        {"a+", {{longest, ""}}},
        {"(b*)b\\1b", {{std::string(63, 'b'), ""}}},
        {"(b*)*c", {}},                        // would backtrack forever
        {"(b*)*(c?)\\1d", {}},                 // does, up to its bound
        {"(?:(?:(?:)|x){300}b)*(c?)\\1", {}},  // overflows the stack, but for its bound
        {std::string(500, '(') + "Host\\.2" + std::string(500, ')'), {{"Host.2", "z"}}},
        {"(?:H?){800}ost\\.2", {{"Host.2", "z"}}},
        {"H" + longest.substr(1), {}},
        {longest + "a", {}, false},
        {"(?:a?){2000}", {}, false},
        {"(", {}, false},
        {"(a)\\2", {}, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.pattern);
        Matching matching = {block, row.pattern, {{"old", ""}}, false};
        // With the stack of a service's worker.
        const HANDLE thread = ::CreateThread(nullptr, 1 << 20, Matching::Run, &matching,
                                             STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
        ::WaitForSingleObject(thread, INFINITE);
        ::CloseHandle(thread);
        EXPECT_EQ(row.compiles, matching.result);
        EXPECT_EQ(row.matches, matching.matches);
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
