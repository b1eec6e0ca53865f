#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <pugixml.hpp>

#include "agent/collectors/EventRecord.h"

namespace CorvaneAgent {

/// Takes the XML text of one event apart. What an event means by its elements does not depend on their
/// prefixes. One thread at a time; keeps its memory from event to event.
///
/// Of EventData each Data is a value, by its attribute Name or else as "Data1", "Data2"... by its place. Of
/// UserData, and of elements that are unknown, each element that holds text is a value by its own name, and
/// each attribute one by "ELEMENT.ATTRIBUTE".
class EventXmlParser {
public:
    /// text: size bytes, UTF-8, which are changed and must stay as long as the record is used.
    /// record: replaced. Returns null, or what is wrong with the event (static text or the parser's own); the
    /// record then holds something.
    const char* Parse(char* text, std::size_t size, EventRecord& record);

private:
    void readSystem(const pugi::xml_node& system, EventRecord& record);
    void readEventData(const pugi::xml_node& data, EventRecord& record);
    void readRendering(const pugi::xml_node& rendering, EventRecord& record);
    void readOther(const pugi::xml_node& root, EventRecord& record);
    std::string_view valueOf(const pugi::xml_node& node);
    std::string_view textOf(const pugi::xml_node& text);
    std::string_view valueOf(const pugi::xml_attribute& attribute);

    pugi::xml_document document_;
    bool references_ = false;  // the event has character references, which can make what is no UTF-8
};

}  // namespace CorvaneAgent
