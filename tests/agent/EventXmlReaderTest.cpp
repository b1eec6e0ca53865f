#include "agent/collectors/EventXmlReader.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace CorvaneAgent {
namespace {

using WindowsAgentCommon::test::TempFolder;

const std::string kSystem = "<System><Provider Name='P'/><EventID>1</EventID></System>";

std::string Event(const std::string& inner) { return "<Event>" + kSystem + inner + "</Event>"; }

std::string Data(const EventRecord& record) {
    std::string text;
    for (const auto& [name, value] : record.data)
        text.append(text.empty() ? "" : "|").append(name).append("=").append(value);
    return text;
}

/// All that the file holds: "id:data" of each event, "!offset why" of each damaged one.
std::vector<std::string> ReadAll(EventXmlReader& reader, bool final = true) {
    std::vector<std::string> all;
    EventRecord record;
    for (;;) {
        const EventXmlReader::Result result = reader.Next(record, final);
        if (result == EventXmlReader::Result::kNothing) return all;
        if (result == EventXmlReader::Result::kEvent)
            all.push_back(std::to_string(record.eventId) + ":" + Data(record));
        else
            all.push_back("!" + std::to_string(reader.GetDamage().offset) + " " + reader.GetDamage().why);
    }
}

class EventXmlReaderTest : public testing::Test {
protected:
    void Open(const std::string& bytes, const FilePosition& position = {}) {
        folder_.Write(L"e.xml", bytes);
        InputFile file;
        ASSERT_EQ(0u, file.Open(folder_.Path(L"e.xml")));
        ASSERT_EQ(0u, reader_.Attach(std::move(file), position));
    }
    std::vector<std::string> Read(const std::string& bytes) {
        Open(bytes);
        return ReadAll(reader_);
    }

    TempFolder folder_;
    EventXmlReader reader_;
};

std::string Utf16(const std::u16string& text, bool big) {
    std::string bytes;
    for (const char16_t unit : text) {
        const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
        bytes += big ? high : low;
        bytes += big ? low : high;
    }
    return bytes;
}

TEST_F(EventXmlReaderTest, ReadsTheFormsThatEventsCome) {
    const struct {
        const char* what;
        std::string xml;
        std::vector<std::string> expected;
    } rows[] = {
        {"one after the other", Event("") + "\n" + Event(""), {"1:", "1:"}},
        {"enclosed", "<Events>" + Event("") + Event("") + "</Events>", {"1:", "1:"}},
        {"data without names",
         Event("<EventData><Data>a</Data><Data/><Data Name=''>c</Data></EventData>"),
         {"1:Data1=a|Data2=|Data3=c"}},
        {"user data",
         Event("<UserData><C xmlns='x' k='v'><User>u</User><In><D>1</D></In></C></UserData>"),
         {"1:C.k=v|User=u|D=1"}},
        {"prefixes", "<e:Event xmlns:e='x'><e:System><e:EventID>5</e:EventID></e:System></e:Event>", {"5:"}},
        {"entities",
         Event("<EventData><Data Name='a'>&lt;&amp;&#65;&#x42;&unknown;</Data></EventData>"),
         {"1:a=<&AB&unknown;"}},
        {"CDATA",
         Event("<EventData><Data Name='a'>x<![CDATA[</Event><Event>]]>y<!-- - -->z</Data></EventData>"),
         {"1:a=x</Event><Event>yz"}},
        {"a comment with an event", "<!-- <Event> -->" + Event("<!-- </Event> <Event> -->"), {"1:"}},
        {"a processing instruction", "<?p <Event> ?>" + Event("<?p </Event> ?>"), {"1:"}},
        {"> in an attribute", "<Event a=\"/>'\">" + kSystem + "</Event>", {"1:"}},
        {"similar names", "<Eventual/><EventX></EventX>" + Event("<EventData/>") + "</Events >", {"1:"}},
        {"blanks", "<Event\n>" + kSystem + "</Event\t>", {"1:"}},
        {"UTF-8 mark",
         "\xEF\xBB\xBF" + Event("<EventData><Data>\xC3\xA4</Data></EventData>"),
         {"1:Data1=\xC3\xA4"}},
        {"no UTF-8",
         Event("<EventData><Data>\xE4 \xED\xA0\x80 \xC0\x80</Data></EventData>"),
         {"1:Data1=? ??? ??"}},
        {"a surrogate by reference", Event("<EventData><Data>&#xD800;</Data></EventData>"), {"1:Data1=???"}},
        {"zeros by reference",
         Event("<EventData><Data Name='n&#x00;m'>a&#0;b&#4294967296;c&#10;</Data></EventData>"),
         {"1:n?#x00;m=a?#0;b?#4294967296;c\n"}},
        {"surrogates in mixed text", Event("<UserData><a>&#xD800;<b/></a></UserData>"), {"1:a=???"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.expected, Read(row.xml));
    }
}

TEST_F(EventXmlReaderTest, TellsDamagedEventsAndGoesOn) {
    const std::string good = Event("");
    const std::string at = std::to_string(good.size());
    const std::string tail = "<System/></Event>";
    const struct {
        const char* what;
        std::string bad, why;
    } rows[] = {
        {"cut off", "<Event><System><Provider Na", " The event is cut off by the next one"},
        {"cut off in its tag", "<Event xmlns=", " The event's start tag does not end"},
        {"mismatch", "<Event><System></Sys></Event>", " Start-end tags mismatch"},
        {"no System", "<Event><EventData/></Event>", " The event has no element System"},
        {"empty", "<Event/>", " The event has no element System"},
        {"no id", "<Event><System><EventID>x</EventID></System></Event>",
         " The event has no EventID that is a number"},
        {"too large", "<Event>" + kSystem + "<D>" + std::string(1 << 20, 'x') + "</D></Event>",
         " The event is larger than 1 MiB"},
        {"endless quote", "<Event a='" + std::string(2 << 20, 'x') + "</Event>",
         " The event is larger than 1 MiB"},
        {"endless comment", "<Event><!--" + std::string(2 << 20, 'x') + "</Event>",
         " The event is larger than 1 MiB"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ((std::vector<std::string>{"1:", "!" + at + row.why, "1:"}), Read(good + row.bad + good));
    }
    const std::string half = good.substr(0, good.size() - 3);
    EXPECT_EQ((std::vector<std::string>{"1:", "!" + at + " The file ends within the event"}),
              Read(good + half));
}

TEST_F(EventXmlReaderTest, FindsTheNextEventBehindEveryCut) {
    const std::string event =
        Event("<!-- c --><EventData><Data Name=\"a\">x<![CDATA[y]]></Data></EventData>");
    for (std::size_t cut = 0; cut < event.size(); ++cut) {
        SCOPED_TRACE(cut);
        Open(event.substr(0, cut));
        EXPECT_TRUE(ReadAll(reader_, false).empty());  // waits for the rest
        FilePosition position;
        position.offset = reader_.GetOffset();
        Open(event + Event(""), position);
        EXPECT_EQ((std::vector<std::string>{"1:a=xy", "1:"}), ReadAll(reader_));
        const std::vector<std::string> behind = Read(event.substr(0, cut) + Event("<EventData/>"));
        const bool open = cut > 7 && event.compare(cut - 1, 1, "<") != 0;
        const bool hidden = event.substr(0, cut).find("<!--") != std::string::npos &&
                            event.substr(0, cut).find("-->") == std::string::npos;
        const bool cdata = event.substr(0, cut).find("<![CDATA[") != std::string::npos &&
                           event.substr(0, cut).find("]]>") == std::string::npos;
        if (open && !hidden && !cdata) {
            EXPECT_EQ("1:", behind.back());
        }
        EXPECT_LE(behind.size(), 2u);
        EXPECT_GE(behind.size(), 1u);
    }
}

TEST_F(EventXmlReaderTest, ReadsUtf16AndKnowsItsPlace) {
    const std::u16string event =
        u"<Event><System><EventID>3</EventID></System><EventData><Data>\u00E4\u20AC\U0001F600</Data></"
        u"EventData></Event>\r\n";
    std::u16string many;
    for (int i = 0; i < 3000; ++i) many += event;  // more than one part of the file
    for (const bool big : {false, true}) {
        for (const bool mark : {false, true}) {
            SCOPED_TRACE(testing::Message() << big << mark);
            const std::string bytes = Utf16(mark ? u"\uFEFF" + many : many, big);
            Open(bytes);
            const std::vector<std::string> all = ReadAll(reader_);
            ASSERT_EQ(3000u, all.size());
            EXPECT_EQ("3:Data1=\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", all[2999]);
            FilePosition position;
            position.offset = (mark ? 2 : 0) + 2000 * event.size() * 2;
            Open(bytes, position);
            EXPECT_EQ(1000u, ReadAll(reader_).size());
            EXPECT_EQ(bytes.size(), reader_.GetOffset());
        }
    }
}

TEST_F(EventXmlReaderTest, StaysQuickAndSmallWithHostileMarkup) {
    // Each would take hours if anything were searched again from every start.
    for (const std::string unit :
         {"<Event><!--", "<!--", "<Event>", "<a:Event><![CDATA[", "<Event a='", "<?", "<"}) {
        SCOPED_TRACE(unit);
        std::string bytes;
        while (bytes.size() < 4 << 20) bytes += unit;
        std::size_t damaged = 0;
        Open(bytes);
        EventRecord record;
        while (reader_.Next(record, true) != EventXmlReader::Result::kNothing) ++damaged;
        EXPECT_LE(damaged, bytes.size() / unit.size());
        EXPECT_EQ(bytes.size(), reader_.GetOffset());
    }
    const std::string deep = [] {
        std::string text;
        for (int i = 0; i < 200'000; ++i) text += "<a>";
        return text;
    }();
    EXPECT_EQ(1u, Read(Event("<UserData>" + deep)).size());  // not closed, but as deep
}

TEST_F(EventXmlReaderTest, BoundsTheValuesOfAnEvent) {
    std::string values;
    for (int i = 0; i < 2100; ++i) values += "<Data>1</Data>";
    Open(Event("<EventData>" + values + "</EventData>"));
    EventRecord record;
    ASSERT_EQ(EventXmlReader::Result::kEvent, reader_.Next(record, true));
    EXPECT_EQ(2000u, record.data.size());
    EXPECT_EQ(100u, record.omitted);

    const std::string name(300'000, 'n');
    for (int i = 0; i < 60'000; ++i) values += " a=''";
    Open(Event("<UserData><" + name + values.substr(2100 * 14) + "/></UserData>"));
    ASSERT_EQ(EventXmlReader::Result::kEvent, reader_.Next(record, true));
    EXPECT_EQ(58'000u, record.omitted);
    EXPECT_EQ(258u, record.data[0].first.size());
}

TEST(EventTimeTest, ReadsTimesAndRefusesOthers) {
    const struct {
        const char* text;
        std::int64_t expected;
    } rows[] = {{"1970-01-01T00:00:00Z", 0},
                {"2024-02-29T23:59:59.9Z", 1'709'251'199'900},
                {"2100-01-01T00:00:00.000000001Z", 4'102'444'800'000},
                {"2024-03-01T01:00:00+02:00", 1'709'247'600'000},
                {"2024-02-29T12:34:56", 1'709'210'096'000},
                {"1969-12-31T23:59:59Z", -1},
                {"2024-13-01T00:00:00Z", -1},
                {"2024-01-01T00:00:00Zx", -1},
                {"2024-01-01 00:00:00", -1},
                {"2024-01-01T00:00:00+2", -1},
                {"", -1}};
    for (const auto& row : rows) EXPECT_EQ(row.expected, ParseEventTime(row.text)) << row.text;
}

}  // namespace
}  // namespace CorvaneAgent
