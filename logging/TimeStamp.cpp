#include "logging/TimeStamp.h"

#include <cstring>

#include "foundation/Win32.h"

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

std::size_t FormatTime(char* text, std::size_t size, const char* pattern, const std::tm& local) noexcept {
    constexpr int kLongestText = 128;  // of a code; a zone's name has 64 bytes at most
    std::size_t length = 0;
    while (*pattern != 0 && length < size) {
        if (*pattern != '%') {
            text[length++] = *pattern++;
            continue;
        }
        char code[4] = {}, ansi[kLongestText];  // code: up to "%#c"
        std::memcpy(code, pattern, pattern[1] == '#' ? 3 : 2);
        pattern += std::strlen(code);
        const auto bytes = static_cast<int>(std::strftime(ansi, sizeof ansi, code, &local));
        if (bytes == 0) continue;
        wchar_t wide[kLongestText];
        const int units = ::MultiByteToWideChar(CP_ACP, 0, ansi, bytes, wide, kLongestText);
        const int added = ::WideCharToMultiByte(CP_UTF8, 0, wide, units, text + length,
                                                static_cast<int>(size - length), nullptr, nullptr);
        if (added == 0) return 0;
        length += static_cast<std::size_t>(added);
    }
    return length < size ? length : 0;
}

}  // namespace CorvaneLogger::detail
