#pragma once

#include <string>

namespace WindowsAgentCommon::detail {

/// \file
/// Keeps the names that an archive gives to its entries inside the folder that it is extracted to.

/// Makes a path below a folder of an entry's name: "/" becomes "\", empty and "." components go, blanks and
/// dots at a component's end go as the system would drop them. Empty for the folder itself. False, with
/// relative unchanged, where the name is absolute, has a drive letter, a stream, a ".." component or a
/// character that file names cannot have, or where a component names a device (NUL, com1.txt, "CON .x").
bool RelativeEntryPath(const std::wstring& name, std::wstring& relative);

/// Whether a component of relative below base is a junction or link, or any other reparse point.
/// base: verbatim, without "\" at its end. relative: as made above.
bool LeadsThroughLink(const std::wstring& base, const std::wstring& relative);

}  // namespace WindowsAgentCommon::detail
