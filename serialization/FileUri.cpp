#include "serialization/FileUri.h"

#include "WindowsAgentCommon/Encoding.h"

#include <algorithm>

namespace WindowsAgentCommon::detail {
namespace {

constexpr std::size_t kNoPosition = std::wstring::npos;

int HexDigit(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    const int lower = digit | 0x20;
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Decodes percent escapes, which give UTF-8. False for a "%" without two digits and for what is no valid text
// before or after: the converters replace that, and the path would be another one.
bool Unescape(const std::wstring& text, std::wstring& out) {
    const std::string utf8 = ToUTF8(text);
    if (FromUTF8(utf8) != text) return false;
    std::string bytes;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        if (utf8[i] != '%') {
            bytes += utf8[i];
            continue;
        }
        if (utf8.size() - i < 3) return false;
        const int high = HexDigit(utf8[i + 1]), low = HexDigit(utf8[i + 2]);
        if (high < 0 || low < 0) return false;
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
    }
    out = FromUTF8(bytes);
    return ToUTF8(out) == bytes;
}

bool IsDrive(const std::wstring& text, std::size_t at) {
    if (text.size() < at + 2 || text[at + 1] != L':') return false;
    const int lower = text[at] | 0x20;
    return lower >= L'a' && lower <= L'z';
}

bool IsLocalhost(std::wstring host) {
    std::transform(host.begin(), host.end(), host.begin(), [](wchar_t letter) {
        return letter >= L'A' && letter <= L'Z' ? static_cast<wchar_t>(letter | 0x20) : letter;
    });
    return host == L"localhost";
}

// "\\server\share\" and more. The servers "." and "?" are doors to devices; "user@server" would mean a port
// of "user".
bool IsOnShare(const std::wstring& path) {
    if (path.compare(0, 2, L"\\\\") != 0) return false;
    const std::size_t serverEnd = path.find(L'\\', 2);
    if (serverEnd == kNoPosition) return false;
    const std::wstring server = path.substr(2, serverEnd - 2);
    const std::size_t shareEnd = path.find(L'\\', serverEnd + 1);
    return server.find_first_not_of(L'.') != kNoPosition && server.find(L'@') == kNoPosition &&
           shareEnd != kNoPosition && shareEnd > serverEnd + 1;
}

// Whether the path names a file, by characters that names may have, behind its first begin characters.
bool NamesFile(const std::wstring& path, std::size_t begin) {
    return begin < path.size() && path.back() != L'\\' &&
           std::none_of(path.begin() + static_cast<std::ptrdiff_t>(begin), path.end(), [](wchar_t letter) {
               return letter < 0x20 || std::wstring(L"<>:\"|?*").find(letter) != kNoPosition;
           });
}

}  // namespace

bool FilePathOf(const URIParser& uri, std::wstring& path) {
    // A file's name may hold "#": opening what stands before it would be another file.
    if (!uri.GetQuery().empty() || !uri.GetFragment().empty()) return false;
    std::wstring host, full;
    if (!Unescape(uri.GetAuthority(), host) || !Unescape(uri.GetPath(), full)) return false;
    std::replace(full.begin(), full.end(), L'/', L'\\');
    if (IsDrive(host, 0) && host.size() == 2)
        full = host + full;
    else if (!host.empty() && !IsLocalhost(host))
        full = L"\\\\" + host + full;
    const std::size_t slashes = std::min(full.find_first_not_of(L'\\'), full.size());
    if (slashes > 2) full.erase(0, slashes - 2);  // "file://///server/share/x"
    if (slashes == 1 && IsDrive(full, 1)) full.erase(0, 1);
    const bool onDrive = IsDrive(full, 0) && full.compare(2, 1, L"\\") == 0;
    if (!(onDrive ? NamesFile(full, 3) : IsOnShare(full) && NamesFile(full, 2))) return false;
    path = full;
    return true;
}

}  // namespace WindowsAgentCommon::detail
