#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace WindowsAgentCommon::detail {

/// \file
/// The getters that EnvironmentBlock and EnvironmentBlockHelper share; their headers are the contract.

using Entries = std::multimap<std::string, std::string>;

/// The first value of a name, or null.
const std::string* FirstValue(const Entries& entries, const std::string& name);

/// What a stored text means as a value of each type.
void FromText(const std::string& text, short& out);
void FromText(const std::string& text, unsigned short& out);
void FromText(const std::string& text, int& out);
void FromText(const std::string& text, unsigned int& out);
void FromText(const std::string& text, long& out);
void FromText(const std::string& text, unsigned long& out);
void FromText(const std::string& text, std::uint64_t& out);
void FromText(const std::string& text, float& out);
void FromText(const std::string& text, double& out);
void FromText(const std::string& text, bool& out);
void FromText(const std::string& text, std::string& out);
void FromText(const std::string& text, std::wstring& out);

/// The first value of a name, or the default.
template <class Value>
bool GetValue(const Entries& entries, const std::string& name, Value& out, const Value& defaultValue) {
    const std::string* const text = FirstValue(entries, name);
    if (text != nullptr)
        FromText(*text, out);
    else
        out = defaultValue;
    return text != nullptr;
}

/// All values of a name.
bool GetValues(const Entries& entries, const std::string& name, std::vector<std::string>& out);

/// The entries whose names match a regular expression.
bool GetMatching(const Entries& entries, const std::string& pattern, Entries& out);

}  // namespace WindowsAgentCommon::detail
