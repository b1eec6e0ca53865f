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

TEST(ALogger, CallsPassTheirThresholdWithLevelAndTag) {
    using A = ALogger;
    using R = LogNoiseReducer;
    static constexpr char format[] = "text %d%%";
    const std::string text = "text 5%";
    const struct {
        void (*call)(A&, R& fresh, R& used, const std::string& text);
        int level;
        const char* tag;
    } rows[] = {{[](A& a, R&, R&, auto&) { a.Fatal(format, 5); }, 0, "FATAL"},
                {[](A& a, R&, R&, auto&) { a.Error(format, 5); }, 100, "ERROR"},
                {[](A& a, R&, R&, auto&) { a.Warn(format, 5); }, 200, "WARN "},
                {[](A& a, R&, R&, auto&) { a.Info(format, 5); }, 300, "INFO "},
                {[](A& a, R&, R&, auto&) { a.InfoX(format, 5); }, 350, "InfoX"},
                {[](A& a, R&, R&, auto&) { a.Debug(format, 5); }, 400, "DEBUG"},
                {[](A& a, R&, R&, auto&) { a.Trace(format, 5); }, 500, "TRACE"},
                {[](A& a, R&, R&, auto&) { a.DbgTrc(false, format, 5); }, 400, "DEBUG"},
                {[](A& a, R&, R&, auto&) { a.DbgTrc(true, format, 5); }, 500, "TRC_D"},
                {[](A& a, R&, R&, auto&) { a.ErrorNoFeed(format, 5); }, 1124, "ERROR"},
                {[](A& a, R&, R&, auto&) { a.WarnNoFeed(format, 5); }, 1224, "WARN "},
                {[](A& a, R&, R&, auto& t) { a.Fatal(t); }, 0, "FATAL"},
                {[](A& a, R&, R&, auto& t) { a.Error(t); }, 100, "ERROR"},
                {[](A& a, R&, R&, auto& t) { a.Warn(t); }, 200, "WARN "},
                {[](A& a, R&, R&, auto& t) { a.Info(t); }, 300, "INFO "},
                {[](A& a, R& fresh, R&, auto&) { a.Error(fresh, format, 5); }, 100, "ERROR"},
                {[](A& a, R& fresh, R&, auto&) { a.Warn(fresh, format, 5); }, 200, "WARN "},
                {[](A& a, R& fresh, R&, auto&) { a.Info(fresh, format, 5); }, 300, "INFO "},
                {[](A& a, R& fresh, R&, auto&) { a.Debug(fresh, format, 5); }, 400, "DEBUG"},
                {[](A& a, R&, R& used, auto&) { a.Error(used, format, 5); }, 400, "DBG_E"},
                {[](A& a, R&, R& used, auto&) { a.Warn(used, format, 5); }, 400, "DBG_W"},
                {[](A& a, R&, R& used, auto&) { a.Info(used, format, 5); }, 400, "DBG_I"},
                {[](A& a, R&, R& used, auto&) { a.Debug(used, format, 5); }, 500, "TRC_D"}};
    for (const auto& row : rows)
        for (const int above : {-1, 0, 1, 100}) {
            SCOPED_TRACE(testing::Message() << row.tag << row.level << ' ' << above);
            const int threshold = row.level % kNoFeed + above;
            BaseLogger base("root", threshold);
            Capture capture;
            base.AddDest(&capture);
            ALogger logger("Code.Disk", &base);
            LogNoiseReducer fresh, used;
            used.canLog(format);
            row.call(logger, fresh, used, text);
            // With DEBUG or TRACE on, InfoX lines need no allowance.
            const int asked = row.level == kLevelInfoX ? threshold : row.level;
            const std::size_t on = above >= 0 ? 1 : 0;
            EXPECT_EQ(capture.asked, std::vector<int>(on, asked));
            EXPECT_EQ(capture.levels, std::vector<int>(on, row.level));
            EXPECT_EQ(capture.lines, std::vector<std::string>(on, row.tag + (" Code.Disk : " + text + "\n")));
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
    EXPECT_FALSE(base.AddDest(nullptr));
    for (Capture* each : {&c, &throwing, &b}) EXPECT_TRUE(base.AddDest(each));
    EXPECT_FALSE(base.AddDest(&a));
    ALogger logger("x", &base);
    logger.Info("1");
    EXPECT_EQ(Capture::order, "cb");
    EXPECT_EQ(TakeSideFile(), "log  Destination throws threw an exception\n");

    LogDst* const gap[] = {&a, nullptr, &b, &c};
    base.SetDests(gap);
    EXPECT_EQ(base.DstCnt(), 1);
    logger.Info("2");
    LogDst* const four[] = {&b, &a, &b, &c};
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
