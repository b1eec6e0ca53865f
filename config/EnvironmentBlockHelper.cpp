#include "WindowsAgentCommon/EnvironmentBlockHelper.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "config/EntryAccess.h"
#include "foundation/Clock.h"
#include "foundation/FileTime.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

void ExpandVariables(std::string& text) {
    wchar_t expanded[4096];
    const DWORD size = ::ExpandEnvironmentStringsW(FromUTF8(text).c_str(), expanded, std::size(expanded));
    if (size > std::size(expanded)) expanded[0] = L'\0';
    ToUTF8(size == 0 ? L"" : expanded, text);
}

void Assign(std::int64_t ticks, FILETIME& out) { out = detail::FileTimeOf(ticks); }

void Assign(std::int64_t ticks, SYSTEMTIME& out) {
    const FILETIME time = detail::FileTimeOf(ticks);
    out = {};
    if (ticks != 0) ::FileTimeToSystemTime(&time, &out);
}

template <class Time>
bool ReadTime(const detail::Entries& entries, const std::string& name, Time& out, const char* defaultSpec) {
    const std::string* const text = detail::FirstValue(entries, name);
    if (text != nullptr) {
        Convert(*text, out);
        return true;
    }
    const std::string spec = defaultSpec != nullptr ? defaultSpec : "";
    if (spec == "NOW") Assign(detail::SystemTicks(), out);
    if (spec == "ZERO") Assign(0, out);
    return false;
}

}  // namespace

EnvironmentBlockHelper::EnvironmentBlockHelper(const std::multimap<std::string, std::string>& entries)
    : entries_(&entries) {}
EnvironmentBlockHelper::EnvironmentBlockHelper(const EnvironmentBlockHelper& other) = default;
EnvironmentBlockHelper& EnvironmentBlockHelper::operator=(const EnvironmentBlockHelper& other) = default;
EnvironmentBlockHelper::~EnvironmentBlockHelper() = default;

bool EnvironmentBlockHelper::GetIntegerValue(const std::string& name, short& out, short defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetIntegerValue(const std::string& name, unsigned short& out,
                                             unsigned short defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetIntegerValue(const std::string& name, int& out, int defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetIntegerValue(const std::string& name, long& out, long defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetIntegerValue(const std::string& name, unsigned int& out,
                                             unsigned int defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetIntegerValue(const std::string& name, unsigned long& out,
                                             unsigned long defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetIntegerValue(const std::string& name, std::uint64_t& out,
                                             std::uint64_t defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetFloatValue(const std::string& name, float& out, float defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetFloatValue(const std::string& name, double& out, double defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetBooleanValue(const std::string& name, bool& out, bool defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetStringValue(const std::string& name, std::string& out,
                                            const std::string& defaultValue) const {
    const bool found = detail::GetValue(*entries_, name, out, defaultValue);
    ExpandVariables(out);
    return found;
}

bool EnvironmentBlockHelper::GetStringValue(const std::string& name, std::wstring& out,
                                            const std::wstring& defaultValue) const {
    return detail::GetValue(*entries_, name, out, defaultValue);
}

bool EnvironmentBlockHelper::GetArrayValue(const std::string& name, std::vector<std::string>& out) const {
    return detail::GetValues(*entries_, name, out);
}

bool EnvironmentBlockHelper::GetArrayValue(const std::string& name, std::vector<std::wstring>& out) const {
    std::vector<std::string> values;
    const bool found = detail::GetValues(*entries_, name, values);
    out.clear();
    for (const std::string& value : values) out.push_back(FromUTF8(value));
    return found;
}

bool EnvironmentBlockHelper::GetDateTime(const std::string& name, FILETIME& out,
                                         const char* defaultSpec) const {
    return ReadTime(*entries_, name, out, defaultSpec);
}

bool EnvironmentBlockHelper::GetDateTime(const std::string& name, SYSTEMTIME& out,
                                         const char* defaultSpec) const {
    return ReadTime(*entries_, name, out, defaultSpec);
}

bool EnvironmentBlockHelper::ValueAvailable(const std::string& name) const {
    return detail::FirstValue(*entries_, name) != nullptr;
}

unsigned int EnvironmentBlockHelper::ValueCount(const std::string& name) const {
    return entries_->count(name);
}

bool EnvironmentBlockHelper::GetValuesForMatchingName(const std::string& pattern,
                                                      std::multimap<std::string, std::string>& out) const {
    return detail::GetMatching(*entries_, pattern, out);
}

void EnvironmentBlockHelper::GetStringValue(Log log, const std::string& name, std::string& out,
                                            const std::string& defaultValue,
                                            const std::set<std::string>& allowed) {
    const std::string fallback = defaultValue;  // which may be out
    if (!GetStringValue(name, out, fallback)) {
        log->Debug("%s not specified -- defaulting to %s", name.c_str(), out.c_str());
    } else if (allowed.count(out) != 0) {
        log->Debug("Setting %s to %s", name.c_str(), out.c_str());
    } else {
        // The refused value stands where the setting's name is to be expected, deliberately.
        log->Warn("Invalid %s value specified: %s -- defaulting to %s", out.c_str(), fallback.c_str(),
                  fallback.c_str());
        out = fallback;
    }
}

}  // namespace WindowsAgentCommon
