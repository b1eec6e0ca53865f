#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/TestLogMonitor.h"
#include "foundation/Win32Handle.h"
#include "tests/support/FolderLink.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <ace/Manual_Event.h>
#include <gmock/gmock.h>

#include <atomic>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

using test::Thread;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// Calls a function for each message.
struct Monitor : ILogMonitor {
    explicit Monitor(std::function<void(const std::string&)> function) : work(std::move(function)) {}
    using ILogMonitor::OnMessage;
    void OnMessage(MessageLevel_t, const std::string&, const std::string& text) override { work(text); }

    const std::function<void(const std::string&)> work;
};

// Everything from TRACE on goes to all.log and to the monitor.
class LoggerFactoryTests : public ::testing::Test {
protected:
    LoggerFactoryTests() {
        std::map<std::string, std::string> params = {{"File", "all.log"}, {"Prefix", ""}};
        registry_.addBaseLogger("Code", CorvaneLogger::kLevelTrace);
        registry_.addDest("all", "RollingFile")->setup(params);
        for (const char* name : {"all", "LogMonitorAppender"}) registry_.addDstToBaseLogger("Code", name);
        registry_.FixBaseLoggers();
    }
    ~LoggerFactoryTests() override {
        factory_.InstallLogMonitor(nullptr);
        LoggerFactory::CloseLogFiles();
        ::SetCurrentDirectoryW(L"C:\\");
    }

    std::string Logged() {
        registry_.flushDsts();
        return folder_.Read(L"all.log");
    }

    const test::TempFolder folder_;
    const BOOL isInFolder_ = ::SetCurrentDirectoryW(folder_.Path().c_str());  // before logging begins
    CorvaneLogger::CV_Logger& registry_ = CorvaneLogger::CV_Logger::TheLogger();
    LoggerFactory& factory_ = GetLoggerFactory();
    const Log log_ = factory_.GetLog("Code.Test");
};

TEST_F(LoggerFactoryTests, InitializeThrowsOnlyForAConfigurationThatCannotBeFound) {
    for (const std::wstring& path : {std::wstring(L"none\\none.xml"), std::wstring(300, L'x')}) {
        const std::string text = "LoggerFactory -  Configuration problem: ";
        EXPECT_THAT([&] { factory_.Initialize(path, L"", L""); },
                    ::testing::ThrowsMessage<InitializationException>(
                        StartsWith(text + std::string(path.begin(), path.end()))));
        log_->Info("still at work");
        EXPECT_THAT(Logged(), EndsWith("INFO  Code.Test : still at work\n"));
    }
    folder_.Write(L"config.xml",
                  "<appender name=\"own\" class=\"x\"></appender>"
                  "<category name=\"Own.Code\"><appender-ref ref=\"own\"/></category>");
    ASSERT_TRUE(::CreateDirectoryW(folder_.Path(L"logs").c_str(), nullptr));
    factory_.Initialize(L"config.xml", L"logs", L"", "Own.");
    factory_.GetLog("Code.Test")->Info("before the end");
    factory_.Shutdown();
    EXPECT_THAT(folder_.Read(L"logs\\own.log"), EndsWith("INFO  Own.Code.Test : before the end\n"));
    factory_.GetLog("Code.Test")->Error("after the end");
    factory_.Initialize(L"", L"", L"");
    LoggerFactory::CloseLogFiles();
    EXPECT_THAT(folder_.Read(L"logs\\own.log"), EndsWith("ERROR Own.Code.Test : after the end\n"));
}

TEST_F(LoggerFactoryTests, AMonitorsOwnLinesAndExceptionsDoNotComeBackToIt) {
    int calls = 0;
    Monitor monitor([&](const std::string& message) {
        log_->Info("own line %d of %s", ++calls, message.c_str());
        if (message == "two") throw std::runtime_error("no way");
        if (message == "three") throw 3;
    });
    factory_.InstallLogMonitor(&monitor);
    for (const char* message : {"one", "two", "three", "four"}) log_->Info("%s", message);
    EXPECT_EQ(calls, 4);
    EXPECT_THAT(Logged(), HasSubstr("own line 4 of four\n"));
    EXPECT_THAT(folder_.Read(L"logger.log"),
                HasSubstr("OnMessage  no way\nOnMessage  The log monitor threw"));
}

TEST_F(LoggerFactoryTests, AMonitorMayWaitForAThreadThatLogsAndTwoOfItsCallsMayInstallOthers) {
    std::atomic<int> inside{0};
    ACE_Manual_Event both;
    Monitor monitor([&](const std::string& message) {
        if (message != "in") return;
        const Thread sender([&] { log_->Error("sending failed"); });
        if (++inside == 2) both.signal();
        both.wait();
        factory_.InstallLogMonitor(nullptr);
    });
    factory_.InstallLogMonitor(&monitor);
    {
        const Thread first([&] { log_->Info("in"); }), second([&] { log_->Info("in"); });
    }
    EXPECT_EQ(factory_.GetLogMonitor(), nullptr);
    EXPECT_THAT(Logged(), HasSubstr("ERROR Code.Test : sending failed\n"));
}

TEST_F(LoggerFactoryTests, AMonitorIsLeftAloneOnceAnotherIsInstalled) {
    std::atomic<int> gone[200] = {}, late{0}, calls{0};
    std::atomic<bool> ending{false};
    const auto logMany = [&] {
        while (!ending) log_->Trace("line");
    };
    const Thread threads[] = {Thread(logMany), Thread(logMany), Thread(logMany)};
    for (std::atomic<int>& isGone : gone) {
        const int before = calls;
        Monitor monitor([&](const std::string&) {
            ++calls;
            ::SwitchToThread();  // lets others run while this thread is inside
            late += isGone;
        });
        factory_.InstallLogMonitor(&monitor);
        while (calls == before) ::SwitchToThread();
        factory_.InstallLogMonitor(nullptr);
        isGone = 1;
    }
    ending = true;
    EXPECT_EQ(late, 0);
}

TEST_F(LoggerFactoryTests, CleanUpRemovesWhatEarlierVersionsLeftAndNothingElse) {
    const std::wstring patches = L"data\\archived_patch_checkpoint";
    for (const std::wstring& name :
         {std::wstring(L"logs"), std::wstring(L"data"), patches + L"_1", patches + L"_1\\sub"})
        ASSERT_TRUE(::CreateDirectoryW(folder_.Path(name).c_str(), nullptr));
    const test::TempFolder outside;
    const std::wstring old[] = {L"logs\\Corvane_Code_1.log", L"logs\\Corvane_System_.log",
                                patches + L"_1\\sub\\a"};
    const std::wstring others[] = {L"logs\\Corvane_1.log", L"logs\\Corvane_Code_1.txt", patches,
                                   L"logs\\Corvane_Device_x.log"};
    for (const std::wstring& file : old) folder_.Write(file, "x");
    for (const std::wstring& file : others) folder_.Write(file, "x");
    outside.Write(L"c", "x");
    const std::wstring target(outside.Path(), 0, outside.Path().size() - 1);
    const test::FolderLink link(folder_.Path(patches + L"_2"), target);
    ASSERT_TRUE(link.Exists());
    {
        const detail::FileHandle held(::CreateFileW(folder_.Path(others[3]).c_str(), GENERIC_READ,
                                                    FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
        factory_.Initialize(L"", L"logs", L"data");
        factory_.Initialize(L"", L"", folder_.Path(L"none"));  // waits for the first clean-up
        factory_.Initialize(L"", L"", L"");
    }
    for (const std::wstring& file : old) EXPECT_FALSE(folder_.Has(file));
    for (const std::wstring& file : others) EXPECT_TRUE(folder_.Has(file));
    EXPECT_TRUE(outside.Has(L"c") && !folder_.Has(patches + L"_1"));
    const std::string start = "DEBUG Code.LoggerFactory.Cleanup : ",
                      folders = " archived_patch_checkpoint* folders", logs = folder_.Narrow("logs"),
                      logged = Logged();
    EXPECT_THAT(logged,
                StartsWith(start + "Removing old " + logs + " log files and old " + folder_.Narrow("data") +
                           folders + "\n" + start + "Unable to delete content of " + logs +
                           "\\Corvane_Device_*.log  -- Error code 32: "));
    EXPECT_THAT(logged, HasSubstr(start + "Unable to find" + folders + " in " + folder_.Narrow("none") +
                                  " -- Error code 3: "));
}

TEST(TestLogMonitors, AnswerWhatTheyReceived) {
    TestLogMonitor monitor;
    const auto receive = [&](const char* format, ...) {
        va_list args;
        va_start(args, format);
        static_cast<ILogMonitor&>(monitor).OnMessage(kMonitorWarn, "Code", format, args);
        va_end(args);
    };
    receive("%ls %d", L"a", 1);
    monitor.OnMessage(kMonitorInfo, "Code", std::string(2000, 'x'));
    EXPECT_EQ(monitor.GetMessageCount(), 2U);
    EXPECT_TRUE(monitor.HasMessage(kMonitorWarn, "Code", "a 1"));
    EXPECT_FALSE(monitor.HasMessage(kMonitorInfo, "Code", "a 1"));
    EXPECT_TRUE(monitor.HasMessageLike(kMonitorWarn, "Code", " \\d$"));
    for (const char* pattern : {"is \\d\\d", "(", "(x+x+)+y"})
        EXPECT_FALSE(monitor.HasMessageLike(kMonitorInfo, "Code", pattern)) << pattern;
}

}  // namespace
}  // namespace WindowsAgentCommon
