#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PathText.h"
#include "tests/config/SampleCommandLine.h"
#include "tests/support/Program.h"

#include <gtest/gtest.h>

namespace WindowsAgentCommon {
namespace {

using test::SampleCommandLine;

TEST(CommandLine, AnyArgumentsAreParsedOrRefusedWithoutALookBeyondThem) {
    EXPECT_EQ(" f[] \u00e9[a \u0416][\u20ac\U0001f600]\r\n",
              test::RunProgram(BinFile(L"config-host.exe"),
                               L"-\u00e9 \"a \u0416\" --\u00e9tat=\u20ac\U0001f600 -f \"\" x -i"));
    const std::wstring many(2000, L'i');
    std::vector<std::pair<std::wstring, std::string>> rows = {
        {L"--install|-f|a.txt|-f|b.txt", " i[] f[a.txt][b.txt]"},
        {L"|-i", ""},
        {L"-|-i", ""},
        {L"--|-i", ""},
        {L"-iuf|-i", " i[] u[] f[-i]"},
        {L"--ins|--setup|--install=dropped", " i[][][]"},
        {L"--file|--file=|--file=a=b", " f[--file=][a=b]"},
        {L"--out|--out=x|-oy|-o|z", " o[][x][y][]"},
        {L"-z|-v|x", " z[] v[x]"},
        {L"-W|install|-Wfile=a", " i[] f[a]"},
        {L"-f" + many + L"|--" + many, "failed"},
        {L"-" + many + L"|-f", "failed"}};
    // Among them: a null pointer to ACE's parser, a long name that contradicts the option string, and a
    // beginning of all long names.
    for (const wchar_t* wrong :
         {L"-W", L"--void=x", L"--=", L"--longer", L"-x", L"-i-", L"-I", L"-f", L"-?", L"-\x01", L"-\xffff"})
        rows.emplace_back(wrong, "failed");
    for (const auto& [arguments, found] : rows) {
        SCOPED_TRACE(ToUTF8(arguments.substr(0, 100)));
        SampleCommandLine line;
        EXPECT_EQ(found, line.Parse(arguments));
        EXPECT_TRUE(!line.IsInitialized() || line.Verify()) << "the end is the end when asked again";
    }
    wchar_t text[] = L"-i";
    wchar_t* withNull[] = {text, text, nullptr, text};
    EXPECT_EQ(" i[]", SampleCommandLine().Parse(4, withNull));
    for (const int argc : {-1, 0, 7}) EXPECT_EQ("", SampleCommandLine().Parse(argc, nullptr));
    CommandLine base;  // accepts -i, but nobody declared it
    base.Initialize(2, withNull);
    EXPECT_FALSE(base.IsInitialized());
}

// The place that refused a call.
template <class Call>
std::string Refusal(Call call) try {
    call();
    return "";
} catch (const CommandLineException& failure) {
    return failure.GetFile() + " " + failure.GetFunction() + std::to_string(failure.GetLine());
}

TEST(CommandLine, CallsAtTheWrongTimeAreRefused) {
    const std::string place = "CommandLine WindowsAgentCommon::CommandLine::";
    SampleCommandLine line;
    EXPECT_FALSE(line.Verify());
    EXPECT_EQ(place + "AddExpectedParam100",
              Refusal([&] { line.AddExpectedParam(L"n", L"new", true, true); }));
    EXPECT_EQ("failed", line.Parse(L"-i|-f"));
    EXPECT_EQ(place + "IsParamPresent112", Refusal([&] { line.IsParamPresent(L"i"); }));
    EXPECT_EQ(place + "GetParam121", Refusal([&] { line.GetParam(L"i"); }));
    line.AddExpectedParam(L"?", L"", false, true);
    EXPECT_EQ(" i[] u[]", line.Parse(L"-u|-q")) << "what was found before the failure stays";
    SampleCommandLine copy(line);
    EXPECT_EQ(std::vector<std::wstring>(1), copy.GetParam(L"?")) << "each unknown switch is one";
    EXPECT_EQ(place + "AddExpectedParam100", Refusal([&] { copy.AddExpectedParam(L"n", L"", false, true); }));
}

TEST(AgentPaths, PathsAreNormalizedAndCutAsText) {
    // Path, normalized with and without separator, parent with and without.
    const std::wstring rows[][5] = {{L"", L"", L"", L"", L""},
                                    {L"a", L"a\\", L"a", L"", L""},
                                    {L"C:/", L"C:\\", L"C:", L"", L""},
                                    {L"C:/a\\b/", L"C:\\a\\b\\", L"C:\\a\\b", L"C:\\a\\", L"C:\\a"},
                                    {L"/a//", L"\\a\\\\", L"\\a\\", L"\\a\\", L"\\a"}};
    for (const auto& [path, folder, file, parentFolder, parent] : rows) {
        EXPECT_EQ(folder + L" " + file, NormalizePath(path, true) + L" " + NormalizePath(path, false));
        EXPECT_EQ(parentFolder + L" " + parent, ParentFolder(path, true) + L" " + ParentFolder(path, false));
    }
}

TEST(AgentPaths, FollowTheExecutableOrWhatWasSet) {
    wchar_t self[MAX_PATH];
    ASSERT_NE(0U, ::GetModuleFileNameW(nullptr, self, MAX_PATH));
    const std::wstring folder = ParentFolder(self, true);
    const std::string root = ToUTF8(ParentFolder(folder, true)), bin = ToUTF8(folder);
    const std::string folders = "|" + root + "|" + bin + "|" + root + "logs\\|" + root +
                                "|D:\\data\\config\\AgentConfig.xml|D:\\data\\config\\AgentConfig.xml|"
                                "E:\\x\\config\\AgentConfig.xml|E:\\x\\cache\\c E:\\x\\patch\\p "
                                "E:\\x\\staging\\s " +
                                bin + "\r\n";
    const std::pair<const wchar_t*, std::string> rows[] = {
        {nullptr, "no dev"}, {L"", "dev "}, {L"C:/w\u0416", "dev C:/w\u0416"}};
    for (const auto& [workspace, isDev] : rows) {
        ::SetEnvironmentVariableW(L"WORKSPACE_ROOT", workspace);
        EXPECT_EQ(isDev + folders, test::RunProgram(folder + L"config-host.exe", L""));
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
