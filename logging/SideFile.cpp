#include "logging/SideFile.h"

#include "WindowsAgentCommon/Formatting.h"
#include "foundation/Path.h"
#include "foundation/Win32Handle.h"
#include "logging/LogPath.h"
#include "logging/ProcessEnd.h"

#include <ace/Thread_Mutex.h>

#include <cstdarg>
#include <string>

#include "foundation/Win32.h"

namespace CorvaneLogger::detail {
namespace {

using WindowsAgentCommon::detail::FileHandle;
using WindowsAgentCommon::detail::SystemPath;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

FileHandle OpenForAppending(const std::wstring& path) {
    return FileHandle(::CreateFileW(path.c_str(), FILE_APPEND_DATA, kShareAll, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool IsFull(const FileHandle& file) {
    LARGE_INTEGER size;
    return ::GetFileSizeEx(file.Get(), &size) && size.QuadPart >= kSideFileLimit;
}

// False when the file can neither be renamed nor emptied: then it must not grow.
bool BeginAnew(const std::wstring& path) {
    const std::wstring old = SystemPath(LogPath(kOldSideFile));
    if (::MoveFileExW(path.c_str(), old.c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
    return static_cast<bool>(FileHandle(::CreateFileW(path.c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                                      TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

void Append(const std::string& line) {
    static ACE_Thread_Mutex mutex;
    const LockUnlessEnding lock(mutex);
    if (!lock) return;
    const std::wstring path = SystemPath(LogPath(kSideFile));
    FileHandle file = OpenForAppending(path);
    if (file && IsFull(file)) {
        file.Reset();
        if (BeginAnew(path)) file = OpenForAppending(path);
    }
    DWORD written = 0;
    if (file) ::WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

}  // namespace

void WriteSideFile(const char* heading, const char* format, ...) noexcept {
    const DWORD kept = ::GetLastError();
    va_list args;
    va_start(args, format);
    try {
        std::string line = WindowsAgentCommon::varargs2string(format, args);
        if (line.size() > kSideMessageSize) line.resize(kSideMessageSize);
        Append(heading + ("  " + line + "\n"));
    } catch (...) {  // there is nowhere left to report to
        ::OutputDebugStringA("CorvaneLogger: a line for logger.log found no memory\n");
    }
    va_end(args);
    ::SetLastError(kept);
}

}  // namespace CorvaneLogger::detail
