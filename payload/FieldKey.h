#pragma once

#include <cstdint>
#include <string>

namespace WindowsAgentCommon::detail {

/// The text by which the global string registry knows a field: "NAME:QUALIFIER", the qualifier's low 32 bits
/// in decimal.
std::string FieldKey(const std::string& name, std::int64_t qualifier);

/// The syslog header's field: its name and its qualifier.
constexpr const char* kHeaderField = "SyslogHeader";
constexpr std::int64_t kHeaderQualifier = 1;

}  // namespace WindowsAgentCommon::detail
