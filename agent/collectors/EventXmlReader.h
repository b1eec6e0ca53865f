#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "agent/collectors/EventRecord.h"
#include "agent/collectors/EventXmlParser.h"
#include "agent/collectors/InputFile.h"
#include "agent/collectors/TextStream.h"

namespace CorvaneAgent {

/// Reads Windows events from XML as wevtutil and the event viewer write it: one event or many, with or
/// without an element around them, in any encoding of TextStream. Whatever the file's size, it holds one
/// event and one part of the file at a time.
///
/// An event begins with "<Event" and ends with its end tag; comments, CDATA and processing instructions are
/// passed over, inside and between events. One that is damaged (not well-formed, cut off by the next event or
/// the end of the file, without System or a numeric EventID, or larger than 1 MiB) is told, and reading goes
/// on with the next "<Event". One thread at a time.
class EventXmlReader {
public:
    enum class Result {
        kEvent,    ///< The record holds the next event.
        kDamaged,  ///< The next event is damaged; GetDamage() says how.
        kNothing,  ///< The file ends here, for now.
    };

    struct Damage {
        std::uint64_t offset = 0;   ///< Where in the file the event begins, in bytes.
        std::uint64_t ordinal = 0;  ///< Which event it is, from 1.
        const char* why = "";       ///< Static text.
    };

    /// Begins with a file behind the position's offset and ordinal. Returns the Windows code, 0 = success.
    unsigned long Attach(InputFile file, const FilePosition& position);
    const InputFile& File() const { return stream_.File(); }

    /// Reads the next event. final: what the file ends in is all there will be; otherwise an event that is
    /// not complete waits. record: valid until the next call. Throws DeviceException when the file cannot be
    /// read.
    Result Next(EventRecord& record, bool final);

    const Damage& GetDamage() const { return damage_; }

    /// Behind the last event that Next gave or told of.
    std::uint64_t GetOffset() const { return stream_.Offset(); }
    std::uint64_t GetOrdinal() const { return ordinal_; }

private:
    enum class Scan { kComplete, kIncomplete, kBroken };

    /// Where the next of an end mark such as "-->" is, so that no part is searched for it twice.
    struct Mark {
        const char* text;
        std::uint64_t from = 0, to = 0;  // searched, counted from the stream's beginning
        std::uint64_t found = UINT64_MAX;
    };

    bool fill();
    bool findStart(bool final);
    Scan scanEvent(std::size_t& length, const char*& why);
    Scan scanStartTag(std::size_t& length, bool& closed, const char*& why);
    Scan skipMarkup(std::size_t& at);
    bool findMark(Mark& mark, std::size_t from, std::size_t& end);
    void consume(std::size_t size);

    TextStream stream_;
    EventXmlParser parser_;
    Damage damage_;
    Mark comment_{"-->"}, characters_{"]]>"}, instruction_{"?>"};
    std::uint64_t consumed_ = 0;  // bytes of the stream
    std::uint64_t ordinal_ = 0;
    bool ended_ = false;  // the file's end was seen, and is final
    bool final_ = false;  // the last call said so
};

}  // namespace CorvaneAgent
