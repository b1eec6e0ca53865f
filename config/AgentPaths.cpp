#include "WindowsAgentCommon/AgentPaths.h"

#include "WindowsAgentCommon/PathText.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon {
namespace {

constexpr wchar_t kWorkspaceVariable[] = L"WORKSPACE_ROOT";

struct Paths {
    std::wstring bin, root, cache, config, patch, log, staging, checkpoint;
};

Paths& ThePaths() {
    static Paths paths;
    return paths;
}

std::wstring UnderRoot(std::wstring Paths::*path) {
    if ((ThePaths().*path).empty()) GetRootPath();
    return ThePaths().*path;
}

std::wstring FileIn(std::wstring folder, const wchar_t* name) {
    if (name != nullptr) folder += name;
    return folder;
}

}  // namespace

std::wstring GetBinPath() {
    std::wstring& bin = ThePaths().bin;
    if (bin.empty()) {
        wchar_t file[MAX_PATH];
        const DWORD length = ::GetModuleFileNameW(nullptr, file, MAX_PATH);
        // A full buffer holds a part of the path (on XP without a terminator), which may name another folder.
        if (length != 0 && length < MAX_PATH) bin = ParentFolder(std::wstring(file, length), true);
    }
    return bin;
}

void SetBinPath(const std::wstring& path) { ThePaths().bin = NormalizePath(path, true); }

std::wstring GetRootPath() {
    if (ThePaths().root.empty()) SetRootPath(L"");
    return ThePaths().root;
}

void SetRootPath(const std::wstring& path) {
    const std::wstring root = path.empty() ? ParentFolder(GetBinPath(), true) : NormalizePath(path, true);
    Paths& paths = ThePaths();
    paths.root = root;
    paths.cache = root + L"cache\\";
    paths.config = root + L"config\\";
    paths.patch = root + L"patch\\";
    paths.log = root + L"logs\\";
    paths.staging = root + L"staging\\";
    paths.checkpoint = root;
}

std::wstring GetCachePath() { return UnderRoot(&Paths::cache); }
std::wstring GetConfigPath() { return UnderRoot(&Paths::config); }
std::wstring GetLogPath() { return UnderRoot(&Paths::log); }
std::wstring GetPatchPath() { return UnderRoot(&Paths::patch); }
std::wstring GetStagingPath() { return UnderRoot(&Paths::staging); }
std::wstring GetCheckpointPath() { return UnderRoot(&Paths::checkpoint); }

std::wstring BinFile(const wchar_t* name) { return FileIn(GetBinPath(), name); }
std::wstring CacheFile(const wchar_t* name) { return FileIn(GetCachePath(), name); }
std::wstring PatchFile(const wchar_t* name) { return FileIn(GetPatchPath(), name); }
std::wstring StagingFile(const wchar_t* name) { return FileIn(GetStagingPath(), name); }
std::wstring ConfigFile(const wchar_t* name) {
    return FileIn(GetConfigPath(), name != nullptr ? name : L"AgentConfig.xml");
}

bool isDevEnvironment() {
    // Asked for its size, a variable that is there counts at least its terminator.
    return ::GetEnvironmentVariableW(kWorkspaceVariable, nullptr, 0) != 0;
}

std::wstring GetWorkspacePath() {
    std::wstring value;
    for (;;) {
        const DWORD length =
            ::GetEnvironmentVariableW(kWorkspaceVariable, value.data(), static_cast<DWORD>(value.size()));
        const bool fits = length == 0 || length < value.size();
        value.resize(length);
        if (fits) return value;
    }
}

}  // namespace WindowsAgentCommon
