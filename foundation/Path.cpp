#include "foundation/Path.h"

#include "WindowsAgentCommon/Encoding.h"

#include <cwchar>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {
namespace {

constexpr std::size_t kLongestShortPath = 247;  // folders need room for a file name within 260 characters

bool StartsWith(const std::wstring& text, const wchar_t* start) {
    return text.compare(0, std::char_traits<wchar_t>::length(start), start) == 0;
}

// full: absolute, of neither of the forms "\\?\" and "\\.\".
std::wstring Prefixed(const std::wstring& full) {
    return StartsWith(full, L"\\\\") ? L"\\\\?\\UNC\\" + full.substr(2) : L"\\\\?\\" + full;
}

}  // namespace

std::wstring AbsolutePath(const std::wstring& path) {
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        const bool fits = length < full.size();
        full.resize(length);
        if (fits) return full;
    }
}

std::wstring SystemPath(const std::wstring& path) {
    // A relative path is short by itself and long behind the working folder.
    if (path.empty() || StartsWith(path, L"\\\\?\\") || StartsWith(path, L"\\\\.\\")) return path;
    const std::wstring full = AbsolutePath(path);
    if (full.size() <= kLongestShortPath || StartsWith(full, L"\\\\.\\")) return path;
    return Prefixed(full);
}

std::wstring VerbatimPath(const std::wstring& path) {
    if (StartsWith(path, L"\\\\?\\")) return path;
    const std::wstring full = AbsolutePath(path);
    return full.empty() || StartsWith(full, L"\\\\.\\") ? full : Prefixed(full);
}

std::wstring SystemPath(const std::string& path) { return SystemPath(FromUTF8(path)); }

std::wstring Below(const std::wstring& folder, const wchar_t* name) {
    const bool hasSeparator = !folder.empty() && folder.back() == L'\\';
    return hasSeparator ? folder + name : folder + L'\\' + name;
}

bool NamesDevice(const std::wstring& name) {
    std::wstring stem = name.substr(0, name.find(L'.'));
    stem.erase(stem.find_last_not_of(L' ') + 1);
    for (const wchar_t* device : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"})
        if (::_wcsicmp(stem.c_str(), device) == 0) return true;
    if (stem.size() != 4 || std::wcschr(L"123456789\u00B9\u00B2\u00B3", stem[3]) == nullptr) return false;
    stem.pop_back();
    return ::_wcsicmp(stem.c_str(), L"COM") == 0 || ::_wcsicmp(stem.c_str(), L"LPT") == 0;
}

}  // namespace WindowsAgentCommon::detail
