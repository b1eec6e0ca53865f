#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/KORException.h"
#include "tests/config/SampleCommandLine.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/Program.h"

#include <gtest/gtest.h>

#include <list>

namespace WindowsAgentCommon {
namespace {

using test::SampleCommandLine;

// A program's name and arguments. Each, and the list, which no null ends, lies against an inaccessible page.
class Arguments {
public:
    explicit Arguments(const std::vector<std::wstring>& texts) {
        std::vector<wchar_t*> list = {program_};
        for (const std::wstring& text : texts)
            list.push_back(buffers_.emplace_back(text.c_str(), (text.size() + 1) * 2).Data<wchar_t>());
        count = static_cast<int>(list.size());
        values = buffers_.emplace_back(list.data(), list.size() * sizeof(wchar_t*)).Data<wchar_t*>();
    }

    int count;
    wchar_t** values;

private:
    wchar_t program_[2] = L"p";
    std::list<test::GuardedBuffer> buffers_;
};

TEST(CommandLine, ProgramWithWideArgumentsFindsItsSwitches) {
    const struct {
        const wchar_t* arguments;
        const char* found;
    } rows[] = {
        {L"--install -f a.txt -f b.txt", " i[] f[a.txt][b.txt]\r\n"},
        {L"-\u00e9 \"a \u0416\" --\u00e9tat=\u20ac\U0001f600", " \u00e9[a \u0416][\u20ac\U0001f600]\r\n"},
        {L"-f \"\" -f\u4e2d x -i", " f[][\u4e2d]\r\n"},
        {L"-u -f", "failed\r\n"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.found, test::RunProgram(BinFile(L"config-host.exe"), row.arguments));
}

TEST(CommandLine, AnyArgumentsAreParsedOrRefusedWithoutALookBeyondThem) {
    const std::wstring many(2000, L'i');
    std::string manyFound = " i";
    while (manyFound.size() < 4002) manyFound += "[]";
    std::vector<std::pair<std::vector<std::wstring>, std::string>> rows = {
        {{}, ""},
        {{L"", L"-i"}, ""},
        {{L"-", L"-i"}, ""},
        {{L"--", L"-i"}, ""},
        {{L"-iuf", L"-i"}, " i[] u[] f[-i]"},
        {{L"--ins", L"--setup", L"--install=dropped"}, " i[][][]"},
        {{L"--file", L"--file=", L"--file=a=b"}, " f[--file=][a=b]"},
        {{L"--out", L"--out=x", L"-oy", L"-o", L"z"}, " o[][x][y][]"},
        {{L"-z", L"-v", L"x"}, " z[] v[x]"},
        {{L"-W", L"install", L"-Wfile=a"}, " i[] f[a]"},
        {{L"-" + many}, manyFound},
        {{L"-f" + many, L"--file"}, "failed"},
        {{L"--" + many}, "failed"},
        {{L"-\xd800", L"-i"}, "failed"},
    };
    // Among them: a null pointer to ACE's parser, a long name that contradicts the option string, and a
    // beginning of all long names.
    for (const wchar_t* wrong : {L"-W", L"-iW", L"-install", L"--void=x", L"--=", L"--longer", L"-x", L"-i-",
                                 L"-I", L"-:", L"-?", L"-;", L"---", L"-\x01", L"-\xffff"})
        rows.push_back({{wrong}, "failed"});
    for (const auto& [texts, found] : rows) {
        SCOPED_TRACE(testing::PrintToString(texts).substr(0, 100));
        const Arguments arguments(texts);
        SampleCommandLine line;
        EXPECT_EQ(found, line.Parse(arguments.count, arguments.values));
        EXPECT_TRUE(!line.IsInitialized() || line.Verify()) << "the end is the end when asked again";
    }
    wchar_t text[] = L"-i";
    wchar_t* withNull[] = {text, text, nullptr, text};
    EXPECT_EQ(" i[]", SampleCommandLine().Parse(4, withNull));
    for (const int argc : {-1, 0, 7}) EXPECT_EQ("", SampleCommandLine().Parse(argc, nullptr));
}

// The place that refused a call; empty when none did.
template <class Call>
std::string Refusal(Call call) {
    try {
        call();
        return "";
    } catch (const CommandLineException& failure) {
        return failure.GetFile() + " " + failure.GetFunction() + std::to_string(failure.GetLine());
    }
}

TEST(CommandLine, CallsAtTheWrongTimeAreRefused) {
    const std::string add = "CommandLine WindowsAgentCommon::CommandLine::AddExpectedParam100";
    const std::string present = "CommandLine WindowsAgentCommon::CommandLine::IsParamPresent112";
    const std::string get = "CommandLine WindowsAgentCommon::CommandLine::GetParam121";
    const Arguments wrong({L"-i", L"-f"}), right({L"-u", L"-q"});
    SampleCommandLine line;
    const auto addShort = [&line] { line.AddExpectedParam(L"?", L"", false, true); };
    EXPECT_FALSE(line.Verify());
    EXPECT_EQ(add, Refusal([&line] { line.AddExpectedParam(L"n", L"new", false, false); }));
    EXPECT_EQ("failed", line.Parse(wrong.count, wrong.values));
    EXPECT_EQ(present, Refusal([&line] { line.IsParamPresent(L"i"); }));
    EXPECT_EQ(get, Refusal([&line] { line.GetParam(L"i"); }));
    EXPECT_EQ("", Refusal(addShort));
    EXPECT_EQ(" i[] u[]", line.Parse(right.count, right.values)) << "what was found before the failure stays";
    CommandLine copy(line);
    EXPECT_EQ(std::vector<std::wstring>(1), copy.GetParam(L"?")) << "each unknown switch is one";
    EXPECT_EQ(add, Refusal(addShort));

    CommandLine base;  // accepts -i, but nobody declared it
    base.Initialize(2, wrong.values);
    EXPECT_FALSE(base.IsInitialized());
}

}  // namespace
}  // namespace WindowsAgentCommon
