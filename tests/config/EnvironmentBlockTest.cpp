#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "tests/support/ByteSource.h"
#include "tests/support/LogLines.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "tests/support/GuardedBuffer.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

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

void SelectByPatterns() {
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
}

TEST(EnvironmentBlock, PatternsSelectWholeNamesOnTheStackOfAWorker) {
    bool ranToItsEnd = false;  // a thread that overflows its stack ends alone under Wine
    {
        const auto work = [&] {
            SelectByPatterns();
            ranToItsEnd = true;
        };
        const test::Thread worker(work, 1 << 20);
    }
    EXPECT_TRUE(ranToItsEnd);
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

TEST(EnvironmentBlockHelper, CheckedReadsAreLogged) {
    ASSERT_TRUE(::SetEnvironmentVariableW(L"OS", L"Windows_NT"));
    test::LogLines lines;
    CorvaneLogger::ALogger logger("Code.X", &lines.base);
    const Map entries = {{"Protocol", "TCP"}};
    EnvironmentBlockHelper helper(entries);
    const std::tuple<const char*, const char*, const char*, std::set<std::string>> rows[] = {
        {"Protocol", "TCP", "400 Setting Protocol to TCP\n", {"TCP", "UDP"}},
        {"Protocol", "%OS%", "200 Invalid TCP value specified: %OS% -- defaulting to %OS%\n", {}},
        {"none", "Windows_NT", "400 none not specified -- defaulting to Windows_NT\n", {}}};
    for (const auto& [name, expected, line, allowed] : rows) {
        std::string value = "%OS%";
        helper.GetStringValue(Log(logger), name, value, value, allowed);
        EXPECT_EQ(std::string(expected) + line, value + lines.text);
        lines.text.clear();
    }
}

/// A record with whatever lengths are stated.
std::string Record(std::uint32_t length, std::uint32_t keyLength, const std::string& key,
                   std::uint32_t valueLength, const std::string& value) {
    const auto bytes = [](std::uint32_t number) { return std::string(reinterpret_cast<char*>(&number), 4); };
    return bytes(length) + bytes(keyLength) + key + bytes(valueLength) + value;
}

TEST(EnvironmentBlock, BinaryFormIsAsDocumented) {
    EnvironmentBlock block, copy;
    block.SetStringValue("b", "");
    block.SetStringValue("a", "1");
    std::stringstream stream;
    EXPECT_TRUE(block.SaveTo(stream));
    EXPECT_EQ("\1\0\xAA\xAA"s + Record(14, 1, "a", 1, "1") + Record(13, 1, "b", 0, ""), stream.str());
    for (unsigned int i = 0; i < 100; ++i)  // records across the edges of windows
        block.SetArrayValue(std::string(i, '\xFF'), {std::string(i * 40, '\0'), "", "b", "a"});
    block.SetStringValue("n", std::string(4083, 'x'));  // the longest
    stream.str("");
    EXPECT_TRUE(block.SaveTo(stream) && copy.ReadFrom(stream));
    EXPECT_FALSE(block.SaveTo(stream) || copy.ReadFrom(stream)) << "the stream is at its end";
    EXPECT_EQ(block.Entries(), copy.Entries());
}

TEST(EnvironmentBlock, HostileStreamsEndWhereTheyGoWrong) {
    const std::string header = "\1\0\xAA\xAA"s, one = Record(14, 1, "k", 1, "v"), good = header + one;
    const std::string longest(4084, 'x');
    std::string many = header;
    for (int i = 0; i < 300; ++i) many += one;
    // Name, bytes, entries, and the last error where they are refused; 1 where nothing sets it.
    const std::tuple<const char*, std::string, std::size_t, DWORD> rows[] = {
        {"half a header", header.substr(0, 3), 0, 1},
        {"version bit clear", "\0\0\xAA\xAA"s + one, 0, 222},
        {"magic bit clear", "\1\0\xAA\x2A"s + one, 0, 222},
        {"more bits than needed", "\xFF\xFF\xFF\xFF" + one, 1, 0},
        {"length 11", good + Record(11, 0, "", 0, "") + one, 1, 0},
        {"length 4097", good + Record(4097, 0, "", 4085, longest + "x") + one, 1, 0},
        {"slack in a record", good + Record(16, 1, "k", 1, "v..") + one, 3, 0},
        {"key up to the value's length", good + Record(14, 3, "k", 1, "v") + one, 1, 0},
        {"key of 4 GB - 8", good + Record(14, 0xFFFFFFF8, "k", 1, "v") + one, 1, 0},
        {"key past a full window", header + Record(4096, 4085, longest, 0, "") + one, 0, 0},
        {"value past the record", good + Record(14, 1, "k", 2, "v") + one, 1, 0},
        {"cut in a record", good + one.substr(0, 13), 1, 0},
        {"out of order", good + Record(12, 0, "", 0, "") + one, 3, 0},
        {"fails in its second window", many, 292, 0},
    };
    for (const auto& [name, input, entries, error] : rows) {
        SCOPED_TRACE(name);
        const test::GuardedBuffer bytes{std::string_view(input)};
        test::ByteSource source(bytes.Data(), input.size(), input == many);
        std::istream stream(&source);
        EnvironmentBlock block;
        block.SetStringValue("old", "");
        ::SetLastError(error == 0 ? 0 : 1);
        EXPECT_EQ(error == 0, block.ReadFrom(stream));
        EXPECT_EQ(error, ::GetLastError());
        EXPECT_EQ(entries, block.Entries().size());
    }
}

TEST(EnvironmentBlock, TextLinesAreAdded) {
    const std::pair<std::string, Map> rows[] = {
        {"", {}},
        {"a\n\n\r\n#\n=", {{"", ""}}},
        {" \t\v\fa b\t = 1 \t\r\r\n", {{"a b", " 1 \t"}}},
        {"a=b=c\n==\n\r\r \r=\r\r", {{"", "="}, {"", ""}, {"a", "b=c"}}},
        {"a=2\na=1\nold=new\n", {{"a", "2"}, {"a", "1"}, {"old", "new"}}},
        {"\xFF\0=\0\x80\n="s, {{"", ""}, {"\xFF\0"s, "\0\x80"s}}},
    };
    const test::TempFolder folder;
    EnvironmentBlock out;
    for (const auto& [text, added] : rows) {
        SCOPED_TRACE(text);
        folder.Write(L"in.txt", text);
        EnvironmentBlock block;
        block.SetStringValue("old", "kept");
        EXPECT_TRUE(block.ReadFrom(folder.Path(L"in.txt")));
        Map expected{{"old", "kept"}};
        expected.insert(added.begin(), added.end());
        EXPECT_EQ(expected, block.Entries());
    }
    out.SetArrayValue("k", {"1%s", "\0"s});
    EXPECT_FALSE(out.ReadFrom(folder.Path(L"missing.txt")) || out.SaveTo(folder.Path(L"missing\\out.txt")));
    EXPECT_TRUE(out.SaveTo(folder.Path(L"out.txt")));
    EXPECT_EQ("k=1%s\r\nk=\0\r\n"s, folder.Read(L"out.txt"));
}

}  // namespace
}  // namespace WindowsAgentCommon
