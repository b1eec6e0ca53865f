#include "CorvaneLogger/LogDst.h"
#include "CorvaneLogger/LogDstCons.h"
#include "CorvaneLogger/LogMonitorDst.h"
#include "CorvaneLogger/LogReporterDst.h"
#include "WindowsAgentCommon/Encoding.h"
#include "tests/logging/LoggingTest.h"
#include "tests/support/Thread.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace CorvaneLogger {
namespace {

class LogDstTest : public LoggingTest {
protected:
    struct Stamped : LogDst {
        Stamped() : LogDst("stamped", "x") {}
        std::string Stamp() { return {getPrefix(), prefixLen_}; }
    };
};

TEST_F(LogDstTest, StampFollowsThePatternUnlessTheRuntimeCannotKnowIt) {
    const std::string usual = "12:00:00.000 ";
    ::_putenv("TZ=\xE4\xF6\xFC\x30");  // the zone's name, in ANSI
    ::_tzset();
    std::wstring zone(8, L'\0');
    zone.resize(static_cast<std::size_t>(::MultiByteToWideChar(
        CP_ACP, 0, _tzname[0], static_cast<int>(std::strlen(_tzname[0])), zone.data(), 8)));
    ASSERT_GT(WindowsAgentCommon::ToUTF8(zone).size(), zone.size());
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"%Y-%m-%dT%H:%M:%S", "2026-03-01T12:00:00.000 "},
        {"%#d/%j 100%%", "1/060 100%.000 "},
        {"no code at all 12345", "no code at all 12345.000 "},
        {"%A%A%A%A%Aabcde", "SundaySundaySundaySundaySundayabcde.000 "},
        {"%A%A%A%A%Aabcdef", ".000 "},  // more than 35 bytes: deliberately no text at all
        {"%Z\xC3\xA4%#z", WindowsAgentCommon::ToUTF8(zone + L'\xE4' + zone) + ".000 "},
        {"%", usual},
        {"%H%#", usual},
        {"%Q", usual},
        {"%E%H", usual},
        {std::string(21, 'x'), usual},
        {std::string("%H%#\0x", 6), usual}};
    for (const auto& [pattern, stamp] : rows)
        for (const char* name : {"Prefix", "CONVERSIONpattern"}) {
            SCOPED_TRACE(pattern);
            Stamped destination;
            EXPECT_EQ(destination.Stamp(), usual);
            Setup(destination, {{name, pattern}});
            EXPECT_EQ(destination.Stamp(), stamp);
            std::string kept;
            EXPECT_TRUE(destination.getParam(*name == 'P' ? "prefix" : "ConversionPattern", kept));
            EXPECT_EQ(kept, pattern);
        }
    EXPECT_NE(TakeSideFile().find(usual + "  Prefix %Q of stamped has an unknown code\n"), std::string::npos);
}

TEST_F(LogDstTest, StampShowsTheSystemsTimeWhicheverWayItMoves) {
    Stamped destination;
    const struct {
        std::int64_t milliseconds, setBySeconds;
        const char* stamp;
    } rows[] = {{0, 0, "12:00:00.000 "},       {7, 0, "12:00:00.007 "},     {992, 0, "12:00:00.999 "},
                {1, 0, "12:00:01.000 "},       {1, -3600, "11:00:01.001 "}, {0, -1, "11:00:00.001 "},
                {999, -86400, "11:00:01.000 "}};
    for (const auto& row : rows) {
        clock.AdvanceMilliseconds(row.milliseconds);
        clock.SetBySeconds(row.setBySeconds);
        EXPECT_EQ(destination.Stamp(), row.stamp);
    }
}

TEST_F(LogDstTest, DestinationsAcceptLevelsUpToTheirsAndFilesInfoXWhateverTheirs) {
    // level: who takes it at WARN
    const std::map<int, std::string> rows = {{0, "RCFM"}, {200, "RCFM"}, {201, ""},     {350, "F"},
                                             {500, ""},   {1124, "RCF"}, {1224, "RCF"}, {1374, ""}};
    LogDstCons console("C", "x");
    LogReporterDst reporter("R", "x");
    LogDstFile file("F", "x");
    LogMonitorDst monitor("M", "x");
    for (LogDst* each : std::initializer_list<LogDst*>{&console, &reporter, &file, &monitor}) {
        SCOPED_TRACE(each->type());
        EXPECT_TRUE(each->accept(500)) << "by default";
        EXPECT_FALSE(each->accept(501));
        Setup(*each, {{"LEVEL", "warn"}});
        for (const auto& [level, takers] : rows)
            EXPECT_EQ(each->accept(level), takers.find(each->name()) != std::string::npos) << level;
    }
}

TEST_F(LogDstTest, ConsoleLinesKeepTheirOrderWithWhatTheHostPrints) {
    std::fflush(stdout);
    const int screen = ::_dup(1), file = ::_wopen(L"screen", _O_CREAT | _O_WRONLY | _O_TEXT, 0600);
    ::_dup2(file, 1);
    LogDstCons console("console", "Console");
    Put(console, "one");
    std::fputs("two\n", stdout);
    Setup(console, {{"Prefix", std::string(21, '%')}});
    console.flush(true);
    const std::string flushed = folder.Read(L"screen");
    ::_dup2(screen, 1);
    for (const int each : {screen, file}) ::_close(each);
    EXPECT_EQ(flushed,
              "12:00:00.000 one\r\ntwo\r\n"
              "12:00:00.000 INFO  LogDst : Prefix is too long, max is 20\r\n");
}

class LogReporterDstTest : public LoggingTest {
protected:
    LogReporterDstTest() : reporter("r", "RollingReporter") { Setup(reporter, {{"Prefix", ""}}); }

    bool Report(std::uint32_t position, const std::string& text) {
        const bool written = reporter.ReOpen(position) && reporter.Add(text);
        reporter.Close();
        return written;
    }

    LogReporterDst reporter;
};

TEST_F(LogReporterDstTest, ReportReplacesWhatLiesBehindItsPosition) {
    const struct {
        std::uint32_t position;
        std::string text, file;
    } rows[] = {{0, "a long report.", "a long report."},
                {0, "short.", "short."},
                {6, "2nd.", "short.2nd."},
                {9999, "end.", "short.2nd.end."},
                {3, "", "sho"},
                {0xFFFFFFFF, "append.", "shoappend."},
                {0xFFFFFFFE, "and.", "shoappend.and."},
                {0, "", ""}};
    for (const auto& row : rows) {
        EXPECT_TRUE(Report(row.position, row.text));
        EXPECT_EQ(folder.Read(L"r.log"), row.file) << row.position;
        EXPECT_EQ(reporter.FileSize(), row.file.size()) << row.position;
        EXPECT_EQ(reporter.Open(), row.file.size());
    }
    EXPECT_EQ(reporter.Filename(), folder.Narrow("r.log"));
    EXPECT_FALSE(reporter.Add("closed"));
}

TEST_F(LogReporterDstTest, FlushLeavesAReportOpenAndLinesGoBetweenItsTexts) {
    folder.Write(L"r.log", "something older that is longer than all of it\n");
    ASSERT_TRUE(reporter.ReOpen(0));
    EXPECT_TRUE(reporter.Add("one\n"));
    for (int time = 0; time < 2; ++time) reporter.flush(true);
    Put(reporter, "line");
    EXPECT_TRUE(reporter.Add("two\n"));
    reporter.Close();
    Put(reporter, "after");
    reporter.Close();
    EXPECT_EQ(folder.Read(L"r.log"), "one\nline\ntwo\nafter\n") << "nothing is cut without a report";
    std::atomic<bool> ended{false};
    const WindowsAgentCommon::test::Thread flushing([&] {
        while (!ended) reporter.flush(true);
    });
    int lost = 0;
    for (int i = 0; i < 500; ++i) lost += Report(0, "report\n") ? 0 : 1;
    ended = true;
    EXPECT_EQ(lost, 0);
}

TEST_F(LogReporterDstTest, FileAtItsLimitIsRolledBeforeAReportAndOneThatCannotBeOpenedIsTold) {
    Setup(reporter, {{"MaxFileSize", "10"}, {"Prefix", ""}});
    EXPECT_TRUE(Report(0, "123456789"));
    EXPECT_EQ(reporter.Open(), 9U);
    EXPECT_TRUE(Report(9, "0"));
    EXPECT_EQ(reporter.Open(), 0U);
    EXPECT_EQ(folder.Read(L"r_1.log"), "1234567890");
    for (const char* text : {"appended!!", "once more"}) EXPECT_TRUE(Report(0xFFFFFFFF, text));
    EXPECT_EQ(folder.Read(L"r_1.log"), "appended!!");
    EXPECT_EQ(folder.Read(L"r.log"), "once more");

    Setup(reporter, {{"Folder", "none"}});
    TakeSideFile();
    for (const std::uint32_t position : {0U, 0xFFFFFFFF}) EXPECT_FALSE(Report(position, "x"));
    EXPECT_EQ(TakeSideFile(), "  ERROR : Unable to re-open stats file " + folder.Narrow("none\\r.log\n"));
}

}  // namespace
}  // namespace CorvaneLogger
