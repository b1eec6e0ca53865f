#include "foundation/Files.h"

#include "foundation/Win32Handle.h"

#include <algorithm>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {
namespace {

bool Identify(HANDLE file, BY_HANDLE_FILE_INFORMATION& identity) {
    return file != INVALID_HANDLE_VALUE && ::GetFileInformationByHandle(file, &identity) != 0;
}

}  // namespace

DWORD ReadUpTo(HANDLE file, char* data, std::size_t size, std::size_t& read) noexcept {
    for (read = 0; read != size;) {
        DWORD got = 0;
        const auto piece = static_cast<DWORD>(std::min<std::size_t>(size - read, kFilePiece));
        if (!::ReadFile(file, data + read, piece, &got, nullptr)) return ::GetLastError();
        if (got == 0) break;
        read += got;
    }
    return ERROR_SUCCESS;
}

bool IsSameFile(HANDLE file, const std::wstring& path) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const FileHandle other(::CreateFileW(path.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
    BY_HANDLE_FILE_INFORMATION a, b;
    return Identify(file, a) && Identify(other.Get(), b) &&
           a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh &&
           a.nFileIndexLow == b.nFileIndexLow;
}

}  // namespace WindowsAgentCommon::detail
