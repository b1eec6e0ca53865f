#pragma once

#include <cstddef>
#include <string>

#include "foundation/Files.h"
#include "foundation/Win32Handle.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

/// \file
/// Whole files, as the file functions share them. Errors are Windows error codes.

/// Opens an existing file for reading. sharing: what others may do meanwhile; by default all. The handle is
/// invalid on failure, GetLastError() tells why.
FileHandle OpenToRead(const std::wstring& path,
                      DWORD sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);

/// Creates or replaces a file that others may not open meanwhile, nor have open. As above on failure.
FileHandle CreateToWrite(const std::wstring& path);

/// Writes size bytes, at most piece at a time. A write that takes nothing is an error.
DWORD WriteAll(HANDLE file, const char* data, std::size_t size, std::size_t piece = kFilePiece);

/// Replaces text by the bytes that the file has when it is opened; text is unchanged on failure.
/// ERROR_NOT_ENOUGH_MEMORY where they do not fit; throws std::bad_alloc for nothing but the path.
DWORD ReadWholeFile(const std::wstring& path, std::string& text);

}  // namespace WindowsAgentCommon::detail
