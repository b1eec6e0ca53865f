#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace CorvaneAgent {

/// A Windows event. Texts are UTF-8 and belong to whoever filled the record, who says how long they stay;
/// empty where the event has none. A number that the event does not have is kAbsent.
struct EventRecord {
    static constexpr std::int64_t kAbsent = -1;

    std::string_view provider, providerGuid, channel, computer, userSid;
    std::string_view activityId, relatedActivityId;
    std::string_view timeText;  ///< As the event has it, such as "2024-02-29T12:34:56.1234567Z".
    std::int64_t unixMilliseconds = kAbsent;
    std::int64_t eventId = kAbsent, qualifiers = kAbsent, version = kAbsent, level = kAbsent;
    std::int64_t task = kAbsent, opcode = kAbsent, recordId = kAbsent;
    std::int64_t processId = kAbsent, threadId = kAbsent;
    std::uint64_t keywords = 0;

    std::string_view message, levelText, taskText, opcodeText, keywordsText;
    std::string_view binary;                                          ///< Hexadecimal digits.
    std::vector<std::pair<std::string_view, std::string_view>> data;  ///< Name and value, in order.
    std::size_t omitted = 0;  ///< Values beyond kMostData, which are not in data.

    static constexpr std::size_t kMostData = 2000;

    /// Empties the record and keeps its memory.
    void Clear();

    void AddData(std::string_view name, std::string_view value) {
        if (data.size() < kMostData)
            data.emplace_back(name, value);
        else
            ++omitted;
    }

    /// A text of the record's own, empty, which stays where it is until Clear.
    std::string& NewText();

private:
    std::deque<std::string> texts_;
    std::size_t usedTexts_ = 0;
};

/// The time of an event in milliseconds since 1970: "YYYY-MM-DDTHH:MM:SS", a fraction of any length, and "Z"
/// (or nothing) or "+HH:MM". EventRecord::kAbsent for anything else.
std::int64_t ParseEventTime(std::string_view text) noexcept;

/// A whole number of decimal digits, or of hexadecimal ones behind "0x"; false for anything else.
bool ParseEventNumber(std::string_view text, std::uint64_t& out) noexcept;

}  // namespace CorvaneAgent
