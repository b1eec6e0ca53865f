#pragma once

#include <cstddef>
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

/// Formats a time by a known pattern, in UTF-8 as the pattern's own text; the runtime has the zone's names,
/// and those of days and months where the program has set a locale, in ANSI. Returns the text's length, text
/// not terminated; 0 where it needs size bytes or more.
std::size_t FormatTime(char* text, std::size_t size, const char* pattern, const std::tm& local) noexcept;

}  // namespace CorvaneLogger::detail
