#pragma once

#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// \file
/// Paths as text: UTF-16, nothing is looked up on the disk. The functions throw only std::bad_alloc and are
/// thread-safe.

/// path with every `/` made `\`. trailing: one `\` is appended unless the path ends with one; otherwise one
/// `\` at the end is removed (of `C:\`, too, which gives `C:`). An empty path stays empty.
CORVANE_API std::wstring NormalizePath(const std::wstring& path, bool trailing);

/// The folder above path, whose own `\` or `/` at the end does not count: `C:\a\b\` gives `C:\a\`.
/// keepSeparator: whether the result ends with its `\`. Empty where there is none to cut at, as in `C:\`.
CORVANE_API std::wstring ParentFolder(const std::wstring& path, bool keepSeparator);

}  // namespace WindowsAgentCommon
