#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace WindowsAgentCommon::detail {

/// A registry value as the registry holds it: its type (REG_SZ ...) and its bytes, which need not suit the
/// type. What takes one apart never reads past its bytes.
struct RegistryValue {
    unsigned long type = 0;
    std::vector<unsigned char> bytes;
};

/// \file
/// The functions return 0; ERROR_INVALID_DATATYPE for a value of another type; ERROR_INVALID_DATA for bytes
/// that do not suit it. out is set on success only. Text ends at its first zero or with the bytes, an odd
/// last byte is dropped. They are thread-safe and throw only std::bad_alloc.

/// REG_SZ, or REG_EXPAND_SZ as it stands.
unsigned long TextOf(const RegistryValue& value, std::wstring& out);

/// REG_DWORD of four bytes.
unsigned long IntegerOf(const RegistryValue& value, std::uint32_t& out);

/// REG_MULTI_SZ, up to its first empty text.
unsigned long TextsOf(const RegistryValue& value, std::vector<std::wstring>& out);

/// A REG_MULTI_SZ that holds texts.
RegistryValue ValueOf(const std::vector<std::wstring>& texts);

/// text with this process's environment variables in place of "%NAME%"; text itself where the system refuses
/// it or the result has more than 32,767 units.
std::wstring ExpandEnvironment(const std::wstring& text);

/// A path of the remote machine ("%SystemRoot%\a.dll", "C:\a.dll") as it is reached from here:
/// "%SystemRoot%" and "%windir%" become systemRoot, a drive its administrative share ("\\host\C$\a.dll").
/// Other paths stay as they are. host: without backslashes.
std::wstring RemotePath(std::wstring path, const std::wstring& host, const std::wstring& systemRoot);

/// The parts of text between ";", without blanks around them; empty ones are left out.
std::vector<std::wstring> SplitPaths(const std::wstring& text);

/// text in the case in which the registry compares.
std::wstring FoldCase(const std::wstring& text);

}  // namespace WindowsAgentCommon::detail
