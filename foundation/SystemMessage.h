#pragma once

#include <string>

namespace WindowsAgentCommon::detail {

/// The text of a Windows error code, with its line break. Placeholders such as %1 stay as they are.
/// module: name of a DLL, whose own texts come before the system's where it is loaded; null for none.
/// Empty where nobody has a text. Thread-safe; throws only std::bad_alloc.
std::wstring SystemMessage(unsigned long code, const wchar_t* module = nullptr);

}  // namespace WindowsAgentCommon::detail
