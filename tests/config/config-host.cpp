// A host program: prints what the sample command line finds in its arguments, or without any, what it knows
// of its folders. UTF-8.

#include "WindowsAgentCommon/AgentPaths.h"
#include "tests/config/SampleCommandLine.h"

#include <cstdio>

using namespace WindowsAgentCommon;

int wmain(int argc, wchar_t** argv) {
    if (argc > 1) return std::puts(test::SampleCommandLine().Parse(argc, argv).c_str()) < 0;

    std::wstring text = isDevEnvironment() ? L"dev " + GetWorkspacePath() : L"no dev";
    text += L"|" + GetCheckpointPath() + L"|" + GetBinPath() + L"|" + GetLogPath();
    SetBinPath(L"E:/x/y");  // leaves the root
    text += L"|" + GetRootPath();
    for (const wchar_t* root : {L"D:/data", L"D:\\data\\", L""}) {
        SetRootPath(root);
        text += L"|" + ConfigFile(nullptr);
    }
    SetBinPath(L"");
    text +=
        L"|" + CacheFile(L"c") + L" " + PatchFile(L"p") + L" " + StagingFile(L"s") + L" " + BinFile(nullptr);
    return std::puts(ToUTF8(text).c_str()) < 0;
}
