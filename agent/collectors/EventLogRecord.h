#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace CorvaneAgent {

/// A record of a classic event log, taken apart.
struct EventLogRecord {
    std::uint32_t number = 0, timeGenerated = 0, eventId = 0;  ///< The time in seconds since 1970.
    std::uint16_t type = 0, category = 0;
    std::wstring source, computer;
    std::vector<std::wstring> strings;
    std::string userSid;  ///< "S-1-5-18"; empty for none.
    std::vector<unsigned char> data;
};

/// Takes the record apart that begins at bytes. size: what there is from there on.
/// length: the record's own, at least 1, behind which the next begins, also after a failure; size when it
/// cannot be trusted. Returns null, or what is wrong (static text); out then holds something, with the
/// record's number as far as it is known. Nothing beyond size is read, whatever the record says.
const char* ReadEventLogRecord(const unsigned char* bytes, std::size_t size, EventLogRecord& out,
                               std::size_t& length);

/// Removes the whole records before the one of a number (numbers wrap) from the beginning of bytes; those
/// left, and what is no record, stay. Returns the number behind the last whole record of bytes; number for
/// none.
std::uint32_t DropRecordsBefore(std::uint32_t number, std::vector<unsigned char>& bytes);

/// A security identifier as text; empty when the bytes are none.
std::string SidToText(const unsigned char* bytes, std::size_t size);

/// Puts strings in place of the marks of a message text: "%1" to "%99" (with or without a format such as
/// "!s!", which is dropped), "%n" and "%r" line break, "%t" tab, "%b" blank, "%0" end; "%" before anything
/// else stands for that. A mark without a string stays. "%%NNN" within a string is what parameter(NNN) gives,
/// once, or stays when that gives false and beyond the first 1,000 of a message. The result has at most
/// 32,000 UTF-16 units, and ends with "..." when it was longer.
std::wstring ExpandMessage(const std::wstring& text, const std::vector<std::wstring>& strings,
                           const std::function<bool(std::uint32_t, std::wstring&)>& parameter);

}  // namespace CorvaneAgent
