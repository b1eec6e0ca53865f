#include "CorvaneLogger/ALogger.h"
#include "CorvaneLogger/CV_Logger.h"
#include "tests/logging/LoggingTest.h"

#include <stdexcept>
#include <vector>

namespace CorvaneLogger {
namespace {

using Lines = std::vector<std::string>;

// Keeps each line behind the level that it was asked about and the one that it got.
class Capture : public LogDst {
public:
    explicit Capture(const std::string& name = "") : LogDst(name, "x") {}
    bool accept(int level) override {
        asked_ = level;
        if (name() == "throws") throw std::runtime_error("no");
        return true;
    }
    void log(int level, const char* category, const char* line, unsigned size, const char* text) override {
        lines.push_back(std::to_string(asked_) + " " + std::to_string(level) + " " + std::string(line, size));
        const std::string prefix = std::string(line, 6) + category + " : ";
        if (prefix + text != line || line[size] != 0) lines.back() += " is not what its parts say";
        order += name();
    }

    static inline std::string order;
    Lines lines;

private:
    int asked_ = -1;
};

void CallAll(ALogger& log) {
    static constexpr char f[] = "%d%%";
    const std::string text = "5%";
    LogNoiseReducer e, w, i, d;
    log.Fatal(f, 5), log.Error(f, 5), log.Warn(f, 5), log.Info(f, 5);
    log.InfoX(f, 5), log.Debug(f, 5), log.Trace(f, 5);
    log.DbgTrc(false, f, 5), log.DbgTrc(true, f, 5), log.ErrorNoFeed(f, 5), log.WarnNoFeed(f, 5);
    log.Fatal(text), log.Error(text), log.Warn(text), log.Info(text);
    for (int time = 0; time < 2; ++time)
        log.Error(e, f, 5), log.Warn(w, f, 5), log.Info(i, f, 5), log.Debug(d, f, 5);
}

TEST(ALogger, CallsPassTheirThresholdWithLevelAndTag) {
    const std::pair<int, const char*> calls[] = {
        {0, "FATAL"},   {100, "ERROR"}, {200, "WARN "}, {300, "INFO "},  {350, "InfoX"},  {400, "DEBUG"},
        {500, "TRACE"}, {400, "DEBUG"}, {500, "TRC_D"}, {1124, "ERROR"}, {1224, "WARN "}, {0, "FATAL"},
        {100, "ERROR"}, {200, "WARN "}, {300, "INFO "}, {100, "ERROR"},  {200, "WARN "},  {300, "INFO "},
        {400, "DEBUG"}, {400, "DBG_E"}, {400, "DBG_W"}, {400, "DBG_I"},  {500, "TRC_D"}};
    for (const int threshold : {-1, 0, 99, 100, 199, 200, 299, 300, 349, 350, 399, 400, 499, 500, 600}) {
        SCOPED_TRACE(threshold);
        BaseLogger base("root", threshold);
        Capture capture;
        base.AddDest(&capture);
        ALogger logger("Code.Disk", &base);
        CallAll(logger);
        Lines expected;
        for (const auto& [level, tag] : calls) {
            const int asked = level == kLevelInfoX ? threshold : level;  // above 350 they need no allowance
            if (level % kNoFeed <= threshold)
                expected.push_back(std::to_string(asked) + " " + std::to_string(level) + " " + tag +
                                   " Code.Disk : 5%\n");
        }
        EXPECT_EQ(capture.lines, expected);
        EXPECT_EQ(logger.IsDebugEnabled(), threshold >= 400);
        EXPECT_EQ(logger.IsTraceEnabled(), threshold >= 500);
    }
}

TEST(BaseLogger, MessageThatDoesNotFitIsReplacedAndTheReplacementCut) {
    constexpr std::size_t kRoom = 4002 - 10;  // behind "INFO  c : "
    const auto x = [](std::size_t count) { return std::string(count, 'x'); };
    const std::string failed = "Unable to format log message: ";
    BaseLogger base("root", kLevelInfo);
    Capture capture;
    base.AddDest(&capture);
    ALogger logger("c", &base);
    Lines expected;
    for (const std::size_t size : {kRoom, kRoom + 1, std::size_t{5000}, std::size_t{0}}) {
        const bool fits = size == kRoom;
        logger.Info("%s", x(size).c_str());
        expected.push_back(fits ? x(size) : failed + "%s");
        logger.Info(x(size));
        expected.push_back(fits ? x(size) : failed + x(std::min(size, kRoom - failed.size())));
    }
    logger.Info(std::string("a\0b", 3));
    expected.emplace_back("a");
    for (std::string& message : expected) message = "300 300 INFO  c : " + message + "\n";
    EXPECT_EQ(capture.lines, expected);
    base.log(kLevelInfo, "INFO ", x(5000).c_str(), "message", nullptr);
    EXPECT_EQ(capture.lines.back().find("300 300 INFO  " + x(2002 - 9) + " : message\n"), 0U)
        << "half a line remains";
}

class BaseLoggerTest : public LoggingTest {};

TEST_F(BaseLoggerTest, DestinationsAreAskedInOrderAndNoneKeepsTheNextFromItsLine) {
    Capture a("a"), b("b"), c("c"), throwing("throws");
    BaseLogger base("root", kLevelInfo);
    ALogger logger("x", &base);
    EXPECT_FALSE(base.AddDest(nullptr));
    for (Capture* each : {&c, &throwing, &b}) EXPECT_TRUE(base.AddDest(each));
    EXPECT_FALSE(base.AddDest(&a));
    logger.Info("1");
    EXPECT_EQ(TakeSideFile(), "log  Destination throws threw an exception\n");
    LogDst *const gap[] = {&a, nullptr, &b, &c}, *const four[] = {&b, &a, &b, &c};
    for (const auto& [destinations, count] : {std::pair(gap, 1), {four, 3}}) {
        base.SetDests(destinations);
        EXPECT_EQ(base.DstCnt(), count);
        logger.Info("2");
    }
    EXPECT_EQ(Capture::order, "cbabab");
}

// a, b: a call with that format; 0: with none; l: 59 seconds pass; s: one second passes; <, >: the system's
// clock is set back or forward by an hour. Gives + for each call that may be logged, - for each that is not.
std::string Outcome(const std::string& steps) {
    WindowsAgentCommon::test::FakeClock clock;
    static constexpr char a[] = "same text", b[] = "same text";
    LogNoiseReducer reducer;
    std::string results;
    for (const char step : steps) {
        if (step == 'l' || step == 's')
            clock.AdvanceSeconds(step == 'l' ? 59 : 1);
        else if (step == '<' || step == '>')
            clock.SetBySeconds(step == '<' ? -3600 : 3600);
        else
            results += reducer.canLog(step == 'a' ? a : step == 'b' ? b : nullptr) ? '+' : '-';
    }
    return results;
}

TEST(LogNoiseReducer, RepetitionsWaitForTheHundredthOrTheEndOfThePeriod) {
    const std::string many(98, 'a'), refused(98, '-');
    EXPECT_EQ(Outcome(many + many), "+" + refused + "-+" + refused.substr(3));
    EXPECT_EQ(Outcome("a" + many + "ba"), "+" + refused + "++");
    EXPECT_EQ(Outcome("alasaa"), "+--+") << "the call that ends the period is demoted too";
    EXPECT_EQ(Outcome("alsaalasaa"), "+-+--+") << "the next period begins with the call that passed";
    EXPECT_EQ(Outcome("a<aa>>aa"), "+----");
    EXPECT_EQ(Outcome("00a0a"), "+-+--") << "no format repeats the last one";
    EXPECT_EQ(Outcome("ababaa"), "+++++-");
}

class CV_LoggerTest : public LoggingTest {
protected:
    CV_Logger& registry = CV_Logger::TheLogger();
};

TEST_F(CV_LoggerTest, CategoryIsServedByItsLongestDottedPrefix) {
    // The category, what serves new handles, and what serves it for good.
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"Code", "Code", "Code"},        {"Code.", "Code", "Code"},
        {"Code.Disk", "Code", "Code"},   {"Code.Disks", "Code.Disks", "Code.Disks"},
        {"Code.Disks2", "Code", "Code"}, {"Code.Disks.A", "Code.Disks", "Code.Disks"},
        {"Code-A", "root", "root"},      {"Cod", "root", "root"},
        {"code", "root", "root"},        {"", "root", "root"},
        {"Code.Zero", "Code", "Code"},   {"Code.Empty.A", "Code", "Code.Empty"}};
    for (const auto& row : rows) EXPECT_EQ(registry.getLogger(std::get<0>(row)).Base()->Name(), "root");
    registry.addBaseLogger("Code.Empty", kLevelInfo);
    for (const char* name : {"Code", "Code.Disks", "Co"}) {
        registry.addBaseLogger(name, kLevelInfo);
        EXPECT_TRUE(registry.addDstToBaseLogger(name, "console"));
    }
    for (const auto& [category, forNewHandles, fixed] : rows) {
        SCOPED_TRACE(category);
        EXPECT_EQ(registry.findBaseLogger(category, true)->Name(), forNewHandles);
        EXPECT_EQ(registry.findBaseLogger(category, false)->Name(), fixed);
        EXPECT_EQ(registry.getLogger(category).Base()->Name(), "root") << "not fixed yet";
    }
    ALogger& early = registry.getLogger("Code.Empty.B");
    EXPECT_EQ(early.Base()->Name(), "Code");
    registry.FixBaseLoggers();
    EXPECT_EQ(early.Base()->Name(), "Code.Empty") << "deliberately also one that goes nowhere";
    for (const auto& [category, forNewHandles, fixed] : rows)
        EXPECT_EQ(CV_Logger::Logger(category).Base()->Name(), fixed);
}

TEST_F(CV_LoggerTest, GlobalLevelReachesEveryBaseLoggerAndUnknownNamesNothing) {
    BaseLogger* const code = registry.addBaseLogger("Code", kLevelWarn);
    EXPECT_EQ(registry.addBaseLogger("Code", kLevelError), code);
    EXPECT_EQ(code->GetLevel(), kLevelError);
    CV_Logger::SetGlobalLevel(kLevelTrace, "asked for");
    CV_Logger::SetGlobalLevel(kLevelDebug, nullptr);
    EXPECT_EQ(code->GetLevel(), kLevelDebug);
    EXPECT_TRUE(CV_Logger::Logger("any").IsDebugEnabled());
    EXPECT_EQ(TakeSideFile(),
              "SetGlobalLevel  All levels set to 500: asked for\nSetGlobalLevel  All levels set to 400: \n");
    EXPECT_EQ(registry.findLogDst("nothing"), nullptr);
    EXPECT_FALSE(registry.addDstToBaseLogger("root", "nothing"));
    EXPECT_FALSE(registry.addDstToBaseLogger("nothing", "console"));
}

}  // namespace
}  // namespace CorvaneLogger
