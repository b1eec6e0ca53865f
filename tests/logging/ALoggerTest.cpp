#include "CorvaneLogger/ALogger.h"
#include "tests/logging/LoggingTest.h"

#include <stdexcept>
#include <vector>

namespace CorvaneLogger {
namespace {

// Keeps what it is asked and given.
class Capture : public LogDst {
public:
    explicit Capture(const std::string& name = "") : LogDst(name, "x") {}
    bool accept(int level) override {
        asked.push_back(level);
        if (name() == "throws") throw std::runtime_error("no");
        return true;
    }
    void log(int level, const char* category, const char* line, unsigned size, const char* text) override {
        levels.push_back(level);
        lines.emplace_back(line, size);
        const std::string prefix = std::string(line, 6) + category + " : ";
        if (prefix + text != line || line[size] != 0) lines.back() += " is not what its parts say";
        order += name();
    }

    static inline std::string order;
    std::vector<int> asked, levels;
    std::vector<std::string> lines;
};

void CallAll(ALogger& log) {
    static constexpr char f[] = "%d%%";
    const std::string text = "5%";
    LogNoiseReducer e, w, i, d;
    log.Fatal(f, 5), log.Error(f, 5), log.Warn(f, 5), log.Info(f, 5);
    log.InfoX(f, 5), log.Debug(f, 5), log.Trace(f, 5);
    log.DbgTrc(false, f, 5), log.DbgTrc(true, f, 5), log.ErrorNoFeed(f, 5), log.WarnNoFeed(f, 5);
    log.Fatal(text), log.Error(text), log.Warn(text), log.Info(text);
    log.Error(e, f, 5), log.Warn(w, f, 5), log.Info(i, f, 5), log.Debug(d, f, 5);
    log.Error(e, f, 5), log.Warn(w, f, 5), log.Info(i, f, 5), log.Debug(d, f, 5);  // repeated
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
        std::vector<int> asked, levels;
        std::vector<std::string> lines;
        for (const auto& [level, tag] : calls) {
            if (level % kNoFeed > threshold) continue;
            asked.push_back(level == kLevelInfoX ? threshold : level);  // above 350 they need no allowance
            levels.push_back(level);
            lines.push_back(tag + std::string(" Code.Disk : 5%\n"));
        }
        EXPECT_EQ(capture.asked, asked);
        EXPECT_EQ(capture.levels, levels);
        EXPECT_EQ(capture.lines, lines);
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
    std::vector<std::string> expected;
    for (const std::size_t size : {kRoom, kRoom + 1, std::size_t{5000}, std::size_t{0}}) {
        const bool fits = size == kRoom;
        logger.Info("%s", x(size).c_str());
        expected.push_back(fits ? x(size) : failed + "%s");
        logger.Info(x(size));
        expected.push_back(fits ? x(size) : failed + x(std::min(size, kRoom - failed.size())));
    }
    logger.Info(std::string("a\0b", 3));
    expected.emplace_back("a");
    for (std::string& message : expected) message = "INFO  c : " + message + "\n";
    EXPECT_EQ(capture.lines, expected);
    base.log(kLevelInfo, "INFO ", x(5000).c_str(), "message", nullptr);
    EXPECT_EQ(capture.lines.back().find("INFO  " + x(2002 - 9) + " : message\n"), 0U)
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
    base.SetDests(gap);
    EXPECT_EQ(base.DstCnt(), 1);
    logger.Info("2");
    base.SetDests(four);
    EXPECT_EQ(base.DstCnt(), 3);
    logger.Info("3");
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

}  // namespace
}  // namespace CorvaneLogger
