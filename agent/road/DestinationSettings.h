#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "WindowsAgentCommon/ServiceConfig.h"

namespace CorvaneAgent {

/// Reads the settings of a destination. A value that cannot be used throws InitializationException with the
/// names of destination and setting, and the value. Refers to config, which must outlive it.
class DestinationSettings {
public:
    explicit DestinationSettings(const WindowsAgentCommon::InstanceConfig& config) : config_(config) {}

    std::string Text(const std::string& name, const std::string& defaultValue) const;

    /// One of allowed, letter by letter.
    std::string Choice(const std::string& name, const std::string& defaultValue,
                       std::initializer_list<const char*> allowed) const;

    /// A decimal number between least and most.
    std::uint64_t Number(const std::string& name, std::uint64_t defaultValue, std::uint64_t least,
                         std::uint64_t most) const;

    /// Throws the exception for a setting's value. why: such as "is no number".
    [[noreturn]] void Refuse(const std::string& name, const std::string& value, const std::string& why) const;

private:
    const WindowsAgentCommon::InstanceConfig& config_;
};

/// The name of a destination's folder: letters, digits, "-" and "_" stand for themselves, every other byte
/// becomes "%" and two hexadecimal digits, so does the first letter of what is a device's name.
std::wstring FolderName(const std::string& destination);

}  // namespace CorvaneAgent
