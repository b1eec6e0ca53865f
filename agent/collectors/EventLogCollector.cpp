#include "agent/collectors/EventLogCollector.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/collectors/FileList.h"

#include <algorithm>
#include <utility>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr std::uint64_t kAuditSuccess = 0x8020'0000'0000'0000;
constexpr std::uint64_t kAuditFailure = 0x8010'0000'0000'0000;
constexpr std::uint64_t kClassic = 0x0080'0000'0000'0000;

std::int64_t levelOf(std::uint16_t type) {
    switch (type) {
        case EVENTLOG_ERROR_TYPE:
            return 2;
        case EVENTLOG_WARNING_TYPE:
            return 3;
        case EVENTLOG_INFORMATION_TYPE:
            return 4;
        default:
            return 0;
    }
}

std::string_view hexadecimal(const std::vector<unsigned char>& bytes, std::string& out) {
    static const char kDigits[] = "0123456789ABCDEF";
    for (const unsigned char byte : bytes) {
        out += kDigits[byte >> 4];
        out += kDigits[byte & 15];
    }
    return out;
}

std::string_view timeText(std::uint32_t seconds, std::string& out) {
    ULARGE_INTEGER ticks;
    ticks.QuadPart = (seconds + 11'644'473'600ULL) * 10'000'000;
    const FILETIME time = {ticks.LowPart, ticks.HighPart};
    SYSTEMTIME parts;
    if (!::FileTimeToSystemTime(&time, &parts)) return {};
    return Format(out, "%04u-%02u-%02uT%02u:%02u:%02uZ", parts.wYear, parts.wMonth, parts.wDay, parts.wHour,
                  parts.wMinute, parts.wSecond);
}

}  // namespace

EventLogCollector::EventLogCollector() : EventLogCollector(&MakeEventLogSource, MakeEventMessageSource()) {}

EventLogCollector::EventLogCollector(MakeSource makeSource, std::unique_ptr<EventMessageSource> messages)
    : makeSource_(makeSource), messages_(std::move(messages)) {}

void EventLogCollector::ReadSettings(SettingsReader& settings) {
    std::vector<std::string> names = settings.Texts("Log");
    if (names.empty()) names = {"Application", "System"};
    fromStart_ = settings.Flag("FromStart", true);
    logs_.clear();
    for (const std::string& name : names) {
        if (name.empty() || name.size() > 255 || name.find('\\') != std::string::npos)
            settings.Refuse("Log", name, "is no name");
        logs_.emplace_back();
        logs_.back().name = name;
        logs_.back().wideName = FromUTF8(name);
    }
}

void EventLogCollector::Restore(const EnvironmentBlock& position) {
    for (EventLog& log : logs_) {
        log.source.reset();
        log.begun = position.GetIntegerValue("Number." + log.name, log.number, 0U) &&
                    position.GetIntegerValue("Time." + log.name, log.time, 0U);
        log.checked = false;
    }
}

void EventLogCollector::SavePosition(EnvironmentBlock& position) const {
    for (const EventLog& log : logs_) {
        if (!log.begun) continue;
        position.SetIntegerValue("Number." + log.name, log.number);
        position.SetIntegerValue("Time." + log.name, log.time);
    }
}

void EventLogCollector::GetStatus(EnvironmentBlock& status) const {
    Collector::GetStatus(status);
    status.SetIntegerValue("Missed", missed_.load());
}

Collector::Progress EventLogCollector::Collect() {
    messages_->Expire();
    Progress progress = Progress::kNothing;
    for (EventLog& log : logs_) {
        if (IsStopping()) return Progress::kNothing;
        if (collect(log) == Progress::kMore) progress = Progress::kMore;
    }
    return progress;
}

Collector::Progress EventLogCollector::collect(EventLog& log) {
    std::uint32_t next = 0;
    if (!open(log) || !findNext(log, next)) return Progress::kNothing;
    return readFrom(log, next);
}

bool EventLogCollector::open(EventLog& log) {
    if (log.source) return true;
    std::unique_ptr<EventLogSource> source = makeSource_();
    if (const unsigned long error = source->Open(log.wideName)) {
        fail(log, error);
        return false;
    }
    log.source = std::move(source);
    log.checked = false;
    return true;
}

/// Closes the log after a failure, so that it is opened anew at the next poll.
void EventLogCollector::fail(EventLog& log, unsigned long error) {
    log.source.reset();
    if (error == ERROR_EVENTLOG_FILE_CHANGED) return;  // it was cleared: what findNext will see
    if (error != log.error) GetLog()->Error("Event log %s: error %lu", log.name.c_str(), error);
    log.error = error;
}

/// The number of the next record to read; false when there is none yet.
bool EventLogCollector::findNext(EventLog& log, std::uint32_t& next) {
    std::uint32_t oldest = 0, count = 0;
    if (const unsigned long error = log.source->GetRange(oldest, count)) {
        fail(log, error);
        return false;
    }
    if (log.error != 0) GetLog()->Info("Event log %s is there again", log.name.c_str());
    log.error = 0;
    const std::uint32_t newest = oldest + count - 1;  // in the arithmetic of the numbers, which wrap
    if (!log.begun) {
        log.begun = true;
        log.checked = true;
        log.number = count == 0 ? 0 : fromStart_ ? oldest - 1 : newest;
    }
    if (count == 0) return false;
    next = log.number + 1;
    const std::uint32_t ahead = next - oldest;  // of the oldest record
    const bool known = log.number != 0 && log.time != 0;
    const bool cleared = known && (ahead > count ? static_cast<std::int32_t>(ahead) >= 0
                                                 : ahead != 0 && !log.checked && !isSameRecord(log));
    log.checked = true;
    if (cleared) {
        GetLog()->Warn("Event log %s was cleared: reading it from its beginning", log.name.c_str());
        log.number = oldest - 1;
        log.time = 0;
    } else if (ahead > count) {
        if (known) {
            const std::uint32_t lost = oldest - next;
            missed_.fetch_add(lost, std::memory_order_relaxed);
            GetLog()->Warn("Event log %s: %u records were overwritten unread", log.name.c_str(), lost);
        }
        log.number = oldest - 1;
    }
    next = log.number + 1;
    return next - oldest < count;
}

/// Whether the record of the position is still the one that was read. A record that cannot be read tells
/// nothing.
bool EventLogCollector::isSameRecord(EventLog& log) {
    EventLogRecord record;
    std::size_t length = 0;
    if (log.source->Read(log.number, bytes_) != 0) return true;
    ReadEventLogRecord(bytes_.data(), bytes_.size(), record, length);
    return record.number == log.number && record.timeGenerated == log.time;
}

Collector::Progress EventLogCollector::readFrom(EventLog& log, std::uint32_t next) {
    const unsigned long error = log.source->Read(next, bytes_);
    if (error == ERROR_EVENTLOG_FILE_CORRUPT) {
        skip(log, "it cannot be read");
        return Progress::kMore;
    }
    if (error != 0) {
        fail(log, error);
        return Progress::kNothing;
    }
    EventLogRecord record;
    std::size_t length = 0;
    for (std::size_t at = 0; at < bytes_.size(); at += length) {
        const char* why = ReadEventLogRecord(bytes_.data() + at, bytes_.size() - at, record, length);
        if (!why && record.number != log.number + 1) why = "it has another number";
        if (why) {
            skip(log, why);
            return Progress::kMore;  // its length may lie, so the next one is asked for by its number
        }
        if (!emit(log, record)) return Progress::kNothing;
        log.number = record.number;
        log.time = record.timeGenerated;
    }
    return bytes_.empty() ? Progress::kNothing : Progress::kMore;
}

/// Passes over the next record, of which nothing is known.
void EventLogCollector::skip(EventLog& log, const char* why) {
    ++log.number;
    log.time = 0;
    std::string where;
    Format(where, "event log %s, record %u", log.name.c_str(), log.number);
    CountDamaged(where, why);
}

bool EventLogCollector::emit(const EventLog& log, const EventLogRecord& record) {
    record_.Clear();
    const auto utf8 = [&](const std::wstring& text) -> std::string_view {
        std::string& kept = record_.NewText();
        ToUTF8(text, kept);
        return kept;
    };
    record_.provider = utf8(record.source);
    record_.computer = utf8(record.computer);
    record_.channel = log.name;
    record_.eventId = record.eventId & 0xFFFF;
    record_.qualifiers = record.eventId >> 16;
    record_.task = record.category;
    record_.level = levelOf(record.type);
    record_.keywords = kClassic;
    if (record.type == EVENTLOG_AUDIT_SUCCESS) record_.keywords = kAuditSuccess;
    if (record.type == EVENTLOG_AUDIT_FAILURE) record_.keywords = kAuditFailure;
    record_.recordId = record.number;
    record_.unixMilliseconds = std::int64_t{record.timeGenerated} * 1000;
    record_.timeText = timeText(record.timeGenerated, record_.NewText());
    record_.userSid = record.userSid;
    const std::size_t values = std::min(record.strings.size(), EventRecord::kMostData);
    record_.omitted = record.strings.size() - values;
    for (std::size_t i = 0; i < values; ++i) {
        std::string& kept = record_.NewText();
        Format(kept, "Data%u", static_cast<unsigned int>(i + 1));
        record_.AddData(kept, utf8(record.strings[i]));
    }
    record_.binary = hexadecimal(record.data, record_.NewText());
    std::string& message = record_.NewText();
    message = messageOf(log, record);
    record_.message = message;
    return EmitEvent(record_);
}

std::string EventLogCollector::messageOf(const EventLog& log, const EventLogRecord& record) {
    std::wstring text;
    if (!messages_->GetText(log.wideName, record.source, record.eventId, false, text)) return {};
    return ToUTF8(ExpandMessage(text, record.strings, [&](std::uint32_t id, std::wstring& out) {
        return messages_->GetText(log.wideName, record.source, id, true, out);
    }));
}

}  // namespace CorvaneAgent
