#include "agent/collectors/EventLogRecord.h"

#include "WindowsAgentCommon/Formatting.h"

#include <cstring>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

constexpr std::size_t kMostText = 32'000;
constexpr unsigned int kMostLookUps = 1000;  // of parameters, for one message
constexpr DWORD kSignature = 0x654C664C;     // "LfLe"

/// Reads a text of UTF-16 that ends with a zero before the end of size bytes; at moves behind it.
bool takeText(const unsigned char* bytes, std::size_t size, std::size_t& at, std::wstring& out) {
    out.clear();
    for (; at <= size && size - at >= sizeof(wchar_t); at += sizeof(wchar_t)) {
        wchar_t unit;
        std::memcpy(&unit, bytes + at, sizeof unit);
        if (unit == L'\0') {
            at += sizeof unit;
            return true;
        }
        out += unit;
    }
    return false;
}

bool isWithin(DWORD offset, DWORD length, std::size_t size) {
    return offset >= sizeof(EVENTLOGRECORD) && offset <= size && length <= size - offset;
}

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

/// Replaces "%%NNN" in a string.
std::wstring expandParameters(const std::wstring& text,
                              const std::function<bool(std::uint32_t, std::wstring&)>& parameter,
                              unsigned int& lookUps) {
    std::wstring out;
    for (std::size_t i = 0; i < text.size() && out.size() <= kMostText;) {
        std::size_t end = i + 2;
        std::uint32_t id = 0;
        const bool mark = text.compare(i, 2, L"%%") == 0;
        for (; mark && end < text.size() && end < i + 11 && isDigit(text[end]); ++end)
            id = id * 10 + static_cast<std::uint32_t>(text[end] - L'0');
        std::wstring value;
        if (mark && end > i + 2 && lookUps != 0 && (--lookUps, parameter(id, value))) {
            while (!value.empty() && value.back() <= L' ') value.pop_back();
            out += value;
            i = end;
        } else {
            out += text[i++];
        }
    }
    return out;
}

/// Reads "12" of "%12" and the format behind it; 0 for no number.
std::size_t takeInsertion(const std::wstring& text, std::size_t& at) {
    std::size_t number = 0, end = at;
    for (; end < text.size() && end < at + 2 && isDigit(text[end]); ++end)
        number = number * 10 + static_cast<std::size_t>(text[end] - L'0');
    if (number == 0) return 0;
    if (end < text.size() && text[end] == L'!') {
        const std::size_t close = text.find(L'!', end + 1);
        if (close != std::wstring::npos && close - end < 32) end = close + 1;
    }
    at = end;
    return number;
}

}  // namespace

const char* ReadEventLogRecord(const unsigned char* bytes, std::size_t size, EventLogRecord& out,
                               std::size_t& length) {
    out = EventLogRecord();
    length = size;
    EVENTLOGRECORD record;
    if (size < sizeof record) return "The record is shorter than its header";
    std::memcpy(&record, bytes, sizeof record);
    out.number = record.RecordNumber;
    if (record.Reserved != kSignature) return "The record does not begin as one";
    if (record.Length < sizeof record || record.Length > size) return "The record's length cannot be";
    length = size = record.Length;
    out.timeGenerated = record.TimeGenerated;
    out.eventId = record.EventID;
    out.type = record.EventType;
    out.category = record.EventCategory;

    std::size_t at = sizeof record;
    if (!takeText(bytes, size, at, out.source) || !takeText(bytes, size, at, out.computer))
        return "The record's source or computer does not end within it";
    at = record.StringOffset;
    if (record.NumStrings != 0 && !isWithin(record.StringOffset, 0, size))
        return "The record's strings lie outside of it";
    for (WORD i = 0; i < record.NumStrings; ++i) {
        out.strings.emplace_back();
        if (!takeText(bytes, size, at, out.strings.back())) return "A string does not end within the record";
    }
    if (record.UserSidLength != 0) {
        if (!isWithin(record.UserSidOffset, record.UserSidLength, size))
            return "The record's user lies outside of it";
        out.userSid = SidToText(bytes + record.UserSidOffset, record.UserSidLength);
    }
    if (record.DataLength != 0) {
        if (!isWithin(record.DataOffset, record.DataLength, size))
            return "The record's data lie outside of it";
        out.data.assign(bytes + record.DataOffset, bytes + record.DataOffset + record.DataLength);
    }
    return nullptr;
}

std::uint32_t DropRecordsBefore(std::uint32_t number, std::vector<unsigned char>& bytes) {
    std::uint32_t next = number;
    std::size_t dropped = 0;
    EVENTLOGRECORD record;
    for (std::size_t at = 0; bytes.size() - at >= sizeof record; at += record.Length) {
        std::memcpy(&record, bytes.data() + at, sizeof record);
        if (record.Length < sizeof record || record.Length > bytes.size() - at) break;
        next = record.RecordNumber + 1;
        if (dropped == at && static_cast<std::int32_t>(record.RecordNumber - number) < 0)
            dropped = at + record.Length;
    }
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(dropped));
    return next;
}

std::string SidToText(const unsigned char* bytes, std::size_t size) {
    constexpr std::size_t kHeader = 8;
    if (size < kHeader || bytes[0] != 1 || bytes[1] > 15 || size < kHeader + bytes[1] * 4U) return {};
    std::uint64_t authority = 0;
    for (std::size_t i = 2; i < kHeader; ++i) authority = authority << 8 | bytes[i];
    std::string text, part;
    WindowsAgentCommon::Format(text, "S-1-%I64u", authority);
    for (std::size_t i = 0; i < bytes[1]; ++i) {
        std::uint32_t sub;
        std::memcpy(&sub, bytes + kHeader + i * sizeof sub, sizeof sub);
        text += WindowsAgentCommon::Format(part, "-%u", sub);
    }
    return text;
}

std::wstring ExpandMessage(const std::wstring& text, const std::vector<std::wstring>& strings,
                           const std::function<bool(std::uint32_t, std::wstring&)>& parameter) {
    std::wstring out;
    unsigned int lookUps = kMostLookUps;
    for (std::size_t i = 0; i < text.size() && out.size() <= kMostText;) {
        if (text[i] != L'%' || i + 1 == text.size()) {
            out += text[i++];
            continue;
        }
        const std::size_t mark = i++;
        if (const std::size_t number = takeInsertion(text, i)) {
            if (number <= strings.size())
                out += expandParameters(strings[number - 1], parameter, lookUps);
            else
                out.append(text, mark, i - mark);
            continue;
        }
        const wchar_t code = text[i++];
        if (code == L'0') break;
        if (code == L'n' || code == L'r')
            out += L"\r\n";
        else
            out += code == L't' ? L'\t' : code == L'b' ? L' ' : code;
    }
    if (out.size() > kMostText) {
        out.resize(kMostText);
        if (out.back() >= 0xD800 && out.back() < 0xDC00) out.pop_back();  // no half of a character
        out += L"...";
    }
    while (!out.empty() && out.back() <= L' ') out.pop_back();
    return out;
}

}  // namespace CorvaneAgent
