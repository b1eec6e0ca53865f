#include "WindowsAgentCommon/AgentPaths.h"

#include "WindowsAgentCommon/PathText.h"
#include "WindowsAgentCommon/ServiceConfig.h"
#include "tests/support/Program.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace WindowsAgentCommon {
namespace {

TEST(AgentPaths, PathsAreNormalizedAndCutAsText) {
    const std::wstring rows[][5] = {
        // path, normalized with and without separator, parent with and without
        {L"", L"", L"", L"", L""},
        {L"a", L"a\\", L"a", L"", L""},
        {L"/", L"\\", L"", L"", L""},
        {L"C:/", L"C:\\", L"C:", L"", L""},
        {L"C:/a\\b/", L"C:\\a\\b\\", L"C:\\a\\b", L"C:\\a\\", L"C:\\a"},
        {L"a//", L"a\\\\", L"a\\", L"a\\", L"a"},
        {L"/a", L"\\a\\", L"\\a", L"\\", L""},
    };
    for (const auto& [path, folder, file, parentFolder, parent] : rows) {
        EXPECT_EQ(folder + L" " + file, NormalizePath(path, true) + L" " + NormalizePath(path, false));
        EXPECT_EQ(parentFolder + L" " + parent, ParentFolder(path, true) + L" " + ParentFolder(path, false));
    }
}

TEST(AgentPaths, FollowTheExecutableOrWhatWasSet) {
    const test::TempFolder folder;
    const std::wstring program = folder.Path(L"bin\\agent.exe");
    ASSERT_TRUE(::CreateDirectoryW(folder.Path(L"bin").c_str(), nullptr));
    ASSERT_TRUE(::CopyFileW(BinFile(L"config-host.exe").c_str(), program.c_str(), FALSE));
    std::vector<wchar_t> path(32767);
    ASSERT_NE(0U, ::GetEnvironmentVariableW(L"PATH", path.data(), 32767));
    ::SetEnvironmentVariableW(L"PATH", (GetBinPath() + L";" + path.data()).c_str());  // the DLLs are here

    const std::string root = folder.Narrow(), bin = root + "bin\\";
    const std::string folders = "|" + root + "|" + bin + "|" + root + "logs\\|" + root +
                                "|D:\\data\\config\\AgentConfig.xml|D:\\data\\config\\AgentConfig.xml|"
                                "E:\\x\\config\\AgentConfig.xml|E:\\x\\cache\\c E:\\x\\patch\\p "
                                "E:\\x\\staging\\s " +
                                bin + "\r\n";
    const std::pair<const wchar_t*, std::string> rows[] = {
        {nullptr, "no dev"}, {L"", "dev "}, {L"C:/w\u0416", "dev C:/w\u0416"}};
    for (const auto& [workspace, isDev] : rows) {
        ::SetEnvironmentVariableW(L"WORKSPACE_ROOT", workspace);
        EXPECT_EQ(isDev + folders, test::RunProgram(program, L""));
    }
}

TEST(ServiceConfig, TextsKeepTheOrderOfTheConstructor) {
    const ServiceConfig config("a", "b", "c", "d");
    EXPECT_EQ("abcd", config.text1 + config.text2 + config.text3 + config.text4 + config.text5);
}

}  // namespace
}  // namespace WindowsAgentCommon
