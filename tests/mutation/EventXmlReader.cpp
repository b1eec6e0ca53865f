// Inputs are the XML text of one event.

#include "agent/collectors/EventXmlParser.h"
#include "agent/collectors/TextStream.h"
#include "tests/mutation/Reader.h"

using namespace CorvaneAgent;
using namespace WindowsAgentCommon::test;

namespace {

void Read(const char* bytes, std::size_t size) {
    std::string text(bytes, size);
    RepairUtf8(text.data(), text.size());
    EventXmlParser parser;
    EventRecord record;
    if (parser.Parse(text.data(), text.size(), record) != nullptr) return;
    Require(record.eventId >= 0 && record.data.size() <= EventRecord::kMostData, "an event cannot be");
    for (const auto& [name, value] : record.data) {
        std::string repaired(value);
        RepairUtf8(repaired.data(), repaired.size());
        Require(repaired == value && name.size() <= size + 8, "a value is no text");
    }
}

std::vector<std::string> Examples() {
    return {
        "<Event xmlns='x'><System><Provider Name='P' Guid='{G}'/><EventID Qualifiers='7'>42</EventID>"
        "<Keywords>0x80</Keywords><TimeCreated SystemTime='2024-02-29T12:34:56.1Z'/><Execution "
        "ProcessID='4'/>"
        "</System><EventData><Data "
        "Name='a'>x&#65;<![CDATA[y]]></Data><Binary>00</Binary></EventData></Event>",
        "<e:Event><e:System><e:EventID>1</e:EventID></e:System><UserData><A b='&#xD800;'>t<C>u</C>&amp;</A>"
        "</UserData><RenderingInfo><Message>m</Message><Keywords><Keyword>k</Keyword></Keywords>"
        "</RenderingInfo></e:Event>"};
}

// A document's page is 32 KiB; a node or attribute takes 40 bytes, and a value a pair of views.
const Registration kRegistered({"EventXml", Examples, Read, 256});

}  // namespace
