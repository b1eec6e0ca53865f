#include "CorvaneLogger/CV_Logger.h"
#include "tests/logging/LoggingTest.h"

namespace CorvaneLogger {
namespace {

class CV_LoggerTest : public LoggingTest {
protected:
    CV_Logger& registry = CV_Logger::TheLogger();
};

TEST_F(CV_LoggerTest, CategoryIsServedByItsLongestDottedPrefix) {
    const struct {
        std::string category, forNewHandles, fixed;
    } rows[] = {{"Code", "Code", "Code"},
                {"Code.", "Code", "Code"},
                {"Code.Disk", "Code", "Code"},
                {"Code.Disks", "Code.Disks", "Code.Disks"},
                {"Code.Disks2", "Code", "Code"},
                {"Code.Disks.A", "Code.Disks", "Code.Disks"},
                {"Code.Zero", "Code", "Code"},
                {"Code-A", "root", "root"},
                {"Cod", "root", "root"},
                {"code", "root", "root"},
                {"", "root", "root"},
                {"Code.Empty.A", "Code", "Code.Empty"}};
    for (const auto& row : rows) EXPECT_EQ(registry.getLogger(row.category).Base()->Name(), "root");
    registry.addBaseLogger("Code.Empty", kLevelInfo);
    for (const char* name : {"Code", "Code.Disks", "Co"}) {
        registry.addBaseLogger(name, kLevelInfo);
        EXPECT_TRUE(registry.addDstToBaseLogger(name, "console"));
    }
    for (const auto& row : rows) {
        SCOPED_TRACE(row.category);
        EXPECT_EQ(registry.findBaseLogger(row.category, true)->Name(), row.forNewHandles);
        EXPECT_EQ(registry.findBaseLogger(row.category, false)->Name(), row.fixed);
        EXPECT_EQ(registry.getLogger(row.category).Base()->Name(), "root") << "not fixed yet";
    }
    ALogger& early = registry.getLogger("Code.Empty.B");
    EXPECT_EQ(early.Base()->Name(), "Code");
    registry.FixBaseLoggers();
    EXPECT_EQ(early.Base()->Name(), "Code.Empty") << "deliberately also one that goes nowhere";
    for (const auto& row : rows) EXPECT_EQ(CV_Logger::Logger(row.category).Base()->Name(), row.fixed);
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
