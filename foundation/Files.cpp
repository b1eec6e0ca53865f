#include "foundation/Files.h"

#include <algorithm>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

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

}  // namespace WindowsAgentCommon::detail
