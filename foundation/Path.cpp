#include "foundation/Path.h"

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

}  // namespace WindowsAgentCommon::detail
