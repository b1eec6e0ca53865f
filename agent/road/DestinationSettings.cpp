#include "agent/road/DestinationSettings.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"

namespace CorvaneAgent {

namespace {

bool isDeviceName(std::string name) {
    for (char& c : name)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (name == "CON" || name == "PRN" || name == "AUX" || name == "NUL") return true;
    const std::string stem = name.substr(0, 3);
    return name.size() == 4 && (stem == "COM" || stem == "LPT") && name[3] >= '0' && name[3] <= '9';
}

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

}  // namespace

std::string DestinationSettings::Text(const std::string& name, const std::string& defaultValue) const {
    const auto found = config_.settings.find(name);
    return found == config_.settings.end() ? defaultValue : found->second;
}

std::string DestinationSettings::Choice(const std::string& name, const std::string& defaultValue,
                                        std::initializer_list<const char*> allowed) const {
    const std::string value = Text(name, defaultValue);
    std::string list;
    for (const char* const one : allowed) {
        if (value == one) return value;
        if (!list.empty()) list += ", ";
        list += one;
    }
    Refuse(name, value, "is none of: " + list);
}

std::uint64_t DestinationSettings::Number(const std::string& name, std::uint64_t defaultValue,
                                          std::uint64_t least, std::uint64_t most) const {
    const auto found = config_.settings.find(name);
    if (found == config_.settings.end()) return defaultValue;
    const std::string& text = found->second;
    std::uint64_t value = 0;
    bool valid = !text.empty() && text.size() <= 18;  // what cannot overflow
    for (const char c : text) {
        valid = valid && c >= '0' && c <= '9';
        if (valid) value = value * 10 + static_cast<std::uint64_t>(c - '0');
    }
    if (valid && value >= least && value <= most) return value;
    std::string why;
    Refuse(name, text, WindowsAgentCommon::Format(why, "is no number from %I64u to %I64u", least, most));
}

void DestinationSettings::Refuse(const std::string& name, const std::string& value,
                                 const std::string& why) const {
    throw WindowsAgentCommon::InitializationException(
        __FILE__, __FUNCTION__, __LINE__,
        "Destination " + config_.text1 + ": " + name + " \"" + value + "\" " + why);
}

std::wstring FolderName(const std::string& destination) {
    static const char* const kDigits = "0123456789ABCDEF";
    std::wstring folder;
    for (std::size_t i = 0; i < destination.size(); ++i) {
        const char c = destination[i];
        if (isPlain(c) && !(i == 0 && isDeviceName(destination))) {
            folder += static_cast<wchar_t>(c);
        } else {
            const auto byte = static_cast<unsigned char>(c);
            folder += L'%';
            folder += static_cast<wchar_t>(kDigits[byte >> 4]);
            folder += static_cast<wchar_t>(kDigits[byte & 15]);
        }
    }
    return folder;
}

}  // namespace CorvaneAgent
