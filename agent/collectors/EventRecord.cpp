#include "agent/collectors/EventRecord.h"

#include "agent/sdk/LocalTime.h"

namespace CorvaneAgent {

namespace {

/// Reads exactly count digits.
bool takeDigits(std::string_view& text, std::size_t count, std::int64_t& out) noexcept {
    if (text.size() < count) return false;
    out = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        out = out * 10 + (text[i] - '0');
    }
    text.remove_prefix(count);
    return true;
}

bool take(std::string_view& text, char c) noexcept {
    if (text.empty() || text[0] != c) return false;
    text.remove_prefix(1);
    return true;
}

std::int64_t takeFraction(std::string_view& text) noexcept {
    std::int64_t milliseconds = 0, weight = 100;
    for (; !text.empty() && text[0] >= '0' && text[0] <= '9'; text.remove_prefix(1), weight /= 10)
        milliseconds += (text[0] - '0') * weight;
    return milliseconds;
}

int digitOf(char c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 99;
}

}  // namespace

void EventRecord::Clear() {
    std::deque<std::string> texts;
    std::vector<std::pair<std::string_view, std::string_view>> values;
    texts.swap(texts_);
    values.swap(data);
    values.clear();
    *this = EventRecord();
    texts_.swap(texts);
    data.swap(values);
}

std::string& EventRecord::NewText() {
    if (usedTexts_ == texts_.size()) texts_.emplace_back();
    std::string& text = texts_[usedTexts_++];
    text.clear();
    return text;
}

std::int64_t ParseEventTime(std::string_view text) noexcept {
    std::int64_t year, month, day, hour, minute, second, fraction = 0, zone = 0;
    const bool date = takeDigits(text, 4, year) && take(text, '-') && takeDigits(text, 2, month) &&
                      take(text, '-') && takeDigits(text, 2, day) && take(text, 'T');
    if (!date || !takeDigits(text, 2, hour) || !take(text, ':') || !takeDigits(text, 2, minute) ||
        !take(text, ':') || !takeDigits(text, 2, second))
        return EventRecord::kAbsent;
    if (take(text, '.')) fraction = takeFraction(text);
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        const std::int64_t sign = text[0] == '-' ? -1 : 1;
        std::int64_t hours, minutes;
        text.remove_prefix(1);
        if (!takeDigits(text, 2, hours) || !take(text, ':') || !takeDigits(text, 2, minutes))
            return EventRecord::kAbsent;
        zone = sign * (hours * 60 + minutes) * 60;
    } else {
        take(text, 'Z');
    }
    if (!text.empty() || year < 1970 || month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 ||
        minute > 59 || second > 60)
        return EventRecord::kAbsent;
    const std::int64_t days =
        DaysFromDate(year, static_cast<unsigned int>(month), static_cast<unsigned int>(day));
    const std::int64_t time = days * 86'400 + hour * 3600 + minute * 60 + second - zone;
    return time < 0 ? EventRecord::kAbsent : time * 1000 + fraction;
}

bool ParseEventNumber(std::string_view text, std::uint64_t& out) noexcept {
    std::uint64_t base = 10, number = 0;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty()) return false;
    for (const char c : text) {
        const auto digit = static_cast<std::uint64_t>(digitOf(c));
        if (digit >= base || number > (UINT64_MAX - digit) / base) return false;
        number = number * base + digit;
    }
    out = number;
    return true;
}

}  // namespace CorvaneAgent
