#include "logging/Rolling.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/Formatting.h"
#include "foundation/Clock.h"
#include "foundation/Path.h"
#include "foundation/Win32Handle.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "foundation/Win32.h"

namespace CorvaneLogger::detail {
namespace {

using namespace WindowsAgentCommon;
using WindowsAgentCommon::detail::FindHandle;
using WindowsAgentCommon::detail::SystemPath;

constexpr int kRenameAttempts = 10;
constexpr unsigned kRenamePause = 100;  // ms

template <class... Arguments>
void Report(const RollReport& report, const char* format, const Arguments&... arguments) {
    std::string text;
    Format(text, format, arguments...);
    report(text);
}

DWORD Rename(const std::string& from, const std::string& to) {
    return ::MoveFileW(SystemPath(from).c_str(), SystemPath(to).c_str()) ? ERROR_SUCCESS : ::GetLastError();
}

void ReportRenameFailure(const RollReport& report, const std::string& from, const std::string& to,
                         DWORD error) {
    Report(report, "Unable to rename %s  to  %s  Error: %d", from.c_str(), to.c_str(),
           static_cast<int>(error));
}

constexpr std::size_t kMostDigits = 9;  // of an index that 32 bits hold for certain

// The index in a file name that is wholly of the form, else -1.
std::int32_t IndexOf(const std::wstring& name, const std::wstring& start, const std::wstring& end) {
    if (name.size() <= start.size() + end.size() ||
        ::_wcsicmp(name.substr(0, start.size()).c_str(), start.c_str()) != 0 ||
        ::_wcsicmp(name.substr(name.size() - end.size()).c_str(), end.c_str()) != 0)
        return -1;
    const std::wstring digits = name.substr(start.size(), name.size() - start.size() - end.size());
    const bool isIndex = digits.size() <= kMostDigits &&
                         digits.find_first_not_of(L"0123456789") == std::wstring::npos &&
                         (digits.size() == 1 || digits[0] != L'0');
    return isIndex ? static_cast<std::int32_t>(std::wcstol(digits.c_str(), nullptr, 10)) : -1;
}

// The indexes of the rolled files that there are, highest first.
std::vector<std::int32_t> Indexes(const RolledNames& names) {
    const std::wstring start = FromUTF8(names.baseName) + L"_", end = L"." + FromUTF8(names.extension);
    std::vector<std::int32_t> indexes;
    WIN32_FIND_DATAW entry;
    const FindHandle search(::FindFirstFileW(
        SystemPath(names.folder + names.baseName + "_*." + names.extension).c_str(), &entry));
    if (!search) return indexes;
    do {
        const std::int32_t index = IndexOf(entry.cFileName, start, end);
        const bool isFile = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
        if (index >= 0 && isFile) indexes.push_back(index);
    } while (::FindNextFileW(search.Get(), &entry));
    std::sort(indexes.rbegin(), indexes.rend());
    return indexes;
}

// True when index 0 has become index 1.
bool ShiftUp(const RolledNames& names, std::int32_t maxIndex, const RollReport& report) {
    bool moved = false;
    for (const std::int32_t index : Indexes(names)) {
        const std::string from = names.Rolled(index);
        if (index >= maxIndex) {
            Report(report, "Deleting %s", from.c_str());
            if (::DeleteFileW(SystemPath(from).c_str())) continue;
            const DWORD error = ::GetLastError();
            Report(report, "Unable to delete %s  Error: %d", from.c_str(), static_cast<int>(error));
            continue;
        }
        const std::string to = names.Rolled(index + 1);
        if (index > 0) Report(report, "Renaming %s to %s", from.c_str(), to.c_str());
        const DWORD error = Rename(from, to);
        if (error != ERROR_SUCCESS) ReportRenameFailure(report, from, to, error);
        moved = index == 0 && error == ERROR_SUCCESS;
    }
    return moved;
}

// Whether waiting helps: it does with a file that is held, not with one that is gone, nor with a rolled file
// 0 that could not be shifted up.
bool MayPass(DWORD error) {
    return error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND && error != ERROR_ALREADY_EXISTS;
}

bool RenameLive(const std::string& from, const std::string& to, const RollReport& report) {
    Report(report, "Renaming %s to %s", from.c_str(), to.c_str());
    for (int attempt = 1;; ++attempt) {
        const DWORD error = Rename(from, to);
        if (error == ERROR_SUCCESS) return true;
        if (attempt == kRenameAttempts || !MayPass(error)) {
            ReportRenameFailure(report, from, to, error);
            return false;
        }
        WindowsAgentCommon::detail::SleepMilliseconds(kRenamePause);
    }
}

}  // namespace

std::string RolledNames::Live() const { return folder + baseName + "." + extension; }

std::string RolledNames::Rolled(std::int32_t index) const {
    std::string path;
    return Format(path, "%s%s_%d.%s", folder.c_str(), baseName.c_str(), static_cast<int>(index),
                  extension.c_str());
}

bool Roll(const RolledNames& names, std::int32_t maxIndex, const RollReport& report) {
    const std::string first = names.Rolled(0);
    if (::GetFileAttributesW(SystemPath(first).c_str()) != INVALID_FILE_ATTRIBUTES)
        ShiftUp(names, maxIndex, report);
    return RenameLive(names.Live(), first, report) && ShiftUp(names, maxIndex, report);
}

}  // namespace CorvaneLogger::detail
