#include "agent/sdk/SettingsReader.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>

namespace CorvaneAgent {

namespace {

/// How many letters must be changed, added or left out to make one text of the other.
std::size_t distance(const std::string& one, const std::string& other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t changed = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

}  // namespace

const std::string* SettingsReader::find(const std::string& name) {
    known_.insert(name);
    const auto found = entries_.lower_bound(name);
    return found == entries_.end() || found->first != name ? nullptr : &found->second;
}

std::string SettingsReader::Text(const std::string& name, const std::string& defaultValue) {
    const std::string* const text = find(name);
    return text ? *text : defaultValue;
}

std::vector<std::string> SettingsReader::Texts(const std::string& name) {
    known_.insert(name);
    std::vector<std::string> texts;
    const auto [begin, end] = entries_.equal_range(name);
    for (auto entry = begin; entry != end; ++entry) texts.push_back(entry->second);
    return texts;
}

std::string SettingsReader::Choice(const std::string& name, const std::string& defaultValue,
                                   std::initializer_list<const char*> allowed) {
    const std::string value = Text(name, defaultValue);
    std::string list;
    for (const char* const one : allowed) {
        if (value == one) return value;
        if (!list.empty()) list += ", ";
        list += one;
    }
    Refuse(name, value, "is none of: " + list);
}

bool SettingsReader::Flag(const std::string& name, bool defaultValue) {
    return Choice(name, defaultValue ? "T" : "F", {"T", "F"}) == "T";
}

std::uint64_t SettingsReader::number(const std::string& name, std::uint64_t defaultValue, std::uint64_t least,
                                     std::uint64_t most) {
    const std::string* const text = find(name);
    if (!text) return defaultValue;
    std::uint64_t value = 0;
    bool valid = !text->empty() && text->size() <= 18;  // what cannot overflow
    for (const char c : *text) {
        valid = valid && c >= '0' && c <= '9';
        if (valid) value = value * 10 + static_cast<std::uint64_t>(c - '0');
    }
    if (valid && value >= least && value <= most) return value;
    std::string why;
    Refuse(name, *text, WindowsAgentCommon::Format(why, "is no number from %I64u to %I64u", least, most));
}

void SettingsReader::Know(std::initializer_list<const char*> names) {
    known_.insert(names.begin(), names.end());
}

void SettingsReader::RefuseUnknown() const {
    const std::string *unknown = nullptr, *closest = nullptr;
    std::size_t least = SIZE_MAX;
    for (const auto& entry : entries_) {
        if (known_.count(entry.first) > 0) continue;
        if (!unknown) unknown = &entry.first;
        for (const std::string& name : known_) {
            const std::size_t steps = distance(entry.first, name);
            if (steps >= least) continue;
            least = steps;
            unknown = &entry.first;
            closest = &name;
        }
    }
    if (!unknown) return;
    throw WindowsAgentCommon::InitializationException(
        __FILE__, __FUNCTION__, __LINE__,
        owner_ + " has no setting " + *unknown + (closest ? "; the closest is " + *closest : ""));
}

void SettingsReader::Refuse(const std::string& name, const std::string& value, const std::string& why) const {
    throw WindowsAgentCommon::InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                                      name + " \"" + value + "\" of " + owner_ + " " + why);
}

}  // namespace CorvaneAgent
