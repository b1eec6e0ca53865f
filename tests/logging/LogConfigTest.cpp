#include "CorvaneLogger/CV_Logger.h"
#include "foundation/Path.h"
#include "logging/RegistryAccess.h"
#include "tests/logging/LoggingTest.h"
#include "tests/support/Thread.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

namespace CorvaneLogger {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using WindowsAgentCommon::detail::SystemPath;

std::string Repeated(const std::string& text, int times) {
    std::string all;
    while (times-- > 0) all += text;
    return all;
}

// A file destination that writes NAME.log in the working folder.
std::string Appender(const std::string& name, const std::string& more = "") {
    return "<appender name=\"" + name + "\" class=\"RollingFile\">\n<param name=\"File\" value=\"" + name +
           ".log\"/>" + more + "</appender>\n";
}

std::string Category(const std::string& name, const std::string& body) {
    return "<category name=\"" + name + "\">\n" + body + "</category>\n";
}

std::string Ref(const std::string& name) { return "<appender-ref ref=\"" + name + "\"/>\n"; }

std::string Priority(const std::string& level) { return "<priority value=\"" + level + "\"/>"; }

class LogConfig : public LoggingTest {
protected:
    ~LogConfig() override { detail::RegistryAccess::Destroy(); }

    // Makes the configuration file; seconds: when it was modified.
    void Write(const std::string& text, int seconds = 0) {
        folder.Write(L"config.xml", text);
        const HANDLE file =
            ::CreateFileW(L"config.xml", FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        const FILETIME modified = {static_cast<DWORD>(seconds) * 10'000'000U, 31'000'000};
        EXPECT_TRUE(::SetFileTime(file, nullptr, nullptr, &modified));
        ::CloseHandle(file);
    }

    static bool Set(const std::string& path, const std::string& defaultFolder = "",
                    const std::string& namePrefix = "") {
        return CV_Logger::TheLogger().setConfig(path, defaultFolder, namePrefix);
    }

    // The base logger of a category, its level, and the names of the files that get its lines.
    std::string Served(const std::string& category = "Code") {
        CV_Logger& logger = CV_Logger::TheLogger();
        const BaseLogger* const base = logger.findBaseLogger(category, false);
        const std::string text = "line " + std::to_string(++lines_) + ".";
        CV_Logger::Logger(category).Fatal(text);
        logger.flushDsts();
        std::string served = base->Name() + " " + std::to_string(base->GetLevel()) + " ";
        for (const wchar_t name : std::wstring(L"abcd"))
            if (folder.Read(std::wstring(1, name) + L".log").find(text) != std::string::npos)
                served += static_cast<char>(name);
        return served;
    }

    // What logging had to tell, but for the lines about where files are.
    std::string Told() {
        std::istringstream all(TakeSideFile());
        std::string told;
        for (std::string line; std::getline(all, line);)
            if (!line.empty() && line.find("Sending ") == line.npos && line != "<none>") told += line + '\n';
        return told;
    }

    int lines_ = 0;
};

TEST_F(LogConfig, BuildsTheTreeThatTheFileDescribes) {
    const std::string ab = Appender("a") + Appender("b"), abcd = ab + Appender("c") + Appender("d"),
                      noName = "CheckConfig  Element category has no name\n";
    // What it is about, the file, what serves and what is told.
    const std::tuple<const char*, std::string, std::string, std::string> rows[] = {
        {"levels and files", ab + Category("Code", Priority("debug") + Ref("b") + Ref("a")), "Code 400 ab",
         ""},
        {"unknown level", ab + Category("Code", Priority("LOUD") + Ref("a")), "Code 300 a",
         "getLvl  Unknown level LOUD, defaulting to INFO\n"},
        {"last of two levels", Category("Code", Priority("WARN") + Priority("TRACE")), "Code 500 ", ""},
        {"reference to nothing", ab + Category("Code", Ref("none") + Ref("a")), "Code 300 a",
         "CheckConfig  Code - Unable to find appender none\n"},
        {"four references", abcd + Category("Code", Ref("a") + Ref("b") + Ref("c") + Ref("d")),
         "Code 300 abc", "CheckConfig  Code - Too many destinations, max is 3, ignoring d\n"},
        {"white space and order of attributes",
         "<appender\r\n\tclass = \"x\" name =\"a\" >" + Appender("a").substr(40) +
             "<category\tx=\"y\" name= \"Code\"><priority \n value = \"ERROR\" x=\"\" />" + Ref("a") +
             "</category>",
         "Code 100 a", ""},
        {"single quotes and capitals", "<Appender name='a'></Appender><category name='Code'></category>",
         "root 300 ", noName + "CheckConfig  No appender and no category found\n"},
        {"no name", ab + Category("", "") + Category("Code", Ref("a")), "Code 300 a", noName},
        {"parameters cut short",
         Appender("a", "<param value=\"1\"/><param name=\"Level\" value=\"/>") + Category("Code", Ref("a")),
         "Code 300 a",
         "CheckConfig  Element param has no name\nCheckConfig  Element param Level has no value\n"},
        {"no end", Category("Code", Priority("WARN")) + "<appender name=\"a\" class=\"x\">", "Code 200 ",
         "CheckConfig  No end of element appender\n"},
        {"too long", Category("Code", Repeated("x", 65536)) + ab + Category("Code", Ref("b")), "Code 300 b",
         "CheckConfig  Element category is too long\n"}};
    for (const auto& [name, config, served, told] : rows) {
        SCOPED_TRACE(name);
        Write(config, 1);
        EXPECT_TRUE(Set("config.xml", folder.Narrow()));
        EXPECT_EQ(Served("Code.X"), served);
        EXPECT_EQ(Told(), told);
        detail::RegistryAccess::Destroy();
    }
}

TEST_F(LogConfig, DestinationsAreOfTheKindThatTheirClassContainsAndGetTheirParameters) {
    const std::pair<std::string, const char*> rows[] = {{"RollingReporterConsole", "LogDstCons"},
                                                        {"LogMonitor.RollingReporter", "LogMonitorDst"},
                                                        {"org.RollingReporter", "LogReporterDst"},
                                                        {"org.RollingFileAppender", "LogDstFile"}};
    CV_Logger& logger = CV_Logger::TheLogger();
    std::string text;
    for (const auto& [name, type] : rows)
        text += "<appender name=\"" + name + "\" class=\"" + name + "\">" + Priority("WARN") +
                "<param name=\"x\" value=\"1\"/></appender>";
    Write(text);
    EXPECT_TRUE(Set("config.xml", folder.Narrow("sub"), "My."));
    for (const auto& [name, type] : rows) {
        SCOPED_TRACE(name);
        LogDst* const destination = logger.findLogDst(name);
        std::string value, x;
        ASSERT_TRUE(destination != nullptr && destination->IsA(type));
        EXPECT_EQ(destination == logger.findLogDst("console"), destination->IsA("LogDstCons"));
        EXPECT_EQ(logger.addDest(name, "LogMonitor"), destination) << "the one there is";
        EXPECT_TRUE(destination->getParam("DEFFolder", value) && destination->getParam("x", x));
        EXPECT_EQ(value + x, folder.Narrow("sub1"));
        EXPECT_TRUE(destination->accept(kLevelWarn) && !destination->accept(kLevelInfo));
    }
    EXPECT_EQ(CV_Logger::Logger("Code").Name(), "My.Code");
    EXPECT_TRUE(logger.findLogDst("LogMonitorAppender")->IsA("LogMonitorDst"));
}

TEST_F(LogConfig, IsReadAgainAtEvery22ndPassWhenItsTimeHasChangedWhereverTheWorkingFolderIs) {
    const auto passes = [&](int count) {
        while (count-- > 0) detail::RegistryAccess::Pass(CV_Logger::TheLogger());
        return Served();
    };
    const std::string before = Appender("a") + Category("Code", Ref("a"));
    Write(before, 1);
    EXPECT_EQ(Served(), "root 300 ") << "and the handle moves";
    EXPECT_TRUE(Set("config.xml"));
    EXPECT_EQ(Served(), "Code 300 a");
    Write(Appender("b") + Category("Code", Priority("WARN") + Ref("b")), 2);
    ::SetCurrentDirectoryW(L"C:\\");
    EXPECT_EQ(passes(21), "Code 300 a");
    EXPECT_EQ(passes(1), "Code 200 b");
    ::SetCurrentDirectoryW(folder.Path().c_str());
    Write(before, 2);
    EXPECT_EQ(passes(44), "Code 200 b") << "another text with the same time";
    EXPECT_EQ(Told(), "");
    Write(before, 3);
    EXPECT_EQ(passes(22), "Code 300 a");
}

TEST_F(LogConfig, PathsThatLeadNowhereAreToldAndLeaveTheTree) {
    EXPECT_FALSE(Set("config.xml"));
    EXPECT_EQ(Told(),
              "Invalid log config file: %s  config.xml\n"
              "setConfig  Unable to load log config file config.xml -- Error: 2\n");
    const std::wstring outer = folder.Path(std::wstring(200, L'f')),
                       inner = outer + L'\\' + std::wstring(60, L'f');
    Write("");
    ASSERT_TRUE(::CreateDirectoryW(SystemPath(outer).c_str(), nullptr));
    ASSERT_TRUE(::CopyFileW(L"config.xml", SystemPath(inner).c_str(), TRUE));
    const std::string path(inner.begin(), inner.end());
    EXPECT_FALSE(Set(path));
    EXPECT_THAT(Told(), ::testing::StartsWith("Invalid path specified for log file: %s  " + path + "\n"));
    EXPECT_EQ(Served(), "root 300 ");
}

TEST_F(LogConfig, HostileFilesAreToldAndLeaveLoggingAtWork) {
    const std::string name = "<category name=\"H\">", end = "</category>";
    std::string bytes;
    for (int value = 0; value < 256; ++value) bytes += static_cast<char>(value);
    // The file, whether it is read, and what is told.
    const std::tuple<std::string, bool, const char*> rows[] = {
        {"", true, "No appender and no category found"},
        {Repeated(bytes, 1000), true, "No appender and no category found"},
        {Repeated("<appender ", 100'000), true, "No end of element appender"},
        {Repeated(Repeated("<appender ", 50'000), 100), false, "-- Error: 223"},
        {name + "\"/>" + Repeated("<appender-ref <priority value=\"", 2'000) + end, true, ""},
        {name + Repeated("<param name=\"x\" value=\"y\"/>", 2'000) + end, true, ""},
        {"<category " + Repeated(" name", 13'000) + ">" + end, true, "no name"},
        {Repeated(name + end, 201), true, "Too many elements category"},
        {name + Repeated(Ref("x"), 150) + end, true, "Further problems are not told"}};
    Write(Appender("a") + Category("Code", Ref("a")));
    EXPECT_TRUE(Set("config.xml"));
    int seconds = 0;
    for (const auto& [config, read, told] : rows) {
        SCOPED_TRACE(config.substr(0, 60));
        Write(config, ++seconds);
        EXPECT_EQ(CV_Logger::TheLogger().CheckConfig(), read);
        EXPECT_THAT(Told(), AllOf(HasSubstr(told), Not(HasSubstr("cannot be understood"))));
        EXPECT_EQ(Served(), "Code 300 a");
    }
    EXPECT_FALSE(Set(folder.Narrow()));
    EXPECT_THAT(Told(), EndsWith(folder.Narrow() + " -- Error: 5\n")) << "a folder";
}

TEST_F(LogConfig, FilesThatOthersWorkOnAreReadWhenTheyAreThrough) {
    const std::string whole = std::string(50'000, ' ') + Appender("a") + Category("Code", Ref("a"));
    Write(whole, 1);
    const HANDLE held =
        ::CreateFileW(L"config.xml", GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_FALSE(Set("config.xml"));
    EXPECT_THAT(Told(), HasSubstr("-- Error: 32"));
    ::CloseHandle(held);
    EXPECT_TRUE(CV_Logger::TheLogger().CheckConfig());
    EXPECT_EQ(Served(), "Code 300 a");
    {
        const WindowsAgentCommon::test::Thread writer([&] {
            for (int round = 0; round < 60; ++round) {
                std::ofstream("config.xml").write(whole.data(), whole.size() / (round % 3 == 0 ? 1 : 2));
                if (round % 5 == 0) ::DeleteFileW(L"config.xml");
            }
        });
        while (writer.IsAtWork()) CV_Logger::TheLogger().CheckConfig();
    }
    Write(whole + Category("Code", Priority("WARN") + Ref("a")), 2);
    EXPECT_TRUE(CV_Logger::TheLogger().CheckConfig());
    EXPECT_EQ(Served(), "Code 200 a");
}

}  // namespace
}  // namespace CorvaneLogger
