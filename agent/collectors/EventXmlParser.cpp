#include "agent/collectors/EventXmlParser.h"

#include "WindowsAgentCommon/Formatting.h"
#include "agent/collectors/TextStream.h"

#include <cstring>

namespace CorvaneAgent {

namespace {

constexpr std::size_t kLongestName = 256;  // of an element or attribute; a field's is shorter

/// A name without its prefix.
template <class Named>
std::string_view localName(const Named& named) {
    const std::string_view name = named.name();
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

bool isText(const pugi::xml_node& node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

bool isElement(const pugi::xml_node& node) { return node.type() == pugi::node_element; }

bool hasElements(const pugi::xml_node& node) {
    pugi::xml_node child = node.first_child();
    while (child && !isElement(child)) child = child.next_sibling();
    return !child.empty();
}

bool digitOf(char c, bool hexadecimal, std::uint32_t& out) {
    const auto lower = static_cast<unsigned char>(c | 0x20);
    if (c >= '0' && c <= '9')
        out = static_cast<std::uint32_t>(c - '0');
    else if (hexadecimal && lower >= 'a' && lower <= 'f')
        out = lower - 'a' + 10U;
    else
        return false;
    return true;
}

void setNumber(std::string_view text, std::int64_t& out) {
    std::uint64_t number;
    if (ParseEventNumber(text, number) && number <= INT64_MAX) out = static_cast<std::int64_t>(number);
}

/// Makes "&#0;" and its like, which would end the text there, "?#0;". Returns whether there are references to
/// characters.
bool disarmZeros(char* text, std::size_t size) {
    const std::string_view all(text, size);
    std::size_t at = all.find("&#");
    const bool any = at != std::string_view::npos;
    for (; at != std::string_view::npos; at = all.find("&#", at + 2)) {
        const bool hexadecimal = at + 2 < size && text[at + 2] == 'x';
        std::uint32_t character = 0, digit;  // in the parser's arithmetic, which wraps
        std::size_t end = at + (hexadecimal ? 3 : 2);
        for (; end < size && digitOf(text[end], hexadecimal, digit); ++end)
            character = character * (hexadecimal ? 16 : 10) + digit;
        if (character == 0) text[at] = '?';
    }
    return any;
}

template <class Assign>
void forAttributes(const pugi::xml_node& node, Assign assign) {
    for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) assign(localName(a), a);
}

}  // namespace

const char* EventXmlParser::Parse(char* text, std::size_t size, EventRecord& record) {
    record.Clear();
    references_ = disarmZeros(text, size);
    const pugi::xml_parse_result result = document_.load_buffer_inplace(
        text, size, pugi::parse_default | pugi::parse_ws_pcdata_single, pugi::encoding_utf8);
    if (!result) return result.description();

    bool hasSystem = false;
    for (pugi::xml_node part = document_.document_element().first_child(); part; part = part.next_sibling()) {
        const std::string_view name = localName(part);
        if (name == "System") {
            readSystem(part, record);
            hasSystem = true;
        } else if (name == "EventData") {
            readEventData(part, record);
        } else if (name == "RenderingInfo") {
            readRendering(part, record);
        } else if (isElement(part)) {
            readOther(part, record);
        }
    }
    if (!hasSystem) return "The event has no element System";
    return record.eventId == EventRecord::kAbsent ? "The event has no EventID that is a number" : nullptr;
}

void EventXmlParser::readSystem(const pugi::xml_node& system, EventRecord& record) {
    for (pugi::xml_node node = system.first_child(); node; node = node.next_sibling()) {
        const std::string_view name = localName(node);
        if (name == "Provider") {
            forAttributes(node, [&](std::string_view attribute, const pugi::xml_attribute& value) {
                if (attribute == "Name") record.provider = valueOf(value);
                if (attribute == "Guid") record.providerGuid = valueOf(value);
                if (attribute == "EventSourceName" && record.provider.empty())
                    record.provider = valueOf(value);
            });
        } else if (name == "EventID") {
            setNumber(valueOf(node), record.eventId);
            forAttributes(node, [&](std::string_view attribute, const pugi::xml_attribute& value) {
                if (attribute == "Qualifiers") setNumber(valueOf(value), record.qualifiers);
            });
        } else if (name == "Version") {
            setNumber(valueOf(node), record.version);
        } else if (name == "Level") {
            setNumber(valueOf(node), record.level);
        } else if (name == "Task") {
            setNumber(valueOf(node), record.task);
        } else if (name == "Opcode") {
            setNumber(valueOf(node), record.opcode);
        } else if (name == "Keywords") {
            ParseEventNumber(valueOf(node), record.keywords);
        } else if (name == "TimeCreated") {
            forAttributes(node, [&](std::string_view attribute, const pugi::xml_attribute& value) {
                if (attribute == "SystemTime") record.timeText = valueOf(value);
            });
            record.unixMilliseconds = ParseEventTime(record.timeText);
        } else if (name == "EventRecordID") {
            setNumber(valueOf(node), record.recordId);
        } else if (name == "Correlation") {
            forAttributes(node, [&](std::string_view attribute, const pugi::xml_attribute& value) {
                if (attribute == "ActivityID") record.activityId = valueOf(value);
                if (attribute == "RelatedActivityID") record.relatedActivityId = valueOf(value);
            });
        } else if (name == "Execution") {
            forAttributes(node, [&](std::string_view attribute, const pugi::xml_attribute& value) {
                if (attribute == "ProcessID") setNumber(valueOf(value), record.processId);
                if (attribute == "ThreadID") setNumber(valueOf(value), record.threadId);
            });
        } else if (name == "Channel") {
            record.channel = valueOf(node);
        } else if (name == "Computer") {
            record.computer = valueOf(node);
        } else if (name == "Security") {
            forAttributes(node, [&](std::string_view attribute, const pugi::xml_attribute& value) {
                if (attribute == "UserID") record.userSid = valueOf(value);
            });
        }
    }
}

void EventXmlParser::readEventData(const pugi::xml_node& data, EventRecord& record) {
    static const char* const kNumbered[] = {"Data1", "Data2", "Data3", "Data4",  "Data5",  "Data6",
                                            "Data7", "Data8", "Data9", "Data10", "Data11", "Data12"};
    unsigned int place = 0;
    for (pugi::xml_node node = data.first_child(); node; node = node.next_sibling()) {
        const std::string_view element = localName(node);
        if (element == "Binary") {
            record.binary = valueOf(node);
            continue;
        }
        if (!isElement(node)) continue;
        if (element != "Data" || hasElements(node)) {
            readOther(node, record);
            continue;
        }
        ++place;
        std::string_view name;
        forAttributes(node, [&](std::string_view attribute, const pugi::xml_attribute& value) {
            if (attribute == "Name") name = valueOf(value);
        });
        if (name.empty()) {
            if (place <= std::size(kNumbered))
                name = kNumbered[place - 1];
            else
                name = WindowsAgentCommon::Format(record.NewText(), "Data%u", place);
        }
        record.AddData(name, valueOf(node));
    }
}

void EventXmlParser::readRendering(const pugi::xml_node& rendering, EventRecord& record) {
    for (pugi::xml_node node = rendering.first_child(); node; node = node.next_sibling()) {
        const std::string_view name = localName(node);
        if (name == "Message") {
            record.message = valueOf(node);
        } else if (name == "Level") {
            record.levelText = valueOf(node);
        } else if (name == "Task") {
            record.taskText = valueOf(node);
        } else if (name == "Opcode") {
            record.opcodeText = valueOf(node);
        } else if (name == "Channel") {
            if (record.channel.empty()) record.channel = valueOf(node);
        } else if (name == "Provider") {
            if (record.provider.empty()) record.provider = valueOf(node);
        } else if (name == "Keywords") {
            std::string& all = record.NewText();
            for (pugi::xml_node word = node.first_child(); word; word = word.next_sibling()) {
                const std::string_view text = isText(word) ? textOf(word) : valueOf(word);
                if (!all.empty() && !text.empty()) all += ", ";
                all += text;
            }
            record.keywordsText = all;
        }
    }
}

/// Takes the values of everything below root, in the order of the text and without recursion, as elements may
/// nest as deep as an event is long.
void EventXmlParser::readOther(const pugi::xml_node& root, EventRecord& record) {
    for (pugi::xml_node node = root; node;) {
        if (isText(node)) {
            record.AddData(localName(node.parent()), textOf(node));
        } else if (isElement(node)) {
            forAttributes(node, [&](std::string_view attribute, const pugi::xml_attribute& value) {
                if (std::strncmp(value.name(), "xmlns", 5) == 0) return;
                if (record.data.size() >= EventRecord::kMostData) {
                    ++record.omitted;
                    return;
                }
                std::string& name = record.NewText();
                name.append(localName(node).substr(0, kLongestName)).append(".");
                name.append(attribute.substr(0, kLongestName));
                record.AddData(name, valueOf(value));
            });
        }
        const bool leaf = isText(node.first_child()) && !hasElements(node);
        if (leaf) record.AddData(localName(node), valueOf(node));
        pugi::xml_node next = leaf ? pugi::xml_node() : node.first_child();
        for (; !next && node != root; node = node.parent()) next = node.next_sibling();
        if (!next) return;
        node = next;
    }
}

/// The text of an element: its first run of text and CDATA, joined where they lie, which the markup between
/// them leaves room for.
std::string_view EventXmlParser::valueOf(const pugi::xml_node& node) {
    pugi::xml_node part = node.first_child();
    if (!isText(part)) return {};
    char* const begin = const_cast<char*>(part.value());  // the buffer is the caller's, to be changed
    std::size_t size = std::strlen(begin);
    for (part = part.next_sibling(); isText(part); part = part.next_sibling()) {
        const std::size_t more = std::strlen(part.value());
        std::memmove(begin + size, part.value(), more);
        size += more;
    }
    if (references_) RepairUtf8(begin, size);
    return {begin, size};
}

std::string_view EventXmlParser::textOf(const pugi::xml_node& text) {
    const std::string_view value = text.value();
    if (references_) RepairUtf8(const_cast<char*>(value.data()), value.size());
    return value;
}

std::string_view EventXmlParser::valueOf(const pugi::xml_attribute& attribute) {
    const std::string_view value = attribute.value();
    if (references_) RepairUtf8(const_cast<char*>(value.data()), value.size());
    return value;
}

}  // namespace CorvaneAgent
