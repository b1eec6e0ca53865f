#include "WindowsAgentCommon/TOLVLogMonitor.h"

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
    std::string Failure() {
        try {
            monitor.Initialize({{"ConfigurationServer", "h"}});
        } catch (const InitializationException& exception) {
            return exception.what();
        }
        return "none";
    }

    LogLines lines{"Code.TOLVLogMonitor"};
    TOLVLogMonitor monitor;
};

TEST_F(TOLVLogMonitorTest, GivesTheSenderItsSettings) {
    const std::map<std::string, std::string> defaults = {{"Type", "UDP"},
                                                         {"TargetAddress", "h"},
                                                         {"TargetPort", "514"},
                                                         {"QueueLowWaterMark", "999500"},
                                                         {"QueueHighWaterMark", "1000000"},
                                                         {"MaxPayloadSize", "1020"},
                                                         {"PayloadBuilderType", "TOLVPayloadBuilder"}};
    const struct {
        std::string configurationServer;
        Settings settings, differ;
        int warnsOf = 0;
    } rows[] = {
        {"h", {{"StatusServer", ""}}, {}},
        {" h:99 ", {}, {{"TargetPort", "99"}}},
        {"[::1]:99", {}, {{"TargetAddress", "::1"}, {"TargetPort", "99"}}},
        {"fe80::1", {}, {{"TargetAddress", "fe80::1"}}},
        {"[::1", {}, {{"TargetAddress", "::1"}}},
        {"[::1]99", {}, {{"TargetAddress", "::1"}}, 514},
        {"h:65536", {}, {}, 514},
        {"h:9x", {{"TargetPort", "7"}}, {{"TargetPort", "7"}}, 7},
        {"h:65535", {{"TargetPort", "65536"}}, {{"TargetPort", "65535"}}, 65535},
        {"c:1", {{"StatusServer", "h:2"}}, {{"TargetPort", "2"}}},
        {"s:2", {{"TargetAddress", "t"}, {"TargetPort", "3"}}, {{"TargetAddress", "t"}, {"TargetPort", "3"}}},
        {"h", {{"LogMonitor.Socket.Type", "Tunnel"}}, {{"Type", "TCP"}, {"MaxPayloadSize", "32000"}}},
        {"h", {{"LogMonitor.Socket.Type", "stream"}}, {}},
        {"h", {{"LogMonitor.Socket.Framing", "x"}, {"xLogMonitor.Socket.A", "1"}}, {{"Framing", "x"}}},
        {"h",
         {{"QueueLowWaterMark", "1"}, {"QueueHighWaterMark", "2"}, {"PayloadBuilderType", "B"}},
         {{"QueueLowWaterMark", "1"}, {"QueueHighWaterMark", "2"}, {"PayloadBuilderType", "B"}}},
        {"h", {{"MaxPayloadSize", "3"}}, {{"MaxPayloadSize", "3"}}},
        {"h", {{"QueueLowWaterMark", "0"}, {"QueueHighWaterMark", "-1"}, {"MaxPayloadSize", "x"}}, {}},
    };
    FakeConnections connections;
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        Settings settings = row.settings;
        settings.emplace("ConfigurationServer", row.configurationServer);
        std::map<std::string, std::string> expected = defaults;
        for (const auto& [name, value] : row.differ) expected[name] = value;
        lines.text.clear();
        monitor.Initialize(settings);
        EXPECT_EQ(expected, connections.settings);
        const std::string warning = "200 The port of the status server is not in 1 to 65535; taking " +
                                    std::to_string(row.warnsOf) + "\n";
        EXPECT_EQ(row.warnsOf != 0, lines.text.find(warning) != std::string::npos) << lines.text;
    }
    lines.text.clear();
    monitor.Initialize({{"LogMonitor.Socket.Type", "t"}, {"StatusServer", "h:2"}});
    EXPECT_EQ("400 SocketType:TCP StatusServer:h:2\n", lines.text);
}

TEST_F(TOLVLogMonitorTest, SendsALineOfTheLevelThatIsAskedForOrAboveAsOneEvent) {
    FakeConnections connections;
    wchar_t name[256];
    DWORD size = 256;
    ASSERT_TRUE(::GetComputerNameExW(ComputerNameDnsHostname, name, &size));
    const std::string host(name, name + size);
    std::string os;
    GetWindowsVersionString(os);
    const std::pair<const char*, int> rows[] = {{nullptr, 4}, {"1", 1}, {"6", 6},   {"7", 7},
                                                {"0", 4},     {"", 4},  {"WARN", 4}};
    for (const auto& [setting, lowest] : rows) {
        SCOPED_TRACE(setting ? setting : "none");
        Settings settings = {{"ConfigurationServer", "h:99"}, {"ApplicationIdentifier", "A"}};
        if (setting) settings.emplace("LogMonitor.Level", setting);
        monitor.Initialize(settings);
        for (int level = kMonitorTrace; level <= kMonitorFatal; ++level) {
            connections.sender->sent.clear();
            std::string before, after;
            IPayloadBuilder::FormatSyslogHeaderString(before, 13, ACE_OS::gettimeofday(), host);
            monitor.OnMessage(static_cast<MessageLevel_t>(level), "Code.X", "100%s\tdone");
            IPayloadBuilder::FormatSyslogHeaderString(after, 13, ACE_OS::gettimeofday(), host);
            ASSERT_EQ(level >= lowest ? 1U : 0U, connections.sender->sent.size()) << level;
            const std::string event =
                "TOLV:1.0|Velmora|Corvane|7.2.8.145|" + std::to_string(level - 1) + "|src=" + host +
                "\tos=" + os + "\tdst=h\tsev=" + std::to_string(level) + "\tlog=Code.XA\tmsg=100%s\tdone";
            for (const std::string& sent : connections.sender->sent)
                EXPECT_THAT(sent, ::testing::AnyOf(before + event, after + event));
        }
    }
}

TEST_F(TOLVLogMonitorTest, StaysInactiveWithoutAServer) {
    for (const char* const server : {"", " ", ":514", "[]:514"}) {
        lines.text.clear();
        monitor.Initialize({{"ConfigurationServer", server}});  // asks for no connection factory
        EXPECT_THAT(lines.text, ::testing::EndsWith("300 Remote logging disabled due to a target server not "
                                                    "being specified.\n"));
        monitor.OnMessage(kMonitorFatal, "Code", "m");
    }
}

TEST_F(TOLVLogMonitorTest, ThrowsWhenItGetsNoSender) {
    const std::string noFactory =
        "Could not access the connection factory. Either the configuration is invalid or we were started up "
        "improperly.";
    EXPECT_EQ(noFactory, Failure());
    {
        const FakeComponentFactory components;
        EXPECT_EQ(noFactory, Failure());
    }
    FakeConnections connections;
    const auto sender = std::exchange(connections.sender, nullptr);
    EXPECT_EQ("The connection factory makes no sender of these settings", Failure());
    connections.sender = sender;
    EXPECT_EQ("none", Failure());
    sender->openResult = ERROR_ACCESS_DENIED;
    EXPECT_THAT(Failure(), ::testing::StartsWith("The sender cannot be opened: Error code 5: "));
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
    for (int time = 0; time < 2; ++time) monitor.Shutdown();
    EXPECT_EQ(1, connections.sender->closed);
    monitor.OnMessage(kMonitorFatal, "Code", "m");
    EXPECT_TRUE(connections.sender->sent.empty());
    for (TOLVLogMonitor* const each : {&copy, &assigned}) each->OnMessage(kMonitorWarn, "Code", "m");
    EXPECT_EQ(2U, connections.sender->sent.size());
}

}  // namespace
