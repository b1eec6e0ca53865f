#include "WindowsAgentCommon/AgentPaths.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/PathText.h"
#include "WindowsAgentCommon/ServiceConfig.h"
#include "tests/support/Program.h"

#include <gtest/gtest.h>

namespace WindowsAgentCommon {
namespace {

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
    const ServiceConfig config("a", "b", "c", "d");
    EXPECT_EQ("abcd", config.text1 + config.text2 + config.text3 + config.text4 + config.text5);
}

}  // namespace
}  // namespace WindowsAgentCommon
