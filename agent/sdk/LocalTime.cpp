#include "agent/sdk/LocalTime.h"

#include <algorithm>
#include <ctime>

namespace CorvaneAgent {

namespace {

constexpr std::int64_t kDay = 86'400;
constexpr std::int64_t kBlock = 900;

struct Date {
    unsigned int month, day;
};

// Years are counted from March, so that the leap day is the last one; 146,097 days are 400 years.
Date dateFromDays(std::int64_t days) noexcept {
    days += 719'468;  // from 0000-03-01
    const std::int64_t era = (days >= 0 ? days : days - 146'096) / 146'097;
    const auto dayOfEra = static_cast<unsigned int>(days - era * 146'097);
    const unsigned int year = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const unsigned int dayOfYear = dayOfEra - (365 * year + year / 4 - year / 100);
    const unsigned int month = (5 * dayOfYear + 2) / 153;
    return {month < 10 ? month + 3 : month - 9, dayOfYear - (153 * month + 2) / 5 + 1};
}

std::int64_t floorDivide(std::int64_t value, std::int64_t by) noexcept {
    return value >= 0 ? value / by : -((by - 1 - value) / by);
}

std::int64_t offsetOf(std::int64_t second) noexcept {
    const __time64_t time = second;
    const std::tm* const local = ::_localtime64(&time);
    if (!local) return 0;
    const std::int64_t days =
        DaysFromDate(local->tm_year + 1900, static_cast<unsigned int>(local->tm_mon) + 1,
                     static_cast<unsigned int>(local->tm_mday));
    return days * kDay + local->tm_hour * 3600 + local->tm_min * 60 + local->tm_sec - second;
}

void putTwo(char* out, std::int64_t value) noexcept {
    out[0] = static_cast<char>('0' + value / 10);
    out[1] = static_cast<char>('0' + value % 10);
}

}  // namespace

std::int64_t DaysFromDate(std::int64_t year, unsigned int month, unsigned int day) noexcept {
    if (month <= 2) --year;
    const std::int64_t era = floorDivide(year, 400);
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return era * 146'097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719'468;
}

void LocalTime::Append(std::int64_t unixMilliseconds, std::string& out) {
    const std::int64_t second = floorDivide(unixMilliseconds, 1000);
    if (second != second_) {
        const std::int64_t block = floorDivide(second, kBlock);
        if (block != block_) {
            block_ = block;
            offset_ = offsetOf(second);
        }
        const std::int64_t local = second + offset_;
        const std::int64_t days = floorDivide(local, kDay);
        const std::int64_t time = local - days * kDay;
        const Date date = dateFromDays(days);
        const char* const name = &"JanFebMarAprMayJunJulAugSepOctNovDec"[(date.month - 1) * 3];
        const char text[] = {name[0], name[1], name[2], ' ', 0, 0, ' ', 0, 0, ':', 0, 0, ':', 0, 0};
        std::copy(text, text + sizeof text, text_);
        putTwo(text_ + 4, date.day);
        putTwo(text_ + 7, time / 3600);
        putTwo(text_ + 10, time / 60 % 60);
        putTwo(text_ + 13, time % 60);
        second_ = second;
    }
    out.append(text_, sizeof text_);
}

}  // namespace CorvaneAgent
