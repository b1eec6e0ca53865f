#include "logging/LogPath.h"

#include "WindowsAgentCommon/Encoding.h"
#include "foundation/Path.h"

namespace CorvaneLogger::detail {

std::wstring LogPath(const std::string& path) {
    static const std::wstring workingFolder = [] {
        std::wstring folder = WindowsAgentCommon::detail::AbsolutePath(L".");
        if (folder.empty() || folder.back() != L'\\') folder += L'\\';
        return folder;
    }();
    std::wstring wide = WindowsAgentCommon::FromUTF8(path);
    for (wchar_t& letter : wide)
        if (letter == L'/') letter = L'\\';
    const bool hasDrive = wide.size() > 1 && wide[1] == L':';
    if (!hasDrive && wide.compare(0, 2, L"\\\\") != 0) {
        const bool rooted = !wide.empty() && wide[0] == L'\\';
        // A working folder on a share has no drive for a rooted path to be on.
        if (!rooted)
            wide = workingFolder + wide;
        else if (workingFolder.size() > 1 && workingFolder[1] == L':')
            wide = workingFolder.substr(0, 2) + wide;
    }
    const std::wstring full = WindowsAgentCommon::detail::AbsolutePath(wide);
    return full.empty() ? wide : full;
}

}  // namespace CorvaneLogger::detail
