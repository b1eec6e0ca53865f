#include "logging/CleanupLogFolder.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/AceRuntime.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "foundation/Path.h"
#include "foundation/Win32Handle.h"
#include "logging/ProcessEnd.h"
#include "logging/SideFile.h"

#include <utility>
#include <vector>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {
namespace {

CorvaneLogger::ALogger& Logger() { return CorvaneLogger::CV_Logger::Logger("Code.LoggerFactory.Cleanup"); }

void TellContentFailure(const std::wstring& folder, const std::wstring& name, DWORD error) {
    if (error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND) return;
    Logger().Debug("Unable to delete content of %ls\\%ls  -- %s", folder.c_str(), name.c_str(),
                   LastError(error).c_str());
}

struct Folder {
    std::wstring name;
    bool isLink;
};

// Returns the Windows error code.
DWORD ListFolders(const std::wstring& pattern, std::vector<Folder>& folders) {
    WIN32_FIND_DATAW entry;
    const FindHandle search(::FindFirstFileW(SystemPath(pattern).c_str(), &entry));
    if (!search) return ::GetLastError();
    do {
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            folders.push_back(
                {entry.cFileName, (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0});
    } while (::FindNextFileW(search.Get(), &entry));
    const DWORD error = ::GetLastError();
    return error == ERROR_NO_MORE_FILES ? ERROR_SUCCESS : error;
}

}  // namespace

CleanupLogFolder::CleanupLogFolder(const std::wstring& logFolder, const std::wstring& checkpointFolder)
    : logFolder_(logFolder), checkpointFolder_(checkpointFolder), stopping_(false) {}

CleanupLogFolder::~CleanupLogFolder() {
    if (!CorvaneLogger::detail::ProcessIsEnding()) wait();
}

bool CleanupLogFolder::Start() {
    EnsureAceInitialized();
    return activate(THR_NEW_LWP | THR_JOINABLE, 1) == 0;
}

int CleanupLogFolder::svc() {
    try {
        Logger().Debug("Removing old %ls log files and old %ls archived_patch_checkpoint* folders",
                       logFolder_.c_str(), checkpointFolder_.c_str());
        if (!logFolder_.empty()) RemoveLogFiles();
        if (!checkpointFolder_.empty()) RemoveCheckpoints();
    } catch (const std::exception& failure) {
        CorvaneLogger::detail::WriteSideFile("Cleanup", "%s", failure.what());
    }
    return 0;
}

void CleanupLogFolder::RemoveLogFiles() const {
    for (const wchar_t* pattern : {L"Corvane_Code_*.log", L"Corvane_Device_*.log", L"Corvane_System_*.log"}) {
        if (stopping_) return;
        TellContentFailure(logFolder_, pattern, DeleteDirectoryContents(logFolder_, pattern));
    }
}

void CleanupLogFolder::RemoveCheckpoints() const {
    std::vector<Folder> folders;
    const DWORD error = ListFolders(Below(checkpointFolder_, L"archived_patch_checkpoint*"), folders);
    if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND)
        Logger().Debug("Unable to find archived_patch_checkpoint* folders in %ls -- %s",
                       checkpointFolder_.c_str(), LastError(error).c_str());
    for (const Folder& folder : folders) {
        if (stopping_) return;
        const std::wstring path = Below(checkpointFolder_, folder.name.c_str());
        if (!folder.isLink)
            TellContentFailure(checkpointFolder_, folder.name, DeleteDirectoryContents(path, L"*"));
        if (::RemoveDirectoryW(SystemPath(path).c_str())) continue;
        const DWORD removal = ::GetLastError();
        Logger().Debug("Unable to delete directory %ls -- %s", path.c_str(), LastError(removal).c_str());
    }
}

}  // namespace WindowsAgentCommon::detail
