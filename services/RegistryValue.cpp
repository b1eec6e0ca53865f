#include "services/RegistryValue.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {
namespace {

std::wstring Units(const std::vector<unsigned char>& bytes) {
    std::wstring units(bytes.size() / sizeof(wchar_t), L'\0');
    if (!units.empty()) std::memcpy(units.data(), bytes.data(), units.size() * sizeof(wchar_t));
    return units;
}

constexpr std::size_t kMaxPathUnits = 32767;

// text with value in place of every occurrence of variable, whatever the case of either; text itself where
// that would be longer than paths are.
std::wstring Replaced(const std::wstring& text, const std::wstring& variable, const std::wstring& value) {
    const std::wstring folded = FoldCase(text), wanted = FoldCase(variable);
    std::wstring out;
    std::size_t begin = 0;
    for (std::size_t at = 0; (at = folded.find(wanted, begin)) != std::wstring::npos;) {
        out += text.substr(begin, at - begin) + value;
        begin = at + wanted.size();
        if (out.size() > kMaxPathUnits) return text;
    }
    return out + text.substr(begin);
}

bool IsDrive(wchar_t unit) { return (unit >= L'A' && unit <= L'Z') || (unit >= L'a' && unit <= L'z'); }

}  // namespace

unsigned long TextOf(const RegistryValue& value, std::wstring& out) {
    if (value.type != REG_SZ && value.type != REG_EXPAND_SZ) return ERROR_INVALID_DATATYPE;
    const std::wstring units = Units(value.bytes);
    out.assign(units, 0, units.find(L'\0'));
    return ERROR_SUCCESS;
}

unsigned long IntegerOf(const RegistryValue& value, std::uint32_t& out) {
    if (value.type != REG_DWORD) return ERROR_INVALID_DATATYPE;
    if (value.bytes.size() != sizeof out) return ERROR_INVALID_DATA;
    std::memcpy(&out, value.bytes.data(), sizeof out);
    return ERROR_SUCCESS;
}

unsigned long TextsOf(const RegistryValue& value, std::vector<std::wstring>& out) {
    if (value.type != REG_MULTI_SZ) return ERROR_INVALID_DATATYPE;
    const std::wstring units = Units(value.bytes);
    std::vector<std::wstring> texts;
    for (std::size_t begin = 0; begin < units.size() && units[begin] != L'\0';) {
        const std::size_t end = std::min(units.find(L'\0', begin), units.size());
        texts.push_back(units.substr(begin, end - begin));
        begin = end + 1;
    }
    out = std::move(texts);
    return ERROR_SUCCESS;
}

RegistryValue ValueOf(const std::vector<std::wstring>& texts) {
    std::wstring units;
    for (const std::wstring& text : texts) units += text + L'\0';
    RegistryValue value;
    value.type = REG_MULTI_SZ;
    value.bytes.resize(units.size() * sizeof(wchar_t));
    if (!units.empty()) std::memcpy(value.bytes.data(), units.data(), value.bytes.size());
    return value;
}

std::wstring ExpandEnvironment(const std::wstring& text) {
    constexpr DWORD kRoom = kMaxPathUnits + 1;
    std::wstring expanded(kRoom, L'\0');
    const DWORD units = ::ExpandEnvironmentStringsW(text.c_str(), expanded.data(), kRoom);
    if (units == 0 || units > kRoom) return text;
    expanded.resize(units - 1);  // its terminator counts
    return expanded;
}

std::wstring RemotePath(std::wstring path, const std::wstring& host, const std::wstring& systemRoot) {
    path = Replaced(Replaced(path, L"%SystemRoot%", systemRoot), L"%windir%", systemRoot);
    const bool onDrive = path.size() >= 3 && IsDrive(path[0]) && path[1] == L':' && path[2] == L'\\';
    return onDrive ? L"\\\\" + host + L"\\" + path[0] + L"$" + path.substr(2) : path;
}

std::vector<std::wstring> SplitPaths(const std::wstring& text) {
    std::vector<std::wstring> paths;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(L';', begin), text.size());
        const std::wstring part = text.substr(begin, end - begin);
        const std::size_t first = part.find_first_not_of(L" \t");
        if (first != std::wstring::npos)
            paths.push_back(part.substr(first, part.find_last_not_of(L" \t") - first + 1));
        begin = end + 1;
    }
    return paths;
}

std::wstring FoldCase(const std::wstring& text) {
    std::wstring folded = text;
    if (!text.empty())
        ::LCMapStringW(LOCALE_INVARIANT, LCMAP_UPPERCASE, text.data(), static_cast<int>(text.size()),
                       folded.data(), static_cast<int>(folded.size()));
    return folded;
}

}  // namespace WindowsAgentCommon::detail
