#pragma once

#include <cstdint>
#include <string>

namespace CorvaneAgent {

/// Days from 1970-01-01 to a date of the Gregorian calendar; negative before it. month: 1 to 12.
std::int64_t DaysFromDate(std::int64_t year, unsigned int month, unsigned int day) noexcept;

/// Writes times as syslog headers have them, "Mar 05 09:07:03", in local time. It asks the system for the
/// offset of the local time once for each quarter of an hour, in which it does not change, since events come
/// by ten thousands a second. One thread at a time.
class LocalTime {
public:
    /// unixMilliseconds: since 1970 (UTC); any value. Years that the C runtime does not know (before 1970,
    /// after 3000) are written in UTC.
    void Append(std::int64_t unixMilliseconds, std::string& out);

private:
    std::int64_t second_ = INT64_MIN, block_ = INT64_MIN, offset_ = 0;
    char text_[15] = {};  // of second_
};

}  // namespace CorvaneAgent
