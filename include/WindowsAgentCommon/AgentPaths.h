#pragma once

#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// \file
/// Where an agent's process finds its files: fixed folders under one installation root.
///
///     C:\Agent            root; checkpoint files lie here
///     C:\Agent\bin        the executables
///     C:\Agent\cache
///     C:\Agent\config     AgentConfig.xml
///     C:\Agent\logs
///     C:\Agent\patch
///     C:\Agent\staging
///
/// The paths are worked out at first use, from where the executable lies, or set, and then kept for the life
/// of the process. Paths are UTF-16 with `\` between; a folder's path ends with `\`. Nothing is created or
/// looked up on the disk, and nothing reports an error: where the executable's path cannot be had, or is
/// longer than 259 characters, bin path and root are empty and the folders are relative (`cache\`). So they
/// are, and the root is empty, for an executable at the top of a drive, which has no folder above its own.
///
/// Thread rule: the kept paths have no lock. A host settles them on its main thread before it starts others:
/// first the bin path, by GetBinPath() or SetBinPath(), then the root, by GetRootPath() or SetRootPath().
/// After that, every thread may call every function here but the two setters, as long as neither is empty.
/// isDevEnvironment() and GetWorkspacePath() keep nothing: any thread, any time.
///
/// All functions throw only std::bad_alloc; after it, a setter may have set some of its paths.

/// The folder of the process's executable, or what was set.
CORVANE_API std::wstring GetBinPath();

/// Sets the bin path to path, with `\` for `/` and `\` at its end. An empty path is worked out again at the
/// next use. A root that is known already stays what it is.
CORVANE_API void SetBinPath(const std::wstring& path);

/// The installation root: what was set, otherwise the folder above the bin path.
CORVANE_API std::wstring GetRootPath();

/// Sets the root to path, with `\` for `/` and `\` at its end, or for an empty path to the folder above the
/// bin path; and with it all folders below.
CORVANE_API void SetRootPath(const std::wstring& path);

CORVANE_API std::wstring GetCachePath();       ///< `cache\` under the root.
CORVANE_API std::wstring GetConfigPath();      ///< `config\` under the root.
CORVANE_API std::wstring GetLogPath();         ///< `logs\` under the root.
CORVANE_API std::wstring GetPatchPath();       ///< `patch\` under the root.
CORVANE_API std::wstring GetStagingPath();     ///< `staging\` under the root.
CORVANE_API std::wstring GetCheckpointPath();  ///< The root itself; deliberately no folder of its own.

/// The path of a file in the bin path. name: put behind the folder as it is; null counts as empty.
CORVANE_API std::wstring BinFile(const wchar_t* name);
CORVANE_API std::wstring CacheFile(const wchar_t* name);    ///< The same in the cache folder.
CORVANE_API std::wstring PatchFile(const wchar_t* name);    ///< The same in the patch folder.
CORVANE_API std::wstring StagingFile(const wchar_t* name);  ///< The same in the staging folder.
CORVANE_API std::wstring ConfigFile(const wchar_t* name);   ///< In the config folder; null: AgentConfig.xml.

/// Whether the process's environment has WORKSPACE_ROOT, even if empty.
CORVANE_API bool isDevEnvironment();

/// The value of WORKSPACE_ROOT as it is; empty where there is none. The folders above do not follow it.
CORVANE_API std::wstring GetWorkspacePath();

}  // namespace WindowsAgentCommon
