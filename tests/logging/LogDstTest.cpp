#include "CorvaneLogger/LogDst.h"
#include "CorvaneLogger/LogDstCons.h"
#include "CorvaneLogger/LogMonitorDst.h"
#include "CorvaneLogger/LogReporterDst.h"
#include "WindowsAgentCommon/Encoding.h"
#include "foundation/Win32Handle.h"
#include "logging/Rolling.h"
#include "tests/logging/LoggingTest.h"
#include "tests/support/Thread.h"

#include <gmock/gmock.h>

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
        }
    EXPECT_NE(TakeSideFile().find(usual + "  Prefix %Q of stamped has an unknown code\n"), std::string::npos);
}

TEST_F(LogDstTest, StampShowsTheSystemsTimeWhicheverWayItMoves) {
    Stamped destination;
    const std::tuple<int, int, const char*> rows[] = {
        {7, 0, "12:00:00.007 "},     {992, 0, "12:00:00.999 "}, {1, 0, "12:00:01.000 "},
        {1, -3600, "11:00:01.001 "}, {0, -1, "11:00:00.001 "},  {999, -86400, "11:00:01.000 "}};
    for (const auto& [milliseconds, setBySeconds, stamp] : rows) {
        clock.AdvanceMilliseconds(milliseconds);
        clock.SetBySeconds(setBySeconds);
        EXPECT_EQ(destination.Stamp(), stamp);
    }
}

TEST_F(LogDstTest, DestinationsAcceptLevelsUpToTheirsAndFilesInfoXWhateverTheirs) {
    const std::map<int, std::string> takersAtWarn = {{0, "RCFM"},   {200, "RCFM"}, {201, ""}, {350, "F"},
                                                     {1124, "RCF"}, {1224, "RCF"}, {1374, ""}};
    LogDstCons console("C", "x");
    LogReporterDst reporter("R", "x");
    LogDstFile file("F", "x");
    LogMonitorDst monitor("M", "x");
    for (LogDst* each : std::initializer_list<LogDst*>{&console, &reporter, &file, &monitor}) {
        SCOPED_TRACE(each->type());
        EXPECT_TRUE(each->accept(500)) << "by default";
        EXPECT_FALSE(each->accept(501));
        Setup(*each, {{"LEVEL", "warn"}});
        for (const auto& [level, takers] : takersAtWarn)
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
    console.flush(true);
    const std::string flushed = folder.Read(L"screen");
    ::_dup2(screen, 1);
    for (const int each : {screen, file}) ::_close(each);
    EXPECT_EQ(flushed, "12:00:00.000 one\r\ntwo\r\n");
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
    const std::tuple<std::uint32_t, std::string, std::string> rows[] = {
        {0, "a long report.", "a long report."},
        {0, "short.", "short."},
        {6, "2nd.", "short.2nd."},
        {9999, "end.", "short.2nd.end."},
        {3, "", "sho"},
        {0xFFFFFFFF, "append.", "shoappend."},
        {0xFFFFFFFE, "and.", "shoappend.and."},
        {0, "", ""}};
    for (const auto& [position, text, file] : rows) {
        EXPECT_TRUE(Report(position, text));
        EXPECT_EQ(folder.Read(L"r.log"), file) << position;
        EXPECT_TRUE(reporter.FileSize() == file.size() && reporter.Open() == file.size());
    }
    EXPECT_EQ(reporter.Filename(), folder.Narrow("r.log"));
    EXPECT_FALSE(reporter.Add("closed"));
}

TEST_F(LogReporterDstTest, FlushLeavesAReportOpenAndLinesGoBetweenItsTexts) {
    folder.Write(L"r.log", "something older that is longer than all of it\n");
    EXPECT_TRUE(reporter.ReOpen(0) && reporter.Add("one\n"));
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
    for (const char* text : {"appended!!", "once more"}) EXPECT_TRUE(Report(0xFFFFFFFF, text));
    EXPECT_EQ(folder.Read(L"r_1.log") + folder.Read(L"r.log"), "appended!!once more");

    Setup(reporter, {{"Folder", "none"}});
    TakeSideFile();
    for (const std::uint32_t position : {0U, 0xFFFFFFFF}) EXPECT_FALSE(Report(position, "x"));
    EXPECT_EQ(TakeSideFile(), "  ERROR : Unable to re-open stats file " + folder.Narrow("none\\r.log\n"));
}

using ::testing::HasSubstr;
using WindowsAgentCommon::detail::FileHandle;
using Names = std::map<std::string, std::string>;

class RollingTest : public LoggingTest {
protected:
    // As a backup program does: others may read and write, but neither rename nor delete.
    FileHandle Hold(const wchar_t* name) const {
        return FileHandle(::CreateFileW(folder.Path(name).c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                        nullptr));
    }
    std::string Path(const std::string& name) const { return folder.Narrow(name); }
};

// L: the live file; digits, then letters: the rolled file of that index.
std::string NameOf(char file) {
    return file == 'L' ? "n.log" : "n_" + std::to_string(file <= '9' ? file - '0' : file - 'A' + 10) + ".log";
}

TEST_F(RollingTest, FilesBecomeOneOlderAndOthersStay) {
    // The greatest index, the files, and afterwards each file and what it was before.
    const std::tuple<int, std::string, std::string> rows[] = {
        {1, "L", "1L"},          {1, "L1", "1L"},      {0, "L13", ""},  {3, "L1237", "1L2132"},
        {11, "L9ABZ", "1LA9BA"}, {3, "L01", "1L2031"}, {1, "L01", "1L"}};
    ::CreateDirectoryW(folder.Path(L"n_8.log").c_str(), nullptr);
    for (const auto& [maxIndex, files, rolled] : rows) {
        SCOPED_TRACE(files);
        Names before, after;
        for (const char file : files) before[NameOf(file)] = file;
        for (std::size_t at = 0; at < rolled.size(); at += 2) after[NameOf(rolled[at])] = rolled[at + 1];
        // None of these is ours, whatever it looks like.
        for (const char* name :
             {"n_01.log", "n_1.logx", "n_1.log.bak", "n_9_1.log", "nn_9.log", "n_.log", "n_-9.log", "n_9.txt",
              "n_ 9.log", "n9.log", "n_9b.log", "n_99999999999.log"})
            before[name] = after[name] = name;
        for (const auto& [name, text] : before) folder.Write({name.begin(), name.end()}, text);
        detail::Roll({Path(""), "n", "log"}, maxIndex, [](const std::string&) {});
        EXPECT_EQ(Files(), after);
        for (const auto& file : Files()) Delete({file.first.begin(), file.first.end()});
        EXPECT_TRUE(folder.Has(L"n_8.log"));
    }
}

TEST_F(RollingTest, FileIsRolledAtItsLimitAndEveryStepTold) {
    folder.Write(L"d_7.log", "old");
    LogDstFile file("d", "x");
    Setup(file, {{"MaxFileSize", "1000"}, {"MaxIndex", "3"}, {"Instant", "false"}});
    TakeSideFile();
    std::string all;
    for (int i = 0; i < 50; ++i) {
        const std::string text = std::to_string(1000 + i) + std::string(76, 'x');
        Put(file, text);
        all += "03-01 12:00:00.000 " + text + "\n";  // 100 bytes each
        if (i != 21) continue;
        const std::string stamp = "03-01 12:00:00.000   ";
        const std::string start = stamp + "Rolling files curSize 1100 maxSize 1000 maxFiles 3\n" + stamp +
                                  "Renaming " + Path("d.log") + " to " + Path("d_0.log\n");
        EXPECT_EQ(TakeSideFile(), start + stamp + "Deleting " + Path("d_7.log\n") + start + stamp +
                                      "Renaming " + Path("d_1.log") + " to " + Path("d_2.log\n"));
    }
    file.flush(false);
    EXPECT_EQ(Files(), Names({{"d.log", all.substr(4400)},
                              {"d_1.log", all.substr(3300, 1100)},
                              {"d_2.log", all.substr(2200, 1100)},
                              {"d_3.log", all.substr(1100, 1100)}}));
}

TEST_F(RollingTest, HeldFileIsTriedAgainAfterAFurtherFifthUntilItIsReleased) {
    // The bytes in the file, and after which line an attempt waits how many milliseconds.
    const std::pair<std::size_t, std::map<int, int>> rows[] = {
        {0, {{11, 900}, {13, 900}, {15, 900}, {17, 0}, {28, 0}}},
        {9900, {{1, 900}, {4, 900}, {6, 900}, {8, 900}, {10, 900}, {12, 900}, {14, 900}, {16, 0}, {27, 0}}}};
    for (const auto& [before, attempts] : rows) {
        SCOPED_TRACE(before);
        folder.Write(L"d.log", before > 0 ? std::string(before - 1, 'x') + "\n" : "");
        File file("d", {{"MaxFileSize", "1000"}, {"MaxIndex", "2"}});
        FileHandle held = Hold(L"d.log");
        TakeSideFile();
        std::int64_t slept = clock.SleptMilliseconds();
        for (int lines = 1; lines <= 28; ++lines) {
            if (lines == 16) held.Reset();
            Put(file, std::string(99, 'x'));
            const bool due = attempts.count(lines) != 0;
            const int waits = due ? attempts.at(lines) : 0;
            const std::string told = TakeSideFile(), failed = "  Unable to rename " + Path("d.log") +
                                                              "  to  " + Path("d_0.log") + "  Error: 32\n";
            EXPECT_EQ(told.find("  Rolling files curSize ") == 0, due) << lines << told;
            EXPECT_EQ(told.find(failed) != told.npos, waits > 0) << lines << told;
            slept += waits;
            EXPECT_EQ(clock.SleptMilliseconds(), slept) << lines;
        }
        EXPECT_EQ(folder.Read(L"d_1.log").size(), 1100U);
    }
}

TEST_F(RollingTest, RolledFilesThatAreHeldStayNothingIsOverwrittenAndWhatCannotPassIsNotWaitedFor) {
    for (const wchar_t* name : {L"d.log", L"d_1.log", L"d_2.log"}) folder.Write(name, "old\n");
    File file("d", {{"MaxIndex", "1"}});
    TakeSideFile();
    FileHandle one = Hold(L"d_1.log"), two = Hold(L"d_2.log");
    file.RollLogs();
    file.RollLogs();
    EXPECT_EQ(Files(),
              Names({{"d.log", ""}, {"d_0.log", "old\n"}, {"d_1.log", "old\n"}, {"d_2.log", "old\n"}}));
    EXPECT_THAT(TakeSideFile(),
                AllOf(HasSubstr("  Unable to delete " + Path("d_2.log") + "  Error: 32\n"),
                      HasSubstr("  Unable to rename " + Path("d_0.log") + "  to  " + Path("d_1.log")),
                      HasSubstr("  Unable to rename " + Path("d.log") + "  to  " + Path("d_0.log"))));
    one.Reset();
    two.Reset();
    Put(file, "next");
    file.RollLogs();
    file.flush(true);
    Delete(L"d.log");
    file.RollLogs();
    EXPECT_EQ(Files(), Names({{"d.log", ""}, {"d_1.log", "next\n"}}));
    EXPECT_EQ(clock.SleptMilliseconds(), 0);
}

TEST_F(RollingTest, FileThatIsNotContinuedIsRolledAtItsFirstOpeningIfItIsWorthIt) {
    const std::tuple<const char*, const char*, const char*, bool> rows[] = {
        {"f", "1000", "more than 1%\n", true},
        {"f", "1000", "just 1% i\n", false},
        {"f", "0", "x\n", true},
        {"t", "1000", "more than 1%\n", false},
        {"f", "0", "", false}};
    for (const auto& [append, maxFileSize, content, rolled] : rows) {
        folder.Write(L"d.log", content);
        File file("d", {{"Append", append}, {"MaxFileSize", maxFileSize}});
        Put(file, "more than ten bytes");
        file.reset();
        EXPECT_EQ(folder.Read(L"d_1.log"), rolled ? content : "<none>") << append << content;
        EXPECT_EQ(folder.Read(L"d.log"), (rolled ? "" : content) + std::string("more than ten bytes\n"));
        Delete(L"d_1.log");
    }
}

}  // namespace
}  // namespace CorvaneLogger
