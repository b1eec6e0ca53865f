// How the registry takes its configuration file over.

#include "CorvaneLogger/CV_Logger.h"

#include "WindowsAgentCommon/Encoding.h"
#include "foundation/FileTime.h"
#include "foundation/Files.h"
#include "foundation/Path.h"
#include "foundation/Win32Handle.h"
#include "logging/LogConfig.h"
#include "logging/ProcessEnd.h"
#include "logging/SideFile.h"

#include "foundation/Win32.h"

namespace CorvaneLogger {
namespace {

using WindowsAgentCommon::detail::AbsolutePath;
using WindowsAgentCommon::detail::SystemPath;

constexpr std::size_t kLongestPath = 260;  // characters of a configuration file's absolute path
constexpr int kDestinations = 3;           // of a category
constexpr int kMostReports = 100;          // in one reading; a file of nothing but mistakes fills no disk

DWORD ModifiedTime(const std::wstring& path, std::int64_t& modified) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!::GetFileAttributesExW(SystemPath(path).c_str(), GetFileExInfoStandard, &data))
        return ::GetLastError();
    modified = WindowsAgentCommon::detail::TicksOf(data.ftLastWriteTime);
    return ERROR_SUCCESS;
}

// A file that grows while it is read is one that is too large in the end.
DWORD ReadWhole(const std::wstring& path, std::string& text) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const WindowsAgentCommon::detail::FileHandle file(
        ::CreateFileW(SystemPath(path).c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file) return ::GetLastError();
    if (::GetFileType(file.Get()) != FILE_TYPE_DISK) return ERROR_BAD_FILE_TYPE;  // reading might never end
    text.resize(detail::kConfigFileLimit + 1);
    std::size_t size = 0;
    const DWORD error = WindowsAgentCommon::detail::ReadUpTo(file.Get(), text.data(), text.size(), size);
    if (error != ERROR_SUCCESS) return error;
    if (size == text.size()) return ERROR_FILE_TOO_LARGE;
    text.resize(size);
    return ERROR_SUCCESS;
}

// Fails an operation whose caller asks for the last error.
bool Failed(DWORD error) {
    ::SetLastError(error);
    return false;
}

}  // namespace

bool CV_Logger::setConfig(const std::string& configFile, const std::string& defaultFolder,
                          const std::string& namePrefix) {
    {
        const detail::LockUnlessEnding config(configLock_);
        if (!config) return Failed(ERROR_SHUTDOWN_IN_PROGRESS);
        const std::wstring full = AbsolutePath(WindowsAgentCommon::FromUTF8(configFile));
        const bool isRemembered =
            configFile == configFile_ || WindowsAgentCommon::ToUTF8(full) == configFile_;
        if (!isRemembered || configFile.empty()) {
            configFile_ = configFile;
            configModified_ = 0;
            defaultFolder_ = defaultFolder;
            const detail::LockUnlessEnding names(lock_);
            if (names) namePrefix_ = namePrefix;
        }
    }
    if (CheckConfig()) return true;
    const DWORD error = ::GetLastError();
    detail::WriteSideFile("setConfig", "Unable to load log config file %s -- Error: %d", configFile.c_str(),
                          static_cast<int>(error));
    return false;
}

bool CV_Logger::CheckConfig() {
    const detail::LockUnlessEnding guard(configLock_);
    if (!guard || configFile_.empty()) return true;

    const std::wstring path = WindowsAgentCommon::FromUTF8(configFile_);
    std::int64_t modified = 0;
    if (const DWORD error = ModifiedTime(path, modified)) {
        // The placeholder in this heading and the next is deliberate: they are headings, not formats.
        detail::WriteSideFile("Invalid log config file: %s", "%s", configFile_.c_str());
        return Failed(error);
    }
    if (modified == configModified_) return true;

    const std::wstring full = AbsolutePath(path);
    if (full.empty() || full.size() > kLongestPath) {
        detail::WriteSideFile("Invalid path specified for log file: %s", "%s", configFile_.c_str());
        return Failed(ERROR_FILENAME_EXCED_RANGE);
    }
    configFile_ = WindowsAgentCommon::ToUTF8(full);
    configModified_ = modified;  // of before the reading, so that a change during it is seen by the next look

    std::string text;
    if (const DWORD error = ReadWhole(full, text)) {
        detail::WriteSideFile("CheckConfig", "Unable to read log config file %s -- Error: %d",
                              configFile_.c_str(), static_cast<int>(error));
        // One that an editor holds is tried again at the next look, one that is too large when it changes.
        if (error != ERROR_FILE_TOO_LARGE) configModified_ = 0;
        return Failed(error);
    }
    applyConfig(text);
    return true;
}

void CV_Logger::applyConfig(const std::string& text) {
    int reports = 0;
    const detail::ConfigReport report = [&](const std::string& line) {
        if (++reports <= kMostReports) detail::WriteSideFile("CheckConfig", "%s", line.c_str());
        if (reports == kMostReports) detail::WriteSideFile("CheckConfig", "Further problems are not told");
    };
    detail::LogConfig config = detail::ParseLogConfig(text, report);
    if (config.appenders.empty() && config.categories.empty()) report("No appender and no category found");
    for (auto& appender : config.appenders) {
        appender.params.emplace("DefFolder", defaultFolder_);
        addDest(appender.name, appender.cls)->setup(appender.params);
    }
    for (const auto& category : config.categories) {
        BaseLogger* const base = addBaseLogger(category.name, getLvl(category.level));
        LogDst* found[kDestinations + 1] = {};
        int count = 0;
        for (const std::string& reference : category.references) {
            LogDst* const destination = findLogDst(reference);
            if (destination == nullptr)
                report(category.name + " - Unable to find appender " + reference);
            else if (count == kDestinations)
                report(category.name + " - Too many destinations, max is 3, ignoring " + reference);
            else
                found[count++] = destination;
        }
        base->SetDests(found);
    }
    FixBaseLoggers();
}

}  // namespace CorvaneLogger
