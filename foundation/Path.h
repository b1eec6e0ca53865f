#pragma once

#include <string>

namespace WindowsAgentCommon::detail {

/// \file
/// Paths as the system wants them. Thread-safe, except that relative paths follow the process's working
/// folder. All throw only std::bad_alloc.

/// The absolute form of path, "/" turned into "\" and "." and ".." resolved; nothing is looked up on the
/// disk. Empty where path is empty or the system refuses it: then GetLastError() tells why.
std::wstring AbsolutePath(const std::wstring& path);

/// The form in which path is given to the system's file functions: path itself where it is short, otherwise
/// its absolute form behind the prefix that lifts the limit of 260 characters ("\\?\", "\\?\UNC\").
std::wstring SystemPath(const std::wstring& path);

/// The same for a path in UTF-8.
std::wstring SystemPath(const std::string& path);

/// path in the form that the system takes to the letter: absolute, behind "\\?\" or "\\?\UNC\" whatever its
/// length. Names that end with a blank or dot, as listings may have them, can be appended and stay what they
/// are. Empty as for AbsolutePath.
std::wstring VerbatimPath(const std::wstring& path);

/// The path of an entry of folder, which may end with "\" or not.
std::wstring Below(const std::wstring& folder, const wchar_t* name);

/// Whether the system takes a file name, whatever its extension, for a device: "con.tar.gz" and "CON .x" are
/// the console, too, and superscript digits count as plain ones.
bool NamesDevice(const std::wstring& name);

}  // namespace WindowsAgentCommon::detail
