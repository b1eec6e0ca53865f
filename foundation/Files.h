#pragma once

#include <cstddef>
#include <string>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

/// Files are read and written in pieces of at most this many bytes, unless a caller says otherwise: on XP a
/// call with more than some 64 MB fails on a file of another machine.
constexpr DWORD kFilePiece = 64 * 1024;

/// Reads on, up to size bytes. read: how many came, fewer where the file ends before; those before the
/// failure on failure. Returns the Windows error code.
DWORD ReadUpTo(HANDLE file, char* data, std::size_t size, std::size_t& read) noexcept;

/// Whether a path, as the system takes it, means the file that is open. False where the system cannot tell.
bool IsSameFile(HANDLE file, const std::wstring& path);

}  // namespace WindowsAgentCommon::detail
