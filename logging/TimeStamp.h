#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace CorvaneLogger::detail {

/// Whether a strftime pattern has only codes that XP's runtime knows; what it does with others ranges from
/// nothing to ending the process.
bool IsKnownPattern(const std::string& pattern);

/// The local time of a moment; the first of January 1900 where the runtime has none (before 1970). seconds:
/// since 1970 (UTC).
std::tm LocalTime(std::int64_t seconds);

}  // namespace CorvaneLogger::detail
