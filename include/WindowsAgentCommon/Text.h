#pragma once

#include <map>
#include <string>
#include <vector>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// \file
/// Small text helpers. They throw only std::bad_alloc and are thread-safe.

/// Makes a component's name safe for identifiers and file names, in place: each of " -.{}:" becomes "_", and
/// a name that does not begin with "_" gets one in front ("Event Log" becomes "_Event_Log"). An empty name
/// stays empty. Returns name.
CORVANE_API std::string& NormalizeComponentName(std::string& name);

/// Splits key=value items and adds them to map as UTF-8, keeping what map holds and equal keys side by side.
/// An item is cut at its first character that is one of separators; exactly that one character is dropped.
/// Items without a separator are skipped.
/// Returns the number of entries that map holds afterwards. After std::bad_alloc, map holds some of the
/// items.
CORVANE_API unsigned ConvertParamVectorToMap(const std::vector<std::wstring>& items,
                                             std::multimap<std::string, std::string>& map,
                                             const std::wstring& separators);

}  // namespace WindowsAgentCommon
