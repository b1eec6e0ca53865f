#include "serialization/EntryPath.h"

#include <algorithm>
#include <cwchar>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {
namespace {

bool Equal(const std::wstring& text, const wchar_t* name) { return ::_wcsicmp(text.c_str(), name) == 0; }

// The system takes "con.tar.gz" and "CON .x" for the console, too, and superscript digits for plain ones.
bool NamesDevice(const std::wstring& component) {
    std::wstring base = component.substr(0, component.find(L'.'));
    base.erase(base.find_last_not_of(L' ') + 1);
    for (const wchar_t* name : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"}) {
        if (Equal(base, name)) return true;
    }
    if (base.size() != 4 || std::wcschr(L"123456789\x00b9\x00b2\x00b3", base[3]) == nullptr) return false;
    base.pop_back();
    return Equal(base, L"COM") || Equal(base, L"LPT");
}

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
