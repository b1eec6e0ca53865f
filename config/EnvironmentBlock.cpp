#include "WindowsAgentCommon/EnvironmentBlock.h"

#include "WindowsAgentCommon/Formatting.h"
#include "config/EntryAccess.h"

namespace WindowsAgentCommon {

const std::uint32_t EnvironmentBlock::m_wMagicValue;
const std::uint16_t EnvironmentBlock::m_wCurrentVersion;

EnvironmentBlock::EnvironmentBlock() = default;
EnvironmentBlock::EnvironmentBlock(const EnvironmentBlock& other) = default;
EnvironmentBlock& EnvironmentBlock::operator=(const EnvironmentBlock& other) = default;
EnvironmentBlock::~EnvironmentBlock() = default;

// The new value goes in before the old ones go: the arguments may be among those.
void EnvironmentBlock::SetStringValue(const std::string& name, const std::string& value) {
    const auto added = entries_.emplace(name, value);
    entries_.erase(entries_.lower_bound(added->first), added);
}

void EnvironmentBlock::SetIntegerValue(const std::string& name, short value) {
    std::string text;
    SetStringValue(name, Format(text, "%hd", value));
}

void EnvironmentBlock::SetIntegerValue(const std::string& name, unsigned short value) {
    std::string text;
    SetStringValue(name, Format(text, "%hu", value));
}

void EnvironmentBlock::SetIntegerValue(const std::string& name, int value) {
    std::string text;
    SetStringValue(name, Format(text, "%d", value));
}

void EnvironmentBlock::SetIntegerValue(const std::string& name, unsigned int value) {
    std::string text;
    SetStringValue(name, Format(text, "%u", value));
}

void EnvironmentBlock::SetIntegerValue(const std::string& name, long value) {
    std::string text;
    SetStringValue(name, Format(text, "%ld", value));
}

void EnvironmentBlock::SetIntegerValue(const std::string& name, unsigned long value) {
    std::string text;
    SetStringValue(name, Format(text, "%lu", value));
}

void EnvironmentBlock::SetIntegerValue(const std::string& name, std::uint64_t value) {
    std::string text;
    SetStringValue(name, Format(text, "%I64u", value));
}

void EnvironmentBlock::SetFloatValue(const std::string& name, float value) {
    SetFloatValue(name, static_cast<double>(value));
}

void EnvironmentBlock::SetFloatValue(const std::string& name, double value) {
    std::string text;
    SetStringValue(name, Format(text, "%f", value));
}

void EnvironmentBlock::SetBooleanValue(const std::string& name, bool value) {
    SetStringValue(name, value ? "T" : "F");
}

void EnvironmentBlock::SetArrayValue(const std::string& name, const std::vector<std::string>& values) {
    detail::Entries added;
    for (const std::string& value : values) added.emplace(name, value);
    entries_.erase(name);
    entries_.merge(added);
}

bool EnvironmentBlock::GetStringValue(const std::string& name, std::string& out,
                                      const std::string& defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetIntegerValue(const std::string& name, short& out, short defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetIntegerValue(const std::string& name, unsigned short& out,
                                       unsigned short defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetIntegerValue(const std::string& name, int& out, int defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetIntegerValue(const std::string& name, unsigned int& out,
                                       unsigned int defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetIntegerValue(const std::string& name, long& out, long defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetIntegerValue(const std::string& name, unsigned long& out,
                                       unsigned long defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetIntegerValue(const std::string& name, std::uint64_t& out,
                                       std::uint64_t defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetFloatValue(const std::string& name, float& out, float defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetFloatValue(const std::string& name, double& out, double defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetBooleanValue(const std::string& name, bool& out, bool defaultValue) const {
    return detail::GetValue(entries_, name, out, defaultValue);
}

bool EnvironmentBlock::GetArrayValue(const std::string& name, std::vector<std::string>& out) const {
    return detail::GetValues(entries_, name, out);
}

bool EnvironmentBlock::ValueAvailable(const std::string& name) const {
    return detail::FirstValue(entries_, name) != nullptr;
}

unsigned int EnvironmentBlock::ValueCount(const std::string& name) const { return entries_.count(name); }

bool EnvironmentBlock::GetValuesForMatchingName(const std::string& pattern,
                                                std::multimap<std::string, std::string>& out) const {
    return detail::GetMatching(entries_, pattern, out);
}

}  // namespace WindowsAgentCommon
