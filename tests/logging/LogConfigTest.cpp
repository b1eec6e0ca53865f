#include "CorvaneLogger/CV_Logger.h"
#include "foundation/Path.h"
#include "logging/RegistryAccess.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <sstream>

#include <windows.h>

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

class LogConfig : public ::testing::Test {
protected:
    LogConfig() { ::SetCurrentDirectoryW(folder_.Path().c_str()); }
    ~LogConfig() override {
        detail::RegistryAccess::Destroy();
        ::SetCurrentDirectoryW(L"C:\\");
    }

    // Makes the configuration file; seconds: when it was modified.
    void Write(const std::string& text, int seconds = 0) {
        folder_.Write(L"config.xml", text);
        const HANDLE file =
            ::CreateFileW(L"config.xml", FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        const FILETIME modified = {static_cast<DWORD>(seconds) * 10'000'000U, 31'000'000};
        EXPECT_TRUE(::SetFileTime(file, nullptr, nullptr, &modified));
        ::CloseHandle(file);
    }

    // The base logger of a category, its level, and the names of the files that get its lines.
    std::string Served(const std::string& category) {
        CV_Logger& logger = CV_Logger::TheLogger();
        const BaseLogger* const base = logger.findBaseLogger(category, false);
        const std::string text = "line " + std::to_string(++lines_) + ".";
        CV_Logger::Logger(category).Fatal(text);
        logger.flushDsts();
        std::string served = base->Name() + " " + std::to_string(base->GetLevel()) + " ";
        for (const wchar_t name : std::wstring(L"abcd"))
            if (folder_.Read(std::wstring(1, name) + L".log").find(text) != std::string::npos)
                served += static_cast<char>(name);
        return served;
    }

    // What logging had to tell, but for the lines about where files are.
    std::string Told() {
        std::istringstream all(folder_.Read(L"logger.log"));
        std::string told;
        for (std::string line; std::getline(all, line);)
            if (!line.empty() && line.find("Sending ") == line.npos && line != "<none>") told += line + '\n';
        ::DeleteFileW(L"logger.log");
        return told;
    }

    WindowsAgentCommon::test::TempFolder folder_;
    int lines_ = 0;
};

TEST_F(LogConfig, BuildsTheTreeThatTheFileDescribes) {
    const std::string ab = Appender("a") + Appender("b"), abcd = ab + Appender("c") + Appender("d");
    const std::string tooLong = Category("Code", Repeated("x", 65536)),
                      noName = "CheckConfig  Element category has no name\n";
    const struct {
        const char* name;
        std::string config, served, told;
    } rows[] = {
        {"levels and files", ab + Category("Code", Priority("debug") + Ref("b") + Ref("a")), "Code 400 ab",
         ""},
        {"to nowhere", Category("Code", ""), "Code 300 ", ""},
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
        {"too long", tooLong + ab + Category("Code", Ref("b")), "Code 300 b",
         "CheckConfig  Element category is too long\n"},
    };
    int seconds = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Write(row.config, ++seconds);
        EXPECT_TRUE(CV_Logger::TheLogger().setConfig("config.xml", folder_.Narrow()));
        EXPECT_EQ(Served("Code.X"), row.served);
        EXPECT_EQ(Told(), row.told);
        detail::RegistryAccess::Destroy();
    }
}

TEST_F(LogConfig, DestinationsAreOfTheKindThatTheirClassContainsAndGetTheirParameters) {
    const struct {
        const char *cls, *type;
    } rows[] = {{"RollingReporterConsole", "LogDstCons"},
                {"LogMonitor.RollingReporter", "LogMonitorDst"},
                {"org.RollingReporter", "LogReporterDst"},
                {"org.RollingFileAppender", "LogDstFile"}};
    CV_Logger& logger = CV_Logger::TheLogger();
    std::string text;
    for (const auto& row : rows)
        text += std::string("<appender name=\"") + row.cls + "\" class=\"" + row.cls + "\">" +
                Priority("WARN") + "<param name=\"x\" value=\"1\"/></appender>";
    Write(text);
    EXPECT_TRUE(logger.setConfig("config.xml", folder_.Narrow("sub"), "Prefix."));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.cls);
        LogDst* const destination = logger.findLogDst(row.cls);
        std::string folder, x;
        ASSERT_TRUE(destination != nullptr && destination->IsA(row.type));
        EXPECT_EQ(destination == logger.findLogDst("console"), destination->IsA("LogDstCons"));
        EXPECT_TRUE(destination->getParam("DefFolder", folder) && destination->getParam("x", x));
        EXPECT_EQ(folder + x, folder_.Narrow("sub1"));
        EXPECT_TRUE(destination->accept(kLevelWarn) && !destination->accept(kLevelInfo));
    }
    EXPECT_EQ(CV_Logger::Logger("Code").Name(), "Prefix.Code");
}

TEST_F(LogConfig, IsReadAgainAtEvery22ndPassWhenItsTimeHasChangedWhereverTheWorkingFolderIs) {
    CV_Logger& logger = CV_Logger::TheLogger();
    const auto passes = [&](int count) {
        while (count-- > 0) detail::RegistryAccess::Pass(logger);
        return Served("Code");
    };
    const std::string before = Appender("a") + Category("Code", Ref("a"));
    Write(before, 1);
    EXPECT_TRUE(logger.setConfig("config.xml", ""));
    EXPECT_EQ(Served("Code"), "Code 300 a");
    Write(Appender("b") + Category("Code", Priority("WARN") + Ref("b")), 2);
    ::SetCurrentDirectoryW(L"C:\\");
    EXPECT_EQ(passes(21), "Code 300 a");
    EXPECT_EQ(passes(1), "Code 200 b");
    ::SetCurrentDirectoryW(folder_.Path().c_str());
    Write(before, 2);
    EXPECT_EQ(passes(44), "Code 200 b") << "another text with the same time";
    EXPECT_EQ(Told(), "");
    Write(before, 3);
    EXPECT_EQ(passes(22), "Code 300 a");
    EXPECT_THAT(folder_.Read(L"logger.log"), HasSubstr("Sending a to ")) << "applied when touched";
}

TEST_F(LogConfig, PathsThatLeadNowhereAreToldAndLeaveTheTree) {
    CV_Logger& logger = CV_Logger::TheLogger();
    EXPECT_FALSE(logger.setConfig("config.xml", ""));
    EXPECT_EQ(Told(),
              "Invalid log config file: %s  config.xml\n"
              "setConfig  Unable to load log config file config.xml -- Error: 2\n");
    const std::wstring outer = folder_.Path(std::wstring(200, L'f')),
                       inner = outer + L'\\' + std::wstring(60, L'f');
    Write("");
    ASSERT_TRUE(::CreateDirectoryW(SystemPath(outer).c_str(), nullptr));
    ASSERT_TRUE(::CopyFileW(L"config.xml", SystemPath(inner).c_str(), TRUE));
    const std::string path(inner.begin(), inner.end());
    EXPECT_FALSE(logger.setConfig(path, ""));
    EXPECT_THAT(Told(), ::testing::StartsWith("Invalid path specified for log file: %s  " + path + "\n"));
    EXPECT_EQ(Served("Code"), "root 300 ");
}

TEST_F(LogConfig, HostileFilesAreToldAndLeaveLoggingAtWork) {
    const std::string name = "<category name=\"H\">", end = "</category>";
    std::string bytes;
    for (int value = 0; value < 256; ++value) bytes += static_cast<char>(value);
    const struct {
        const char* name;
        std::string config;
        bool read;
        const char* told;
    } rows[] = {
        {"empty", "", true, "No appender and no category found"},
        {"binary", Repeated(bytes, 1000), true, "No appender and no category found"},
        {"beginnings", Repeated("<appender ", 100'000), true, "No end of element appender"},
        {"50 MB", Repeated(Repeated("<appender ", 50'000), 100), false, "-- Error: 223"},
        {"tags without end", name + "\"/>" + Repeated("<appender-ref <priority value=\"", 2'000) + end, true,
         ""},
        {"names", "<category " + Repeated(" name", 13'000) + ">" + end, true, "no name"},
        {"elements", Repeated(name + end, 201), true, "Too many elements category"},
        {"references", name + Repeated(Ref("x"), 150) + end, true, "Further problems are not told"},
    };
    CV_Logger& logger = CV_Logger::TheLogger();
    Write(Appender("a") + Category("Code", Ref("a")));
    EXPECT_TRUE(logger.setConfig("config.xml", ""));
    int seconds = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Write(row.config, ++seconds);
        EXPECT_EQ(logger.CheckConfig(), row.read);
        EXPECT_THAT(Told(), AllOf(HasSubstr(row.told), Not(HasSubstr("cannot be understood"))));
        EXPECT_EQ(Served("Code"), "Code 300 a");
    }
    EXPECT_FALSE(logger.setConfig(folder_.Narrow(), ""));
    EXPECT_THAT(Told(), EndsWith(folder_.Narrow() + " -- Error: 5\n")) << "a folder";
}

TEST_F(LogConfig, FilesThatOthersWorkOnAreReadWhenTheyAreThrough) {
    CV_Logger& logger = CV_Logger::TheLogger();
    const std::string whole = std::string(50'000, ' ') + Appender("a") + Category("Code", Ref("a"));
    Write(whole, 1);
    const HANDLE held =
        ::CreateFileW(L"config.xml", GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_FALSE(logger.setConfig("config.xml", ""));
    EXPECT_THAT(Told(), HasSubstr("-- Error: 32"));
    ::CloseHandle(held);
    EXPECT_TRUE(logger.CheckConfig());
    EXPECT_EQ(Served("Code"), "Code 300 a");

    const auto rewrite = [&] {
        for (int round = 0; round < 60; ++round) {
            const std::string text = whole.substr(0, round % 3 == 0 ? whole.size() : whole.size() / 2);
            std::FILE* const file = std::fopen("config.xml", "wb");
            if (file == nullptr) continue;
            std::fwrite(text.data(), 1, text.size(), file);
            std::fclose(file);
            if (round % 5 == 0) ::DeleteFileW(L"config.xml");
        }
    };
    {
        const WindowsAgentCommon::test::Thread writer(rewrite);
        while (writer.IsAtWork()) logger.CheckConfig();
    }
    Write(whole + Category("Code", Priority("WARN") + Ref("a")), 2);
    EXPECT_TRUE(logger.CheckConfig());
    EXPECT_EQ(Served("Code"), "Code 200 a");
}

}  // namespace
}  // namespace CorvaneLogger
