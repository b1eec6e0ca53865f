#include "WindowsAgentCommon/CV_Statistics.h"

#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SimpleEPS.h"
#include "statistics/StatisticsAccess.h"
#include "tests/support/FakeClock.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <gtest/gtest.h>

#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <vector>

using namespace WindowsAgentCommon;

namespace {

using CorvaneLogger::CV_Logger;
using detail::StatisticsAccess;

/// A registry of the test's own at 12:00:00, which is local time as well. The working folder is the test's.
struct CV_StatisticsTest : testing::Test {
    CV_StatisticsTest() {
        ::_putenv("TZ=UTC0");
        ::_tzset();
        lines.base.SetLevel(CorvaneLogger::kLevelDebug);
    }
    ~CV_StatisticsTest() override {
        for (int time = 0; time < 2; ++time) logger.flushDsts();  // closes the files
        ::SetCurrentDirectoryW(L"\\");
    }

    using Params = std::map<std::string, std::string>;
    CorvaneLogger::LogDst* Destination(const char* name, const char* cls, Params params) {
        CorvaneLogger::LogDst* const destination = logger.addDest(name, cls);
        destination->setup(params);
        return destination;
    }
    CorvaneLogger::LogDst* Reporter(Params params) {
        params.emplace("File", folder.Narrow("r.txt"));
        return Destination("CorvaneStats", "RollingReporter", params);
    }

    // Does the thread's work in this one until so many ticks are over and the next is waited for. atTick:
    // gets the tick's number before its report.
    void Run(
        int ticks, const std::function<void(int)>& atTick = [](int) {}) {
        struct Ticker : CV_Stat {
            Ticker() : CV_Stat("ticker", "x") {}
            void OnMinute() override { work(); }
            std::function<void()> work;
        };
        int count = 0;
        auto ticker = std::make_shared<Ticker>();
        ticker->work = [&] {
            atTick(++count);
            if (count == ticks)
                clock.OnSleep([&](unsigned int) { StatisticsAccess::SetRunning(*stats, false); });
        };
        StatisticsAccess::Add(*stats, ticker);
        StatisticsAccess::SetRunning(*stats, true);
        EXPECT_EQ(stats->svc(), 0);
        ticker->work = [] {};
        clock.OnSleep(nullptr);
    }

    std::string TakeLog() { return std::exchange(lines.text, ""); }

    test::TempFolder folder;
    const BOOL moved = ::SetCurrentDirectoryW(folder.Path().c_str());  // before there is a logger
    test::FakeClock clock;
    CV_Logger& logger = CV_Logger::TheLogger();
    test::LogLines lines{"Code.Statistics"};
    const std::unique_ptr<CV_Statistics> stats = StatisticsAccess::Make();
};

TEST_F(CV_StatisticsTest, NameIsRegisteredOnceAndOnlyAsAKnownType) {
    EXPECT_FALSE(stats->Register("A", nullptr));
    EXPECT_FALSE(stats->Register("A", "Counter"));
    EXPECT_FALSE(stats->Find("A"));
    TakeLog();
    const auto stat = stats->Register("A", "SimpleEPS");
    EXPECT_EQ(stats->Register("A", "Counter"), stat) << "the one there is, whatever its type";
    EXPECT_EQ(stats->Find("A"), stat);
    EXPECT_FALSE(stats->Register("B", "Counter"));
    const std::string start = "400 Starting transaction to Register ";
    EXPECT_EQ(TakeLog(), start + "SimpleEPS A\n" + start + "Counter A\n" +
                             "400 Register Counter A already exists\n" + start + "Counter B\n" +
                             "400 Register Counter B - Unknown statistic type\n");
    const auto known = Reg_SimpleEPS("A");
    EXPECT_EQ(CV_Statistics::TheStats().Find("A"), known);
}

TEST_F(CV_StatisticsTest, TicksAreAMinuteApartWhateverTheClockIsSetToAndLateOnesCountOnce) {
    clock.AdvanceMilliseconds(700);
    std::vector<std::int64_t> ticks;  // seconds
    const auto now = [&] { return (detail::SteadyTicks() - clock.kStart) / detail::kTicksPerMillisecond; };
    Run(6, [&](int count) {
        EXPECT_LT(now() % 1000, 10) << "right after the second";
        ticks.push_back(now() / 1000);
        if (count == 1) clock.SetBySeconds(-3600);
        if (count == 2) clock.SetBySeconds(86400);
        if (count == 4) clock.AdvanceSeconds(600);  // the machine sleeps
    });
    EXPECT_EQ(ticks, (std::vector<std::int64_t>{60, 120, 180, 240, 840, 900}));
    EXPECT_LE(now(), 901000) << "it ends soon, and not at the next minute";
}

TEST_F(CV_StatisticsTest, ReportsAreWrittenAsOftenAsTheDestinationSays) {
    // "ReportEvery", and from the third minute on; in which minutes there are reports
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"1", "3", "1 2 5 8 "}, {"5 minutes", "", "5 "}, {"often", "-1", ""}, {"99999999999", "2", "3 5 7 "}};
    for (const auto& [every, later, expected] : rows) {
        SCOPED_TRACE(every + ", " + later);
        Reporter({{"ReportEvery", every}});
        ::DeleteFileW(folder.Path(L"r.txt").c_str());
        stats->Init();
        std::string reports;
        Run(9, [&, &later = later](int tick) {
            if (folder.Read(L"r.txt").size() > 10) reports += std::to_string(tick - 1) + " ";
            ::DeleteFileW(folder.Path(L"r.txt").c_str());
            if (tick == 3) Reporter(later.empty() ? Params() : Params{{"ReportEvery", later}});
        });
        EXPECT_EQ(reports, expected);
    }
}

TEST_F(CV_StatisticsTest, ReportReplacesTheOneBeforeBehindWhatTheFileHeldAndLeavesNoTail) {
    folder.Write(L"r.txt", "older\n");
    CorvaneLogger::LogDst* const destination = Reporter({{"ReportEvery", "7"}});
    stats->Init();
    EXPECT_EQ(TakeLog(), "300 CorvaneStats configured as a LogReporterDst reporting every 7 minutes\n");
    const auto stat = std::make_shared<SimpleEPS>("b 2");
    StatisticsAccess::Add(*stats, stat);
    stats->Register("Z", "SimpleEPS");
    stats->Register(std::string(300, 'a'), "SimpleEPS");
    stats->Report(destination);
    for (const unsigned long events : {120, 1000}) {
        stat->Add(events);
        stat->OnMinute();
    }
    StatisticsAccess::Remove(*stats, std::string(300, 'a'));
    clock.AdvanceSeconds(300);
    clock.SetBySeconds(-3600);
    TakeLog();
    stats->Report(destination);
    EXPECT_EQ(folder.Read(L"r.txt"),
              "older\nStat Collection from 03-01 12:00:00 to 03-01 11:05:00 : \n"
              "Z 0 Minutes: \nb 2 2 Minutes: 16 2.00 \n\n\n");
    EXPECT_EQ(TakeLog(), "400 Saved 2 stats lines in " + folder.Narrow("r.txt") + "\n");
    const std::string bad = folder.Narrow("none\\r.txt");
    Reporter({{"File", bad}});
    stats->Report(destination);
    EXPECT_EQ(TakeLog(), "100 Unable to save 2 stats lines in " + bad + "\n");
    stats->Init();  // which cannot open the file either
    ::CreateDirectoryW(folder.Path(L"none").c_str(), nullptr);
    folder.Write(L"none\\r.txt", "older\n");
    stats->Report(destination);
    EXPECT_EQ(folder.Read(L"none\\r.txt").substr(0, 10), "older\nStat") << "nothing is overwritten";
    EXPECT_THROW(stats->Report(nullptr), ObjectDoesNotExistException);
}

TEST_F(CV_StatisticsTest, TimesAreInTheDestinationsPatternAndCutTo20Characters) {
    const std::pair<std::string, std::string> rows[] = {
        {"%d.%m.%Y", "01.03.2026"},
        {"", ""},
        {"%A%A%A%A%A%A%A%A%A%A%A", "SundaySundaySundaySu"},
        {"0123456789012345678\xC3\xA4", "0123456789012345678"},
        {"%Q", "03-01 12:00:00"}};
    for (const auto& [pattern, text] : rows) {
        CorvaneLogger::LogDst* const destination = Reporter({{"ConversionPattern", pattern}});
        ::DeleteFileW(folder.Path(L"r.txt").c_str());
        stats->Init();
        stats->Report(destination);
        EXPECT_EQ(folder.Read(L"r.txt"), "Stat Collection from " + text + " to " + text + " : \n\n\n");
    }
    clock.SetBySeconds(-clock.kStart / detail::kTicksPerSecond);  // to before what the runtime knows
    stats->Report(Reporter({{"ConversionPattern", "%Y-%m-%d"}}));
    EXPECT_NE(folder.Read(L"r.txt").find(" to 1900-01-01 : \n"), std::string::npos);
}

TEST_F(CV_StatisticsTest, OtherDestinationsGetTheReportAsInfoMessagesOfStats) {
    CorvaneLogger::LogDst* const destination =
        Destination("CorvaneStats", "RollingFile", {{"File", folder.Narrow("o.log")}});
    const test::LogLines reports("Stats");
    stats->Init();
    stats->Register("100%s", "SimpleEPS");
    stats->Report(destination);
    EXPECT_EQ(reports.text,
              "300 Stat Collection from 03-01 12:00:00 to 03-01 12:00:00 : \n"
              "300 100%s 0 Minutes: \n300 \n\n\n");
    EXPECT_EQ(folder.Read(L"o.log"), "") << "deliberately only where the category is configured to go";
}

TEST_F(CV_StatisticsTest, WithoutADestinationReportsAreAppendedToStatisticsTxtEvery5Minutes) {
    stats->Init();
    EXPECT_EQ(
        TakeLog(),
        "300 CorvaneStats not configured in logconfig.xml, setting up defaults statistics collection\n");
    Run(10);
    const std::string start = "Stat Collection from 03-01 12:00:00 to 03-01 12:";
    EXPECT_EQ(folder.Read(L"Statistics.txt"),
              start + "05:00 : \nticker \n\n\n" + start + "10:00 : \nticker \n\n\n");
}

TEST_F(CV_StatisticsTest, CloseWritesALastReportAndEmptiesTheRegistry) {
    Reporter({{"ReportEvery", "0"}});
    stats->Init();
    EXPECT_EQ(stats->close(), 0);
    EXPECT_EQ(folder.Read(L"r.txt"), "") << "nothing to report";
    const auto stat = std::make_shared<SimpleEPS>("s");
    StatisticsAccess::Add(*stats, stat);
    stat->Add(60);
    EXPECT_EQ(stats->close(), 0);
    EXPECT_NE(folder.Read(L"r.txt").find(" : \ns 1 Minutes: 1.00 \n\n\n"), std::string::npos);
    EXPECT_NE(TakeLog().find("400 Starting transaction to Collect stats on the last minute\n"),
              std::string::npos);
    EXPECT_FALSE(stats->Find("s"));
}

TEST_F(CV_StatisticsTest, InitBesideCloseDoesNotKeepTheThreadGoing) {
    Destination("CorvaneStats", "RollingFile", {{"File", folder.Narrow("o.log")}});
    logger.addBaseLogger("Stats", CorvaneLogger::kLevelWarn);
    lines.base.SetLevel(CorvaneLogger::kLevelWarn);
    std::atomic<bool> closed{false};
    EXPECT_EQ(stats->open(), 0);
    const test::Thread thread([&] {
        for (; !closed; ::Sleep(0)) stats->Init();
    });
    stats->close();
    closed = true;
}

TEST_F(CV_StatisticsTest, RegisterFindAndReportMayRunBesideTicksAndClose) {
    CorvaneLogger::LogDst* const destination = Reporter({{"ReportEvery", "1"}});
    lines.base.SetLevel(CorvaneLogger::kLevelWarn);
    stats->Init();
    std::atomic<bool> go{true};
    std::deque<test::Thread> threads;
    for (int number = 0; number < 3; ++number)
        threads.emplace_back([&, number] {
            for (int i = 0; go; ++i) {
                const auto stat = stats->Register(std::to_string(i % 200), "SimpleEPS");
                static_cast<SimpleEPS&>(*stat).Add(1);
                if (number == 0) stats->Report(destination);
            }
        });
    for (int time = 0; time < 5; ++time) {
        EXPECT_EQ(stats->open(), 0);
        EXPECT_EQ(stats->open(), 1) << "it runs";
        while (folder.Read(L"r.txt").find("199 ") == std::string::npos) ::Sleep(0);
        EXPECT_EQ(stats->close(), 0);
    }
    go = false;
    threads.clear();
}

}  // namespace
