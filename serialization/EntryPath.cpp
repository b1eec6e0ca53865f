#include "serialization/EntryPath.h"

#include "foundation/Path.h"

#include <algorithm>
#include <cwchar>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {
namespace {

bool IsForbidden(wchar_t character) {
    return character < L' ' || std::wcschr(L"<>:\"|?*", character) != nullptr;
}

}  // namespace

bool RelativeEntryPath(const std::wstring& name, std::wstring& relative) {
    if (std::any_of(name.begin(), name.end(), IsForbidden)) return false;
    if (name.find_first_of(L"/\\") == 0) return false;
    std::wstring path;
    for (std::size_t begin = 0; begin < name.size();) {
        const std::size_t end = std::min(name.find_first_of(L"/\\", begin), name.size());
        std::wstring component = name.substr(begin, end - begin);
        begin = end + 1;
        if (component.empty() || component == L".") continue;
        component.erase(component.find_last_not_of(L". ") + 1);
        if (component.empty() || NamesDevice(component)) return false;  // empty: ".." and the like
        if (!path.empty()) path += L'\\';
        path += component;
    }
    relative = path;
    return true;
}

bool LeadsThroughLink(const std::wstring& base, const std::wstring& relative) {
    for (std::size_t end = 0; end != std::wstring::npos;) {
        end = relative.find(L'\\', end + 1);
        const std::wstring path = base + L'\\' + relative.substr(0, end);
        const DWORD attributes = ::GetFileAttributesW(path.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES) return false;  // nor does anything below it exist
        if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) return true;
    }
    return false;
}

}  // namespace WindowsAgentCommon::detail
