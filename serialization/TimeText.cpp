#include "WindowsAgentCommon/FileUtil.h"

#include "WindowsAgentCommon/Formatting.h"
#include "foundation/Clock.h"
#include "foundation/FileTime.h"

#include <cfloat>
#include <cstdio>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

// Every step rounded to a double, whatever precision the host has set the processor to.
long long Nanoseconds(std::int64_t ticks) {
    const unsigned int before = ::_controlfp(0, 0);
    ::_controlfp(_PC_53, _MCW_PC);
    const volatile double rounded = static_cast<double>(ticks);
    const volatile double seconds = rounded / 1e7;
    const volatile double fraction = seconds - static_cast<double>(static_cast<long long>(seconds));
    const volatile double nanoseconds = fraction * 1e9;
    ::_controlfp(before, _MCW_PC);
    return static_cast<long long>(nanoseconds);
}

// False for what is no date; not every system takes February the 30th for none.
bool ToFileTime(const SYSTEMTIME& parts, FILETIME& time) {
    SYSTEMTIME back;
    return ::SystemTimeToFileTime(&parts, &time) && ::FileTimeToSystemTime(&time, &back) &&
           back.wDay == parts.wDay;
}

// What both compact forms begin with; false for fewer than six numbers. fraction: 0 when absent.
bool ParseCompact(const std::string& text, const char* format, SYSTEMTIME& time, int& fraction) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    fraction = 0;
    const int found = std::sscanf(  // NOLINT(cert-err34-c): widths of at most seven digits keep it in range
        text.c_str(), format, &year, &month, &day, &hour, &minute, &second, &fraction);
    const auto word = [](int value) { return static_cast<WORD>(value); };  // below 0: too large for a date
    time = {word(year), word(month), 0, word(day), word(hour), word(minute), word(second), 0};
    return found >= 6;
}

}  // namespace

void GetISO8601Timestamp(std::wstring& out) {
    GetISO8601Timestamp(detail::FileTimeOf(detail::SystemTicks()), out);
}

void GetISO8601Timestamp(const FILETIME& time, std::wstring& out) {
    SYSTEMTIME parts;
    if (!::FileTimeToSystemTime(&time, &parts)) return out.clear();
    Format(out, L"%04d-%02d-%02dT%02d:%02d:%02d.%09I64dZ", parts.wYear, parts.wMonth, parts.wDay, parts.wHour,
           parts.wMinute, parts.wSecond, Nanoseconds(detail::TicksOf(time)));
}

void GetISO8601Timestamp(const SYSTEMTIME& time, std::wstring& out) {
    FILETIME converted;
    if (!ToFileTime(time, converted)) return out.clear();
    GetISO8601Timestamp(converted, out);
}

void Convert(const FILETIME& time, std::string& out) {
    SYSTEMTIME parts;
    if (!::FileTimeToSystemTime(&time, &parts)) return out.clear();
    Format(out, "%4d%02d%02d.%02d%02d%02d.%07d00", parts.wYear, parts.wMonth, parts.wDay, parts.wHour,
           parts.wMinute, parts.wSecond, static_cast<int>(detail::TicksOf(time) % detail::kTicksPerSecond));
}

void Convert(const std::string& text, FILETIME& time) {
    SYSTEMTIME parts;
    int fraction = 0;
    const bool parsed = ParseCompact(text, "%4d%2d%2d.%2d%2d%2d.%7d", parts, fraction);
    const bool isTime = parsed && fraction >= 0 && ToFileTime(parts, time);
    time = isTime ? detail::FileTimeOf(detail::TicksOf(time) + fraction) : FILETIME{};
}

void Convert(const std::string& text, SYSTEMTIME& time) {
    SYSTEMTIME parts;
    int milliseconds = 0;
    const bool parsed = ParseCompact(text, "%4d%2d%2d.%2d%2d%2d.%3d", parts, milliseconds);
    parts.wDayOfWeek = time.wDayOfWeek;
    parts.wMilliseconds = static_cast<WORD>(milliseconds);
    time = parsed ? parts : SYSTEMTIME{};
}

long long ConvertFiletimeToUnixEpoch(const FILETIME& time) {
    const auto ticks = static_cast<std::uint64_t>(detail::TicksOf(time));
    return static_cast<long long>(ticks / detail::kTicksPerSecond) -
           detail::kTicksTo1970 / detail::kTicksPerSecond;
}

}  // namespace WindowsAgentCommon
