#include "logging/TimeStamp.h"

#include <cstring>

namespace CorvaneLogger::detail {

bool IsKnownPattern(const std::string& pattern) {
    if (pattern.find('\0') != std::string::npos) return false;  // the runtime would see the half of it
    for (std::size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] != '%') continue;
        ++at;
        if (at < pattern.size() && pattern[at] == '#') ++at;
        if (at == pattern.size() || std::strchr("aAbBcdHIjmMpSUwWxXyYzZ%", pattern[at]) == nullptr)
            return false;
    }
    return true;
}

std::tm LocalTime(std::int64_t seconds) {
    const __time64_t moment = seconds;
    const std::tm* const local = ::_localtime64(&moment);  // the thread's own; null before 1970
    if (local != nullptr) return *local;
    std::tm first{};
    first.tm_mday = 1;  // later runtimes refuse a day 0
    return first;
}

}  // namespace CorvaneLogger::detail
