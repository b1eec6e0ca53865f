#include "WindowsAgentCommon/Encoding.h"

#include "foundation/Transcoding.h"

#include <cstring>
#include <cwchar>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

using detail::NarrowText;
using detail::WideText;

// Deliberate: a short text of the two ANSI functions ends at its first zero, a long one does not.
std::size_t AnsiRuleLength(const std::string& text) noexcept {
    return text.size() < detail::kShortTextLimit ? std::strlen(text.c_str()) : text.size();
}

const char* Recode(const std::string& text, unsigned int from, unsigned int to, std::string& out) {
    const WideText wide(from, text.data(), AnsiRuleLength(text));
    out = NarrowText(to, wide.Data(), wide.Size()).Take();
    return out.c_str();
}

}  // namespace

std::string ToUTF8(const std::wstring& text) { return NarrowText(CP_UTF8, text.data(), text.size()).Take(); }

std::string ToUTF8(const wchar_t* text, int length) {
    if (text == nullptr) return std::string();
    const std::size_t units = length > 0 ? static_cast<std::size_t>(length) : std::wcslen(text);
    return NarrowText(CP_UTF8, text, units).Take();
}

const char* ToUTF8(const std::wstring& text, std::string& out) {
    out.clear();
    if (text.empty()) return out.c_str();  // the system takes no text for an error and sets the last error
    out.resize(4 * text.size());           // more than any text needs, so one pass is enough
    const int converted = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                out.data(), static_cast<int>(out.size()), nullptr, nullptr);
    out.resize(static_cast<std::size_t>(converted));
    return out.c_str();
}

const char* ToUTF8(const std::string& ansi, std::string& out) { return Recode(ansi, CP_ACP, CP_UTF8, out); }

std::wstring FromUTF8(const std::string& utf8) { return WideText(CP_UTF8, utf8.data(), utf8.size()).Take(); }

const wchar_t* FromUTF8(const std::string& utf8, std::wstring& out) {
    out = FromUTF8(utf8);
    return out.c_str();
}

const char* FromUTF8(const std::string& utf8, std::string& out) { return Recode(utf8, CP_UTF8, CP_ACP, out); }

}  // namespace WindowsAgentCommon
