#include "CorvaneLogger/CV_Logger.h"
#include "tests/logging/LoggingTest.h"

namespace CorvaneLogger {
namespace {

class CV_LoggerTest : public LoggingTest {
protected:
    CV_Logger& registry = CV_Logger::TheLogger();
};

TEST_F(CV_LoggerTest, CategoryIsServedByItsLongestDottedPrefix) {
    const std::string disks = "Code.DiskManager";
    const struct {
        std::string category, forNewHandles, fixed;
    } rows[] = {
        {"Code", "Code", "Code"},      {"Code.", "Code", "Code"},    {"Code.Disk", "Code", "Code"},
        {disks, disks, disks},         {disks + ".A", disks, disks}, {disks + "2", "Code", "Code"},
        {"Code.Zero", "Code", "Code"}, {"Code-A", "root", "root"},   {"CodeA", "root", "root"},
        {"Cod", "root", "root"},       {"code", "root", "root"},     {"Zone", "root", "root"},
        {"", "root", "root"},          {"root.A", "root", "root"},   {"Code.Empty.A", "Code", "Code.Empty"}};
    for (const auto& row : rows) EXPECT_EQ(registry.getLogger(row.category).Base()->Name(), "root");
    registry.addBaseLogger("Code.Empty", kLevelInfo);
    for (const std::string& name : {std::string("Code"), disks, std::string("Co")}) {
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
    EXPECT_EQ(&CV_Logger::Logger("Code.Empty.B"), &early);
    for (const auto& row : rows) EXPECT_EQ(registry.getLogger(row.category).Base()->Name(), row.fixed);
}

TEST_F(CV_LoggerTest, LevelNamesInAnyCaseAndOthersAsInfo) {
    const std::pair<std::string, int> rows[] = {{"FATAL", 0},   {"error", 100}, {"Warn", 200}, {"INFO", 300},
                                                {"iNFOX", 350}, {"debug", 400}, {"TRACE", 500}};
    for (const auto& row : rows) EXPECT_EQ(CV_Logger::getLvl(row.first), row.second);
    EXPECT_EQ(TakeSideFile(), "<none>");
    for (const char* name : {"", "WARN ", "400", "Infoxx"}) {
        EXPECT_EQ(CV_Logger::getLvl(name), 300);
        EXPECT_EQ(TakeSideFile(), "getLvl  Unknown level " + std::string(name) + ", defaulting to INFO\n");
    }
}

TEST_F(CV_LoggerTest, DestinationsAreOfTheClassTheirTypeContains) {
    const struct {
        const char *name, *cls, *type;
    } rows[] = {{"f", "LogDstFile", "LogDstFile"},
                {"r", "x.RollingReporterY", "LogReporterDst"},
                {"m", "x.LogMonitorY", "LogMonitorDst"},
                {"o", "", "LogDstFile"}};
    registry.addBaseLogger("b", kLevelInfo);
    for (const auto& row : rows) {
        LogDst* const destination = registry.addDest(row.name, row.cls);
        EXPECT_EQ(destination->cls(), row.cls);
        EXPECT_TRUE(destination->IsA(row.type)) << destination->type();
        EXPECT_EQ(registry.findLogDst(row.name), destination);
        EXPECT_EQ(registry.addDest(row.name, "Console"), destination) << "the one there is";
        EXPECT_EQ(registry.addDstToBaseLogger("b", row.name), *row.name != 'o') << "three at most";
    }
    EXPECT_EQ(registry.addDest("screen", "my.ConsoleAppender"), registry.findLogDst("console"));
    EXPECT_TRUE(registry.findLogDst("LogMonitorAppender")->IsA("LogMonitorDst"));
    EXPECT_EQ(registry.findLogDst("nothing"), nullptr);
    EXPECT_FALSE(registry.addDstToBaseLogger("root", "nothing"));
    EXPECT_FALSE(registry.addDstToBaseLogger("nothing", "f"));
}

TEST_F(CV_LoggerTest, GlobalLevelReachesEveryBaseLogger) {
    BaseLogger* const code = registry.addBaseLogger("Code", kLevelWarn);
    EXPECT_EQ(registry.addBaseLogger("Code", kLevelError), code);
    EXPECT_EQ(code->GetLevel(), kLevelError);
    CV_Logger::SetGlobalLevel(kLevelTrace, "asked for");
    EXPECT_EQ(code->GetLevel(), kLevelTrace);
    EXPECT_TRUE(CV_Logger::Logger("any").IsTraceEnabled());
    CV_Logger::SetGlobalLevel(0, nullptr);
    EXPECT_EQ(TakeSideFile(),
              "SetGlobalLevel  All levels set to 500: asked for\nSetGlobalLevel  All levels set to 0: \n");
}

}  // namespace
}  // namespace CorvaneLogger
