#include "config/EntryAccess.h"

#include "WindowsAgentCommon/Encoding.h"

#include <cstdlib>

namespace WindowsAgentCommon::detail {

const std::string* FirstValue(const Entries& entries, const std::string& name) {
    const auto found = entries.lower_bound(name);
    return found != entries.end() && found->first == name ? &found->second : nullptr;
}

void FromText(const std::string& text, short& out) { out = static_cast<short>(std::atoi(text.c_str())); }

void FromText(const std::string& text, unsigned short& out) {
    out = static_cast<unsigned short>(std::strtoul(text.c_str(), nullptr, 10));
}

void FromText(const std::string& text, int& out) { out = std::atoi(text.c_str()); }

void FromText(const std::string& text, unsigned int& out) { out = std::strtoul(text.c_str(), nullptr, 10); }

void FromText(const std::string& text, long& out) { out = std::atol(text.c_str()); }

void FromText(const std::string& text, unsigned long& out) { out = std::strtoul(text.c_str(), nullptr, 10); }

void FromText(const std::string& text, std::uint64_t& out) { out = ::_strtoui64(text.c_str(), nullptr, 10); }

void FromText(const std::string& text, float& out) { out = static_cast<float>(std::atof(text.c_str())); }

void FromText(const std::string& text, double& out) { out = std::atof(text.c_str()); }

// Only the first letter is judged, deliberately.
void FromText(const std::string& text, bool& out) {
    out = !text.empty() && text.front() != 'f' && text.front() != 'F';
}

void FromText(const std::string& text, std::string& out) { out = text; }

void FromText(const std::string& text, std::wstring& out) { FromUTF8(text, out); }

bool GetValues(const Entries& entries, const std::string& name, std::vector<std::string>& out) {
    auto at = entries.lower_bound(name);
    const auto end = entries.upper_bound(name);
    out.clear();                            // only now: name may be one of out
    if (at == entries.end()) return false;  // a missing name before a greater one is true, deliberately
    for (; at != end; ++at) out.push_back(at->second);
    return true;
}

}  // namespace WindowsAgentCommon::detail
