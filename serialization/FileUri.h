#pragma once

#include <string>

#include "WindowsAgentCommon/URIParser.h"

namespace WindowsAgentCommon::detail {

/// The absolute Windows path of the file that a "file" URI names; docs/serialization.md lists the forms.
/// uri: its scheme is not looked at. path: replaced; unchanged on failure. False where the URI names no file
/// by an absolute path. Nothing is looked up on the disk. Thread-safe; throws only std::bad_alloc.
bool FilePathOf(const URIParser& uri, std::wstring& path);

}  // namespace WindowsAgentCommon::detail
