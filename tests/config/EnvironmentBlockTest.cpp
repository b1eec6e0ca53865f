#include "CorvaneLogger/LogDst.h"
#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"

#include <gtest/gtest.h>

#include <tuple>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

using Map = std::multimap<std::string, std::string>;
using namespace std::string_literals;

// What a block or helper reads as each type, and a block makes of it. number: what any integer is cut from.
template <class Reader>
void ExpectValues(const Reader& reader, std::int64_t number, double real, bool boolean) {
    EnvironmentBlock out;
    const auto expect = [&](auto value) {
        EXPECT_TRUE(!reader.GetIntegerValue("m", value, 8) && value == 8);
        EXPECT_TRUE(reader.GetIntegerValue("n", value, 9));
        EXPECT_EQ(static_cast<decltype(value)>(number), value);
        out.SetIntegerValue("n", value);
        EXPECT_EQ((Map{{"n", std::to_string(value)}}), out.Entries());
    };
    const auto each = [&](auto... values) { (expect(values), ...); };
    each(short{}, static_cast<unsigned short>(0), 0, 0U, 0L, 0UL, std::uint64_t{});
    double wide = 7;
    float narrow = 7;
    bool truth = !boolean;
    EXPECT_TRUE(reader.GetFloatValue("n", wide, 8.0) && wide == real);
    EXPECT_TRUE(reader.GetFloatValue("n", narrow, 8.0F) && narrow == static_cast<float>(real));
    EXPECT_TRUE(reader.GetBooleanValue("n", truth, !boolean) && truth == boolean);
}

TEST(EnvironmentBlock, ValuesOfEachTypeAreText) {
    const std::tuple<const char*, std::int64_t, double, bool> rows[] = {
        {"-5", -5, -5, true},   {"70000", 70000, 70000, true},
        {" 12x", 12, 12, true}, {"1.5e3", 1, 1500, true},
        {"False", 0, 0, false}, {"f", 0, 0, false},
        {"", 0, 0, false},      {"no", 0, 0, true}};
    EnvironmentBlock block;
    for (const auto& [text, number, real, boolean] : rows) {
        SCOPED_TRACE(text);
        block.SetArrayValue("n", {text, "33"});
        ExpectValues(block, number, real, boolean);
        ExpectValues(EnvironmentBlockHelper(block.Entries()), number, real, boolean);
    }
    block.SetFloatValue("n", 0.1F);
    block.SetFloatValue("o", -2.5);
    block.SetBooleanValue("p", true);
    block.SetBooleanValue("q", false);
    EXPECT_EQ((Map{{"n", "0.100000"}, {"o", "-2.500000"}, {"p", "T"}, {"q", "F"}}), block.Entries());
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
    const auto first = block.Entries().begin();
    block.SetStringValue(first->first, std::next(first)->second);  // its own texts
    EXPECT_EQ((Map{{"k", "1"}, {"ka", ""}}), block.Entries());
    block.SetArrayValue("k", {});
    EXPECT_EQ((Map{{"ka", ""}}), block.Entries());
}

constexpr DWORD kRanToItsEnd = 7;

DWORD WINAPI SelectByPatterns(void*) {
    const std::string longest(1024, 'a'), backtracked(128, 'b');
    EnvironmentBlock block;
    for (const std::string& name : {longest + "a", longest, backtracked + "b", backtracked})
        block.SetStringValue(name, "");
    block.SetArrayValue("Host.1", {"x", "y"});
    block.SetStringValue("Host.2", "z");
    // The last two would backtrack up to their bound and overflow the stack but for its bound.
    const std::pair<std::string, Map> rows[] = {
        {"Host\\.1", {{"Host.1", "x"}, {"Host.1", "y"}}},
        {"Host\\.(1)?2?", {{"1", "x"}, {"1", "y"}, {"", "z"}}},
        {std::string(500, '(') + "Host\\.2" + std::string(500, ')'), {{"Host.2", "z"}}},
        {"(?:H?){800}ost\\.2", {{"Host.2", "z"}}},
        {"a+", {{longest, ""}}},
        {"(b*)b\\1b", {{std::string(63, 'b'), ""}}},
        {"Host", {}},
        {"(b*)*c", {}},
        {"(b*)*(c?)\\1d", {}},
        {"(?:(?:(?:)|x){300}b)*(c?)\\1", {}}};
    Map matches;
    for (const auto& [pattern, expected] : rows) {
        SCOPED_TRACE(pattern);
        EXPECT_TRUE(block.GetValuesForMatchingName(pattern, matches));
        EXPECT_EQ(expected, matches);
    }
    for (const std::string& wrong : {longest + "a", "(?:a?){2000}"s, "("s, "(a)\\2"s})
        EXPECT_TRUE(!block.GetValuesForMatchingName(wrong, matches) && matches.empty()) << wrong;
    return kRanToItsEnd;
}

TEST(EnvironmentBlock, PatternsSelectWholeNamesOnTheStackOfAWorker) {
    const HANDLE thread = ::CreateThread(nullptr, 1 << 20, SelectByPatterns, nullptr,
                                         STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    ::WaitForSingleObject(thread, INFINITE);
    DWORD code = 0;
    EXPECT_TRUE(::GetExitCodeThread(thread, &code) && code == kRanToItsEnd) << "0x" << std::hex << code;
    ::CloseHandle(thread);
}

TEST(EnvironmentBlockHelper, NarrowTextIsExpandedAndWideTextIsNot) {
    ASSERT_TRUE(::SetEnvironmentVariableW(L"CORVANE_TEST", L"\x416"));
    const std::string full(4095, 'x');
    const std::tuple<std::string, std::string, std::wstring> rows[] = {
        {"%CORVANE_TEST%\\x%NONE%", "\xD0\x96\\x%NONE%", L"%CORVANE_TEST%\\x%NONE%"},
        {"a\0b"s, "a", L"a\0b"s},
        {full, full, std::wstring(4095, L'x')},
        {full + "x", "", std::wstring(4096, L'x')}};
    for (const auto& [stored, narrowed, widened] : rows) {
        SCOPED_TRACE(stored);
        const Map entries = {{"n", stored}};
        const EnvironmentBlockHelper helper(entries);
        std::string narrow, fallback = stored;
        std::vector<std::wstring> wide(1), values;
        EXPECT_TRUE(helper.GetStringValue("n", narrow, "none") && narrow == narrowed);
        EXPECT_FALSE(helper.GetStringValue("m", fallback, fallback) || fallback != narrowed);
        EXPECT_TRUE(helper.GetStringValue("n", wide[0], L"none") && wide[0] == widened);
        EXPECT_TRUE(helper.GetArrayValue("n", values) && values == wide);
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
    const std::tuple<const char*, const char*, const char*, std::set<std::string>> rows[] = {
        {"Protocol", "TCP", "DEBUG Code.X : Setting Protocol to TCP\n", {"TCP", "UDP"}},
        {"Protocol", "%OS%", "WARN  Code.X : Invalid TCP value specified: %OS% -- defaulting to %OS%\n", {}},
        {"none", "Windows_NT", "DEBUG Code.X : none not specified -- defaulting to Windows_NT\n", {}}};
    for (const auto& [name, expected, line, allowed] : rows) {
        std::string value = "%OS%";
        helper.GetStringValue(Log(logger), name, value, value, allowed);
        EXPECT_EQ(std::string(expected) + line, value + lines.last);
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
