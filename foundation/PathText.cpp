#include "WindowsAgentCommon/PathText.h"

#include <algorithm>

namespace WindowsAgentCommon {

std::wstring NormalizePath(const std::wstring& path, bool trailing) {
    std::wstring text = path;
    if (text.empty()) return text;
    std::replace(text.begin(), text.end(), L'/', L'\\');
    const bool ends = text.back() == L'\\';
    if (trailing && !ends) text += L'\\';
    if (!trailing && ends) text.pop_back();
    return text;
}

std::wstring ParentFolder(const std::wstring& path, bool keepSeparator) {
    std::wstring text = NormalizePath(path, false);
    const std::size_t cut = text.rfind(L'\\');
    text.resize(cut == std::wstring::npos ? 0 : cut + (keepSeparator ? 1 : 0));
    return text;
}

}  // namespace WindowsAgentCommon
