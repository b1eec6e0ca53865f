#include "WindowsAgentCommon/TOLVLogMonitor.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/IPayloadBuilder.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "tests/support/FakeConnections.h"
#include "tests/support/LogLines.h"

#include <ace/OS_NS_sys_time.h>
#include <gmock/gmock.h>

#include <functional>
#include <utility>

#include <windows.h>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

using Settings = std::multimap<std::string, std::string>;

struct TOLVLogMonitorTest : ::testing::Test {
    TOLVLogMonitorTest() { CorvaneLogger::CV_Logger::Logger("Code.TOLVLogMonitor").Reset(&lines.base); }
    ~TOLVLogMonitorTest() override { CorvaneLogger::CV_Logger::TheLogger().FixBaseLoggers(); }

    std::string Failure(const Settings& settings) {
        try {
            monitor.Initialize(settings);
        } catch (const InitializationException& exception) {
            return exception.what();
        }
        return "none";
    }

    LogLines lines;
    TOLVLogMonitor monitor;
};

TEST_F(TOLVLogMonitorTest, GivesTheSenderItsSettings) {
    const std::map<std::string, std::string> defaults = {
        {"Type", "UDP"},
        {"TargetAddress", "h"},
        {"TargetPort", "514"},
        {"QueueLowWaterMark", "999500"},
        {"QueueHighWaterMark", "1000000"},
        {"MaxPayloadSize", "1020"},
        {"PayloadBuilderType", "TOLVPayloadBuilder"},
    };
    const struct {
        Settings settings;  // without a server: the configuration server is h
        Settings differ;
        int warnsOf = 0;
    } rows[] = {
        {{}, {}},
        {{{"ConfigurationServer", " h:99 "}}, {{"TargetPort", "99"}}},
        {{{"ConfigurationServer", "[::1]:99"}}, {{"TargetAddress", "::1"}, {"TargetPort", "99"}}},
        {{{"ConfigurationServer", "[::1]"}}, {{"TargetAddress", "::1"}}},
        {{{"ConfigurationServer", "fe80::1"}}, {{"TargetAddress", "fe80::1"}}},
        {{{"ConfigurationServer", "[::1"}}, {{"TargetAddress", "::1"}}},
        {{{"ConfigurationServer", "[::1]99"}}, {{"TargetAddress", "::1"}}, 514},
        {{{"ConfigurationServer", "h:65536"}}, {}, 514},
        {{{"ConfigurationServer", "h:9x"}, {"TargetPort", "7"}}, {{"TargetPort", "7"}}, 7},
        {{{"ConfigurationServer", "h:65535"}, {"TargetPort", "65536"}}, {{"TargetPort", "65535"}}, 65535},
        {{{"ConfigurationServer", "h"}, {"StatusServer", ""}}, {}},
        {{{"ConfigurationServer", "c:1"}, {"StatusServer", "h:2"}}, {{"TargetPort", "2"}}},
        {{{"StatusServer", "s:2"}, {"TargetAddress", "t"}, {"TargetPort", "3"}},
         {{"TargetAddress", "t"}, {"TargetPort", "3"}}},
        {{{"LogMonitor.Socket.Type", "tcp"}}, {{"Type", "TCP"}, {"MaxPayloadSize", "32000"}}},
        {{{"LogMonitor.Socket.Type", "Tunnel"}}, {{"Type", "TCP"}, {"MaxPayloadSize", "32000"}}},
        {{{"LogMonitor.Socket.Type", "stream"}}, {}},
        {{{"LogMonitor.Socket.Framing", "octets"}, {"xLogMonitor.Socket.A", "1"}}, {{"Framing", "octets"}}},
        {{{"QueueLowWaterMark", "1"}, {"QueueHighWaterMark", "2"}, {"MaxPayloadSize", "3"}},
         {{"QueueLowWaterMark", "1"}, {"QueueHighWaterMark", "2"}, {"MaxPayloadSize", "3"}}},
        {{{"QueueLowWaterMark", "0"}, {"QueueHighWaterMark", "-1"}, {"MaxPayloadSize", "x"}}, {}},
        {{{"PayloadBuilderType", "B"}}, {{"PayloadBuilderType", "B"}}},
    };
    FakeConnections connections;
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        Settings settings = row.settings;
        if (settings.count("ConfigurationServer") + settings.count("StatusServer") == 0)
            settings.emplace("ConfigurationServer", "h");
        std::map<std::string, std::string> expected = defaults;
        for (const auto& [name, value] : row.differ) expected[name] = value;
        lines.text.clear();
        monitor.Initialize(settings);
        EXPECT_EQ(expected, connections.settings);
        const auto warning =
            lines.text.find("200 The port of the status server is not in 1 to 65535; taking " +
                            std::to_string(row.warnsOf) + "\n");
        EXPECT_EQ(row.warnsOf != 0, warning != std::string::npos) << lines.text;
    }
    lines.text.clear();
    monitor.Initialize({{"LogMonitor.Socket.Type", "t"}, {"StatusServer", "h:2"}});
    EXPECT_EQ("400 SocketType:TCP StatusServer:h:2\n", lines.text);
}

TEST_F(TOLVLogMonitorTest, SendsALineAsOneEvent) {
    FakeConnections connections;
    monitor.Initialize({{"ConfigurationServer", "h:99"}, {"ApplicationIdentifier", "A"}});
    wchar_t name[256];
    DWORD size = 256;
    ASSERT_TRUE(::GetComputerNameExW(ComputerNameDnsHostname, name, &size));
    const std::string host(name, name + size);
    std::string before, after, os;
    IPayloadBuilder::FormatSyslogHeaderString(before, 13, ACE_OS::gettimeofday(), host);
    monitor.OnMessage(kMonitorWarn, "Code.X", "100%s\tdone");
    IPayloadBuilder::FormatSyslogHeaderString(after, 13, ACE_OS::gettimeofday(), host);
    GetWindowsVersionString(os);
    const std::string event = "TOLV:1.0|Velmora|Corvane|7.2.8.145|3|src=" + host + "\tos=" + os +
                              "\tdst=h\tsev=4\tlog=Code.XA\tmsg=100%s\tdone";
    ASSERT_EQ(1U, connections.sender->sent.size());
    EXPECT_THAT(connections.sender->sent[0], ::testing::AnyOf(before + event, after + event));
}

TEST_F(TOLVLogMonitorTest, SendsTheLevelThatIsAskedForAndAbove) {
    FakeConnections connections;
    const std::tuple<const char*, int> rows[] = {{nullptr, 4}, {"1", 1}, {"6", 6},   {"7", 7},
                                                 {"0", 4},     {"", 4},  {"WARN", 4}};
    for (const auto& [setting, lowest] : rows) {
        SCOPED_TRACE(lowest);
        Settings settings = {{"ConfigurationServer", "h"}};
        if (setting != nullptr) settings.emplace("LogMonitor.Level", setting);
        monitor.Initialize(settings);
        for (int level = kMonitorTrace; level <= kMonitorFatal; ++level) {
            connections.sender->sent.clear();
            monitor.OnMessage(static_cast<MessageLevel_t>(level), "Code", "m");
            ASSERT_EQ(level >= lowest ? 1U : 0U, connections.sender->sent.size()) << level;
            if (level < lowest) continue;
            const std::string& event = connections.sender->sent[0];
            EXPECT_NE(std::string::npos, event.find("|" + std::to_string(level - 1) + "|src="));
            EXPECT_NE(std::string::npos, event.find("\tsev=" + std::to_string(level) + "\tlog=Code\tmsg=m"));
        }
    }
}

TEST_F(TOLVLogMonitorTest, StaysInactiveWithoutAServer) {
    for (const char* const server : {"", " ", ":514", "[]:514"}) {
        lines.text.clear();
        monitor.Initialize({{"ConfigurationServer", server}});  // asks for no connection factory
        EXPECT_THAT(
            lines.text,
            ::testing::EndsWith("300 Remote logging disabled due to a target server not being specified.\n"));
        monitor.OnMessage(kMonitorFatal, "Code", "m");
    }
}

TEST_F(TOLVLogMonitorTest, ThrowsWhenItGetsNoSender) {
    const Settings settings = {{"ConfigurationServer", "h"}};
    const std::string noFactory =
        "Could not access the connection factory. Either the configuration is invalid or we were started up "
        "improperly.";
    EXPECT_EQ(noFactory, Failure(settings));
    {
        const FakeComponentFactory components;
        EXPECT_EQ(noFactory, Failure(settings));
    }
    FakeConnections connections;
    const auto sender = connections.sender;
    EXPECT_EQ("none", Failure(settings));
    connections.sender = nullptr;
    EXPECT_EQ("The connection factory makes no sender of these settings", Failure(settings));
    connections.sender = sender;
    sender->openResult = ERROR_ACCESS_DENIED;
    EXPECT_THAT(Failure(settings), ::testing::StartsWith("The sender cannot be opened: Error code 5: "));
    monitor.OnMessage(kMonitorFatal, "Code", "m");
    EXPECT_TRUE(sender->sent.empty());
}

TEST_F(TOLVLogMonitorTest, ClosesTheSenderOfAnInitializeMeanwhile) {
    struct Meanwhile : FakeSender {
        explicit Meanwhile(std::function<void()> run) : run_(std::move(run)) {}
        unsigned long Open() override {
            run_();
            return 0;
        }
        std::function<void()> run_;
    };
    FakeConnections connections;
    const Settings settings = {{"ConfigurationServer", "h"}};
    const auto first = connections.sender;
    connections.sender = std::make_shared<Meanwhile>([&] {
        const auto last = std::exchange(connections.sender, first);
        monitor.Initialize(settings);  // as another thread might
        connections.sender = last;
    });
    monitor.Initialize(settings);
    monitor.OnMessage(kMonitorFatal, "Code", "m");
    EXPECT_EQ(1, first->closed);
    EXPECT_EQ(0U, first->sent.size());
    EXPECT_EQ(1U, connections.sender->sent.size() - static_cast<unsigned>(connections.sender->closed));
}

TEST_F(TOLVLogMonitorTest, DropsLinesAfterShutdown) {
    FakeConnections connections;
    monitor.OnMessage(kMonitorFatal, "Code", "not initialised");
    monitor.Initialize({{"ConfigurationServer", "h"}});
    TOLVLogMonitor copy(monitor), assigned;
    assigned = copy;
    monitor.Shutdown();
    monitor.Shutdown();
    EXPECT_EQ(1, connections.sender->closed);
    monitor.OnMessage(kMonitorFatal, "Code", "m");
    EXPECT_TRUE(connections.sender->sent.empty());
    for (TOLVLogMonitor* const each : {&copy, &assigned}) each->OnMessage(kMonitorWarn, "Code", "m");
    EXPECT_EQ(2U, connections.sender->sent.size());
}

}  // namespace
