#include "WindowsAgentCommon/IPayloadBuilder.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/collectors/EventXmlCollector.h"
#include "agent/collectors/TextFileCollector.h"
#include "agent/sdk/LocalTime.h"
#include "tests/agent/FakeRoad.h"
#include "tests/support/TempFolder.h"

#include <ace/Time_Value.h>
#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <utility>

#include <windows.h>

namespace CorvaneAgent {
namespace {

using namespace test;
using WindowsAgentCommon::test::TempFolder;

std::string Event(int id, const std::string& more = "") {
    return "<Event><System><Provider Name='P'/><EventID>" + std::to_string(id) +
           "</EventID><TimeCreated SystemTime='2024-02-29T12:34:56Z'/><Computer>ws1</Computer></System>" +
           more + "</Event>\n";
}

EnvironmentBlock Settings(const std::string& path, bool follow = false) {
    EnvironmentBlock settings;
    settings.SetStringValue("Path", path);
    settings.SetBooleanValue("Follow", follow);
    settings.SetStringValue("PollInterval", "10");
    settings.SetStringValue("CheckpointInterval", "100");
    settings.SetStringValue("Host", "box");
    return settings;
}

std::string Body(const std::string& line) {
    const std::size_t header = line.find("box ");
    return header == std::string::npos ? line : line.substr(header + 4);
}

std::vector<std::string> Bodies(const std::vector<std::string>& lines) {
    std::vector<std::string> bodies;
    for (const std::string& line : lines) bodies.push_back(Body(line));
    return bodies;
}

class CollectorTest : public testing::Test {
protected:
    template <class Collector>
    void ExpectToContinueFromEveryPosition(const EnvironmentBlock& settings);

    EnvironmentBlock RunXml() { return road.Run(EventXmlCollector(), Settings(folder.Narrow("e.xml"))); }
    EnvironmentBlock RunText(const Signal* end = nullptr) {
        return road.Run(TextFileCollector(), Settings(folder.Narrow("t.log")), end);
    }

    const TempFolder folder;
    FakeRoad road;
};

/// Runs a collector over a file of 2,000 events, then once more from each position that was kept.
template <class Collector>
void CollectorTest::ExpectToContinueFromEveryPosition(const EnvironmentBlock& settings) {
    road.record.block = EnvironmentBlock();
    road.router.lines.clear();
    std::vector<std::pair<EnvironmentBlock, std::size_t>> kept;
    road.record.onSave = [&] { kept.emplace_back(road.record.block, road.router.lines.size()); };
    road.Run(Collector(), settings);
    const std::vector<std::string> all = Bodies(road.router.lines);
    ASSERT_EQ(2000u, all.size());
    ASSERT_GE(kept.size(), 3u);
    ASSERT_EQ(2000u, kept.back().second);
    road.record.onSave = nullptr;
    for (const auto& [position, before] : kept) {
        SCOPED_TRACE(before);
        road.router.lines.clear();
        road.record.block = position;
        road.Run(Collector(), settings);
        ASSERT_EQ(all.size() - before, road.router.lines.size());
        const std::vector<std::string> rest(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
        EXPECT_EQ(rest, Bodies(road.router.lines));
    }
}

TEST_F(CollectorTest, ContinuesBehindEveryPositionThatItKept) {
    std::string xml = "<Events>", text;
    for (int i = 0; i < 2000; ++i) {
        xml += Event(i);
        text += "line " + std::to_string(i) + "\r\n";
    }
    folder.Write(L"e.xml", xml + "</Events>");
    folder.Write(L"t.log", text);
    ExpectToContinueFromEveryPosition<EventXmlCollector>(Settings(folder.Narrow("e.xml")));
    ExpectToContinueFromEveryPosition<TextFileCollector>(Settings(folder.Narrow("t.log")));
}

TEST_F(CollectorTest, RendersEveryPartOfAnEvent) {
    folder.Write(
        L"e.xml",
        "<?xml version='1.0'?><Events><Event xmlns='x'><System><Provider Name='A B' Guid='{G}'/>"
        "<EventID Qualifiers='7'>4625</EventID><Version>1</Version><Level>0</Level><Task>9</Task>"
        "<Opcode>2</Opcode><Keywords>0x8010000000000000</Keywords>"
        "<TimeCreated SystemTime='2024-02-29T12:34:56.1234567Z'/><EventRecordID>77</EventRecordID>"
        "<Correlation ActivityID='{A}'/><Execution ProcessID='4' ThreadID='8'/><Channel>C</Channel>"
        "<Computer>w s&#10;1</Computer><Security UserID='S-1-5-18'/></System><EventData>"
        "<Data Name='User Name'>u\tEventID=1\t</Data><Data Name='EventID'>1</Data><Binary>0AFF</Binary>"
        "</EventData><RenderingInfo Culture='en'><Message>Hello\r\nworld</Message><Level>Warning</Level>"
        "<Keywords><Keyword>a</Keyword><Keyword>b</Keyword></Keywords></RenderingInfo></Event></Events>");
    const EnvironmentBlock status = RunXml();
    std::string header;
    IPayloadBuilder::FormatSyslogHeaderString(header, 16 * 8 + 4, ACE_Time_Value(1'709'210'096), "w_s_1");
    EXPECT_EQ(
        header +
            "EventID=4625\tProvider=A B\tChannel=C\tLevel=0\tLevelText=Warning\tComputer=w s\n1\t"
            "RecordID=77\tTime=2024-02-29T12:34:56.1234567Z\tProviderGuid={G}\tQualifiers=7\tVersion=1\t"
            "Task=9\tOpcode=2\tKeywords=0x8010000000000000\tKeywordsText=a, b\tProcessID=4\tThreadID=8\t"
            "User=S-1-5-18\tActivityID={A}\tUser_Name=u\\tEventID=1\\t\tData.EventID=1\tBinary=0AFF\t"
            "Message=Hello\nworld",
        road.router.lines.at(0));
    EXPECT_EQ("finished 1 0",
              Text(status, "State") + " " + Text(status, "Events") + " " + Text(status, "Damaged"));
}

TEST_F(CollectorTest, SkipsDamagedEventsOnceAndCountsThem) {
    folder.Write(L"e.xml", Event(1) + "<Event><System>" + Event(2));
    for (const char* const expected : {"2 1", "0 0"}) {
        const EnvironmentBlock status = RunXml();
        EXPECT_EQ(expected, Text(status, "Events") + " " + Text(status, "Damaged"));
    }
}

TEST_F(CollectorTest, WaitsForAFullRoadAndLosesNothingWhenStopped) {
    std::string text;
    for (int i = 0; i < 100; ++i) text += std::to_string(i) + "\n";
    folder.Write(L"t.log", text);
    road.router.refuse = 3;
    RunText();
    EXPECT_EQ(100u, road.router.lines.size());

    road.record.block = EnvironmentBlock();
    road.router.lines.clear();
    const Signal full;
    road.router.onLine = [&] { road.router.refuse = road.router.lines.size() == 40 ? 1'000'000 : 0; };
    road.router.onRefuse = [&] { full.Set(); };
    EXPECT_EQ("40", Text(RunText(&full), "Events"));
    EXPECT_EQ(40u, road.router.lines.size());
    road.router.refuse = 0;
    road.router.onLine = nullptr;
    RunText();
    EXPECT_EQ(100u, road.router.lines.size());  // the 41st, which was refused, is not left out
}

TEST_F(CollectorTest, TakesAnEventAgainAfterAnException) {
    folder.Write(L"e.xml", Event(1) + Event(2));
    folder.Write(L"t.log", "1\n2\n");
    road.router.onRefuse = [] { throw std::runtime_error("no"); };
    road.router.refuse = 1;
    RunXml();
    EXPECT_EQ(2u, road.router.lines.size());
    road.record.block = EnvironmentBlock();
    road.router.refuse = 1;
    RunText();
    EXPECT_EQ(4u, road.router.lines.size());
}

TEST_F(CollectorTest, FinishesAnXmlFileThatWasRenamedBeforeTheNew) {
    folder.Write(L"e.xml", Event(1));
    bool rotated = false;
    road.record.onSave = [&] {
        if (std::exchange(rotated, true)) return;
        folder.Write(L"e.xml", Event(1) + Event(2));
        ::MoveFileW(folder.Path(L"e.xml").c_str(), folder.Path(L"e.old").c_str());
        folder.Write(L"e.xml", Event(3));
    };
    const Signal last;
    road.router.onLine = [&] {
        if (road.router.lines.back().find("EventID=3") != std::string::npos) last.Set();
    };
    road.Run(EventXmlCollector(), Settings(folder.Narrow("e.xml"), true), &last);
    EXPECT_EQ(3u, road.router.lines.size());
}

TEST_F(CollectorTest, StopsByTheCommonDeadlineWhileTheRoadIsStuck) {
    folder.Write(L"t.log", "a\n");
    road.router.unsafe = INT_MAX;
    TextFileCollector collector;
    road.router.onLine = [&] { collector.BeginStop(0); };
    EXPECT_EQ("stopped", Text(road.Run(collector, Settings(folder.Narrow("t.log"))), "State"));
    EXPECT_EQ(0u,
              road.router.longest);  // that time has passed: the events are safe already, or it ends without

    road.router.onLine = nullptr;
    TextFileCollector waiting;
    bool asked = false;
    road.router.onQuestion = [&] {
        if (!std::exchange(asked, true)) road.router.longest = 0;  // this question came before the stop
        waiting.BeginStop(0);
    };
    EXPECT_EQ("stopped", Text(road.Run(waiting, Settings(folder.Narrow("t.log"))), "State"));
    EXPECT_TRUE(asked);
    EXPECT_EQ(0u, road.router.longest);
}

TEST_F(CollectorTest, KeepsNoPositionUntilTheEventsAreSafe) {
    folder.Write(L"t.log", "a\n");
    int saves = 0, unsafe = -1;
    road.router.unsafe = 4;
    road.record.onSave = [&] {
        ++saves;
        unsafe = road.router.unsafe;
    };
    RunText();
    EXPECT_EQ(1, saves);
    EXPECT_EQ(-1, unsafe);  // asked until the answer was yes
}

TEST_F(CollectorTest, ReadsAFileThatWasReplacedFromItsBeginning) {
    for (const int id : {1, 2}) {
        SCOPED_TRACE(id);
        folder.Write(L"e.xml", Event(id) + Event(3));
        EXPECT_EQ("2", Text(RunXml(), "Events"));
    }
    road.record.loadError = ERROR_INVALID_DATA;
    road.record.block = EnvironmentBlock();
    EXPECT_EQ("2", Text(RunXml(), "Events"));
}

TEST_F(CollectorTest, CutsWhatALineHasNoRoomForVisibly) {
    std::string large;
    for (int i = 0; i < 30'000; ++i) large += "\xC3\xA4";
    folder.Write(L"e.xml", Event(1, "<EventData><Data Name='a'>" + large + "</Data><Data Name='b'>" + large +
                                        "</Data><Data Name='c'>c</Data></EventData>"));
    const EnvironmentBlock status = RunXml();
    const std::string& line = road.router.lines.at(0);
    EXPECT_NE(std::string::npos, line.find("\ta=" + large + "\tb=\xC3\xA4"));
    EXPECT_EQ("\xA4[cut]", line.substr(line.size() - 6));
    EXPECT_LT(line.size(), 65'000u);
    EXPECT_EQ("2", Text(status, "Cut"));  // b's end and the whole of c
}

TEST_F(CollectorTest, NamesNumbersBeyondTheMostNames) {
    std::string events;
    for (int i = 0; i < 4; ++i) {
        std::string data;
        for (int j = 0; j < 1200; ++j) data += "<Data Name='n" + std::to_string(i * 1200 + j) + "'/>";
        events += Event(i, "<EventData>" + data + "</EventData>");
    }
    const std::string late = "<Event><System><EventID>9</EventID><Level>2</Level></System></Event>";
    folder.Write(L"e.xml", events + late);
    RunXml();
    EXPECT_EQ("EventID=9\tProvider=\tOther=Level=2", Body(road.router.lines.at(4)));
}

TEST_F(CollectorTest, CutsAHostAtACharacter) {
    std::string host = "h";
    for (int i = 0; i < 200; ++i) host += "\xC3\xA4";
    folder.Write(L"t.log", "a\n");
    EnvironmentBlock settings = Settings(folder.Narrow("t.log"));
    settings.SetStringValue("Host", host);
    road.Run(TextFileCollector(), settings);
    EXPECT_NE(std::string::npos, road.router.lines.at(0).find(" " + host.substr(0, 255) + " File="));
}

TEST_F(CollectorTest, RefusesSettingsThatCannotBeUsed) {
    const std::pair<const char*, const char*> rows[] = {
        {"PollInterval", "0"}, {"PollInterval", "1e3"}, {"CheckpointInterval", "99999999999"},
        {"Facility", "24"},    {"Facility", ""},        {"Follow", "yes"},
        {"Path", ""},          {"FolowUp", "T"}};
    for (const auto& [name, value] : rows) {
        SCOPED_TRACE(name);
        EnvironmentBlock settings = Settings("C:\\x");
        settings.SetStringValue(name, value);
        TextFileCollector collector;
        EXPECT_THROW(collector.Initialize(settings), InitializationException);
        EXPECT_FALSE(collector.IsInitialized());
    }
    road.payload.components.components.erase("PayloadRouter");
    TextFileCollector collector;
    EXPECT_THROW(collector.Initialize(Settings("C:\\x")), InitializationException);
}

TEST(LocalTimeTest, WritesWhatTheLibrarysHeaderSays) {
    LocalTime time;
    for (std::int64_t second = 0; second < 2'147'000'000; second += 4'321'987) {
        std::string text = "<1>", expected;
        time.Append(second * 1000 + 999, text);
        IPayloadBuilder::FormatSyslogHeaderString(expected, 1, ACE_Time_Value(static_cast<time_t>(second)),
                                                  "h");
        ASSERT_EQ(expected, text + " h ");
    }
}

}  // namespace
}  // namespace CorvaneAgent
