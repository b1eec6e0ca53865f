#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "agent/net/Backoff.h"
#include "agent/net/ConnectionFactory.h"
#include "agent/net/LineQueue.h"
#include "agent/net/Sockets.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/Handle.h"
#include "tests/agent/Fakes.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/LogLines.h"

#include <gtest/gtest.h>

#include <atomic>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

using namespace CorvaneAgent;
using namespace WindowsAgentCommon;
using CorvaneAgent::test::Text;
using CorvaneAgent::test::Until;

namespace {

/// The agent's steady time, which stands still unless the test moves it.
struct SteadyClock {
    SteadyClock() {
        ReplaceSteadyClock([]() noexcept { return wasRead = true, now.load(); });
    }
    ~SteadyClock() { ReplaceSteadyClock(nullptr); }
    /// Lets 3 seconds pass if the sender has looked at the clock since.
    void Tick() {
        if (wasRead.exchange(false)) now += 3000;
    }
    static inline std::atomic<std::int64_t> now{1'000'000};
    static inline std::atomic<bool> wasRead{false};
};

/// A name service that answers no question while it lives; then there is no such name.
struct SilentNameService {
    SilentNameService() { asked = 0; }
    ~SilentNameService() {
        ::SetEvent(over.get());
        ::WaitForSingleObject(thread.get(), INFINITE);  // it has ended before the program may
    }
    static int WSAAPI LookUp(const char* host, const char* port, const addrinfo* hints, addrinfo** out) {
        const auto real = reinterpret_cast<decltype(&LookUp)>(
            reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ws2_32"), "getaddrinfo")));
        if (hints->ai_flags & AI_NUMERICHOST) return real(host, port, hints, out);
        thread.reset(::OpenThread(SYNCHRONIZE, FALSE, ::GetCurrentThreadId()));
        ++asked;
        ::WaitForSingleObject(over.get(), INFINITE);
        return WSAHOST_NOT_FOUND;
    }
    static bool IsAsking() { return asked > 0 && ::WaitForSingleObject(thread.get(), 0) == WAIT_TIMEOUT; }
    static inline std::atomic<int> asked{0};
    static inline Handle thread;  // that asks
    static inline const Handle over{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const WindowsAgentCommon::test::ImportPatch<decltype(LookUp)> patch{nullptr, "getaddrinfo", &LookUp};
};

int WSAAPI NoWinsock(WORD, WSADATA*) { return WSASYSNOTREADY; }

/// A receiver on a port of its own, which stays its own when it is started again: the system gives none of
/// its kind to who asks for any.
struct Server {
    Server() : port(static_cast<unsigned short>(10'000 + ::GetTickCount() % 20'000)) {
        for (; !Start(); ++port) listener.Close();
    }
    bool Start() { return listener.Bind("127.0.0.1", port) == 0 && listener.Listen(5) == 0; }
    void Accept() {
        ASSERT_EQ(0U, listener.WaitReadable(20'000));
        ASSERT_EQ(0U, listener.Accept(peer));
    }
    /// At least size bytes, or what came before the end.
    std::string Read(std::size_t size) {
        std::string text;
        char part[65536];
        std::size_t got = 1;
        while (text.size() < size && got > 0 && peer->WaitReadable(20'000) == 0 &&
               peer->Receive(part, sizeof part, got) == 0)
            text.append(part, got);
        return text;
    }
    /// Whether what is left ends in a reset: it looks the same, but then nothing can be sent back.
    bool EndsInReset() {
        std::size_t sent = 0;
        Read(SIZE_MAX);
        return peer->Send("x", 1, sent) != 0;
    }
    void Reset() {
        const linger hard = {1, 0};
        ::setsockopt(peer->GetHandle(), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&hard),
                     sizeof hard);
        peer->Close();
    }

    TCPSocket listener;
    unsigned short port;
    std::unique_ptr<ITCPSocket> peer;
};

/// A datagram receiver on a port of its own.
struct Receiver {
    Receiver() {
        std::string address;
        EXPECT_EQ(0U, socket.Bind("127.0.0.1", 0));
        EXPECT_EQ(0U, socket.GetLocalAddress(address, port));
    }
    UDPSocket socket;
    unsigned short port = 0;
};

using Settings = std::vector<std::pair<std::string, std::string>>;

struct SenderTest : testing::Test {
    SenderTest() { factory.Initialize(EnvironmentBlock()); }

    static EnvironmentBlock Block(const std::string& type, unsigned short port, const Settings& more = {}) {
        EnvironmentBlock block;
        const Settings common = {{"Type", type},
                                 {"TargetAddress", "127.0.0.1"},
                                 {"TargetPort", std::to_string(port)},
                                 {"BackoffMin", "1"},
                                 {"BackoffMax", "2"}};
        for (const Settings& settings : {common, more})
            for (const auto& [name, value] : settings) block.SetStringValue(name, value);
        return block;
    }
    void Make(const std::string& type, unsigned short port, const Settings& more = {}) {
        const EnvironmentBlock block = Block(type, port, more);
        const std::string host = Text(block, "TargetAddress");
        const std::string target = MakeTarget(type == "UDP" ? "udp" : "tcp", host, port);
        GetLoggerFactory().GetLog("Agent.Sender." + target)->Reset(&log.base);
        ASSERT_TRUE(factory.CreateSender(block, sender));
        ASSERT_EQ(target, sender->GetTarget());
        ASSERT_EQ(0U, sender->Open());
    }
    bool Send(const std::string& text) { return sender->Send(text.data(), text.size()); }
    std::string Status(const std::string& name) {
        EnvironmentBlock status;
        sender->GetStatus(status);
        return Text(status, name);
    }

    WindowsAgentCommon::test::LogLines log;
    ConnectionFactory factory;
    std::shared_ptr<ISender> sender;
};

// Levels with the no-feed flag, which every line must have.
const std::string kWarn = std::to_string(CorvaneLogger::kLevelWarn + CorvaneLogger::kNoFeed) + " ";
const std::string kError = std::to_string(CorvaneLogger::kLevelError + CorvaneLogger::kNoFeed) + " ";

std::string Lines(int first, int end) {
    std::string text;
    for (int i = first; i < end; ++i) text += "line " + std::to_string(i) + "\n";
    return text;
}

}  // namespace

TEST_F(SenderTest, StreamsAreFramed) {
    const std::string big(70'000, 'y');
    const struct {
        const char *type, *host, *framing;
        std::vector<std::string> events;
        std::string expected;
    } rows[] = {
        {"TCP", "localhost", "LineFeed", {"one", "two"}, "one\ntwo\n"},
        {"t", "127.0.0.1", "LineFeed", {"a\r\nb", "\n", "c\r", ""}, "a\\r\\nb\n\\n\nc\\r\n"},
        {"Tcp", "127.0.0.1", "OctetCounting", {"one", "two\n<13>"}, "3 one8 two\n<13>"},
        {"TCP", "127.0.0.1", "OctetCounting", {big, "\xC3\xA4"}, "70000 " + big + "2 \xC3\xA4"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected.substr(0, 30));
        Server server;
        Make(row.type, server.port,
             {{"TargetAddress", row.host}, {"Framing", row.framing}, {"MaxPayloadSize", "4"}});
        for (const std::string& event : row.events) EXPECT_TRUE(Send(event));
        server.Accept();
        EXPECT_EQ(row.expected, server.Read(row.expected.size()));
        EXPECT_TRUE(Until([&] { return sender->GetQueuedBytes() == 0; }));
        EXPECT_EQ(std::to_string(row.expected.size()), Status("SentBytes"));
        EXPECT_EQ("0", Status("Cut"));
    }
}

TEST_F(SenderTest, DatagramsAreCutAtCharacters) {
    const struct {
        std::string event, expected;
    } rows[] = {
        {"12345678", "12345678"},
        {"123456789", "12345678"},
        {"1234567\xC3\xA4", "1234567"},  // two bytes
        {"123456\xC3\xA4z", "123456\xC3\xA4"},
        {"123456\xE2\x82\xAC", "123456"},    // three
        {"12345\xF0\x9F\x98\x80", "12345"},  // four
        {"\xF0\x9F\x98\x80\xF0\x9F\x98\x80!", "\xF0\x9F\x98\x80\xF0\x9F\x98\x80"},
        {std::string(9, '\x80'), std::string(8, '\x80')},  // no text at all
    };
    Receiver receiver;
    Make("UDP", receiver.port, {{"MaxPayloadSize", "8"}});
    for (const auto& row : rows) {
        EXPECT_TRUE(Send(row.event));
        char buffer[100];
        std::size_t got = 0;
        ASSERT_EQ(0U, receiver.socket.WaitReadable(20'000));
        EXPECT_EQ(0U, receiver.socket.Receive(buffer, sizeof buffer, got));
        EXPECT_EQ(row.expected, std::string(buffer, got));
    }
    sender->Close(20'000);
    EXPECT_EQ("7", Status("Cut"));
    EXPECT_EQ("8", Status("Sent"));
}

TEST_F(SenderTest, DatagramsThatNobodyTakesAreNoLoss) {
    Receiver receiver;
    receiver.socket.Close();
    Make("UDP", receiver.port);
    for (int i = 0; i < 1000; ++i) EXPECT_TRUE(Send("nobody"));
    sender->Close(20'000);
    EXPECT_EQ("1000", Status("Sent"));
    EXPECT_EQ(kWarn + "Connected\n", log.text);
}

TEST_F(SenderTest, AServerThatComesBackGetsEverythingInOrder) {
    Server server;
    Make("TCP", server.port);
    for (int i = 0; i < 500; ++i) EXPECT_TRUE(Send("line " + std::to_string(i)));
    server.Accept();
    EXPECT_EQ(Lines(0, 500), server.Read(Lines(0, 500).size()));
    DWORD flags = 1;
    EXPECT_TRUE(::GetHandleInformation(reinterpret_cast<HANDLE>(server.peer->GetHandle()), &flags));
    EXPECT_EQ(0U, flags & HANDLE_FLAG_INHERIT);
    server.listener.Close();
    server.peer->Close();
    EXPECT_TRUE(Until([this] { return sender->GetLossCount() == 1; }));  // noticed though idle
    for (int i = 500; i < 1000; ++i) EXPECT_TRUE(Send("line " + std::to_string(i)));
    EXPECT_TRUE(Until([this] { return std::stoi(Status("ConnectFailures")) >= 3; }));
    EXPECT_TRUE(server.Start());
    server.Accept();
    EXPECT_EQ(Lines(500, 1000), server.Read(Lines(500, 1000).size()));
    server.peer->Close();
    sender->Close(20'000);
    EXPECT_EQ("1000", Status("Sent"));
    // One line for each change of state, not for each try.
    std::string refused = "Error code 10061: ";
    GetLastErrorText(WSAECONNREFUSED, refused);
    const std::string text = log.text.substr(0, log.text.rfind(kWarn + "Connected") + kWarn.size() + 9);
    EXPECT_EQ(kWarn + "Connected\n" + kWarn + "Connection lost: the other side closed it\n" + kError +
                  "Cannot connect, trying again: " + refused + "\n" + kWarn + "Connected",
              text);
}

TEST_F(SenderTest, ALineCutShortByALossIsSentAgainFromItsBeginning) {
    const std::string big(8 << 20, 'b');  // more than the system buffers
    Server server;
    Make("TCP", server.port);
    EXPECT_TRUE(Send(big));  // however large: the queue is empty
    server.Accept();
    EXPECT_LT(server.Read(100'000).size(), big.size());
    server.Reset();
    server.Accept();
    EXPECT_EQ(big + "\n", server.Read(big.size() + 1));
    EXPECT_EQ(1U, sender->GetLossCount());
}

TEST_F(SenderTest, AStreamEndsInOrderBehindWholeEventsOnly) {
    SteadyClock clock;
    const std::string big(8 << 20, 'b');  // more than the system buffers
    const struct {
        std::string event;
        bool waits, reset;
    } rows[] = {{"whole", false, false}, {big, false, true}, {big, true, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.event.size() << row.waits);
        Server server;
        Make("TCP", server.port);
        EXPECT_TRUE(Send(row.event));
        server.Accept();
        EXPECT_TRUE(Until([this] { return Status("SentBytes") != "0"; }));
        if (!row.waits) sender->Close(0);
        EXPECT_TRUE(Until([&] { return clock.Tick(), sender->GetState() != ConnectionState::kConnected; }));
        EXPECT_EQ(row.reset, server.EndsInReset());
    }
}

TEST_F(SenderTest, NothingOvertakesWhatIsSentAgainAfterALoss) {
    Server server;
    Make("TCP", server.port, {{"DiscardOnLoss", "T"}});
    EXPECT_TRUE(Send("line 0"));
    server.Accept();
    EXPECT_EQ(Lines(0, 1), server.Read(1));
    server.Reset();
    EXPECT_TRUE(Until([this] { return Status("Losses") == "1"; }));
    EXPECT_FALSE(Send("line 1"));
    EXPECT_EQ(1U, sender->GetLossCount());
    EXPECT_TRUE(Send("line 0") && Send("line 1"));
    server.Accept();
    EXPECT_EQ(Lines(0, 2), server.Read(Lines(0, 2).size()));
    EXPECT_EQ("1", Status("Dropped.Loss"));
}

TEST_F(SenderTest, APeerThatNeverReadsIsGivenUpAndMemoryStaysBounded) {
    SteadyClock clock;
    Server server;
    Make("TCP", server.port,
         {{"QueueHighWaterMark", "100000"}, {"BackoffMin", "3600000"}, {"BackoffMax", "3600000"}});
    server.Accept();
    ASSERT_TRUE(Until([this] { return sender->GetState() == ConnectionState::kConnected; }));
    const std::string line(4000, 'n');
    // The system takes a little more now and then, so the queue is filled up again and again.
    const auto untilIs = [&](const char* name, const char* value) {
        return Until([&] {
            while (Send(line)) continue;
            EXPECT_LE(sender->GetQueuedBytes(), 104'001U);  // and the line that a loss cuts short
            if (Status(name) == value) return true;
            clock.Tick();
            return false;
        });
    };
    EXPECT_TRUE(untilIs("Alarm", "warning"));
    EXPECT_TRUE(untilIs("Alarm", "flooded"));
    EXPECT_TRUE(untilIs("Losses", "1"));
    EXPECT_LT(0, std::stoi(Status("Dropped.QueueFull")));
    server.listener.Close();
    sender->Close(0);
    EXPECT_LT(0, std::stoi(Status("Dropped.Closed")));
    EXPECT_EQ("0", Status("QueuedBytes"));
    EXPECT_NE(std::string::npos, log.text.find(kWarn + "Queue: 90% full, ")) << log.text;
    EXPECT_NE(std::string::npos, log.text.find(kWarn + "Queue: full for 15 seconds, "));
    EXPECT_NE(std::string::npos, log.text.find(kWarn + "Connection lost: it takes no data\n"));
}

TEST_F(SenderTest, APeerThatHangsUpOverAndOverIsToldThreeTimes) {
    const std::string garbage(50'000, 'g');
    Server server;
    Make("TCP", server.port);
    for (int i = 0; i < 8; ++i) {
        server.Accept();
        server.peer->SendAll(garbage.data(), garbage.size());
        server.Reset();
    }
    EXPECT_TRUE(Until([this] { return sender->GetLossCount() == 8; }));
    server.listener.Close();
    sender->Close(0);
    std::size_t told = 0;
    for (std::size_t at = 0; (at = log.text.find("Connected", at)) != std::string::npos; ++at) ++told;
    EXPECT_EQ(3U, told) << log.text;
}

TEST_F(SenderTest, ATargetThatCannotBeReachedIsToldOnce) {
    Server closed;
    closed.listener.Close();
    for (const char* host : {"127.0.0.1", "no..name"}) {
        SCOPED_TRACE(host);
        log.text.clear();
        Make("TCP", closed.port, {{"TargetAddress", host}});
        EXPECT_TRUE(Send("one") && Send("two") && Send("three"));
        EXPECT_TRUE(Until([this] { return std::stoi(Status("ConnectFailures")) >= 5; }));
        EXPECT_EQ("connecting", Status("State"));
        sender->Close(1);
        EXPECT_EQ("3", Status("Dropped.Closed"));
        EXPECT_FALSE(Send("four"));
        EXPECT_EQ("4", Status("Dropped.Closed"));
        EXPECT_EQ(0U, log.text.find(kError + "Cannot connect, trying again: "));
        EXPECT_EQ(log.text.size() - 1, log.text.find('\n')) << log.text;
    }
}

TEST_F(SenderTest, ANameServiceThatDoesNotAnswerCostsOneThreadAndHoldsUpNoClose) {
    const SilentNameService service;
    Make("TCP", 514, {{"TargetAddress", "silent.example"}, {"ConnectTimeout", "1"}});
    EXPECT_TRUE(Until([] { return SilentNameService::IsAsking(); }));
    const int failures = std::stoi(Status("ConnectFailures"));
    EXPECT_TRUE(Until([&] { return std::stoi(Status("ConnectFailures")) >= failures + 3; }));
    sender->Close(0);
    EXPECT_EQ(1, service.asked);
    EXPECT_TRUE(service.IsAsking());
}

TEST_F(SenderTest, SettingsThatCannotBeUsedAreRefused) {
    const std::pair<const char*, const char*> rows[] = {
        {"TargetAddress", ""},      {"TargetPort", "0"},        {"TargetPort", "65536"},
        {"TargetPort", "5x"},       {"Framing", "Lines"},       {"QueueHighWaterMark", "0"},
        {"BackoffMax", "99999999"}, {"QueueLowWaterMark", "x"}, {"SendTimeout", "-1"},
    };
    for (const auto& [name, value] : rows) {
        SCOPED_TRACE(std::string(name) + "=" + value);
        EXPECT_FALSE(factory.CreateSender(Block("TCP", 514, {{name, value}}), sender));
    }
    EXPECT_TRUE(factory.CreateSender(Block("TCP", 514), sender));
    sender.reset();
    const WindowsAgentCommon::test::ImportPatch<decltype(NoWinsock)> patch(nullptr, "WSAStartup", &NoWinsock);
    EXPECT_FALSE(factory.CreateSender(Block("UDP", 514), sender));
}

TEST_F(SenderTest, TheFactoryKeepsNamesAndClosesAllAtTheEnd) {
    Server server;
    const EnvironmentBlock block = Block("UDP", 514, {{"TargetAddress", "::1"}});
    std::shared_ptr<ISender> same;
    EXPECT_TRUE(factory.CreateSender("central", block, sender));
    EXPECT_EQ("udp://[::1]:514", sender->GetTarget());
    EXPECT_FALSE(factory.CreateSender("central", block, same));
    EXPECT_TRUE(factory.GetSender("central", same));
    EXPECT_EQ(sender, same);
    EXPECT_EQ(0U, sender->Open());
    Make("TCP", server.port);
    factory.Shutdown();
    EXPECT_EQ(ConnectionState::kClosed, sender->GetState());
    EXPECT_EQ(ConnectionState::kClosed, same->GetState());
    EXPECT_FALSE(factory.CreateSender(block, same));
}

TEST(LineQueueTest, ALargeEventLeavesNoMemoryBehind) {
    LineQueue queue(Framing::kNone, 0, 1);
    const std::string big(1 << 20, 'b');
    Chunk chunk;
    EXPECT_TRUE(queue.Push(big.data(), big.size()));
    EXPECT_TRUE(queue.Take(chunk));
    EXPECT_EQ(big, chunk.bytes);
    EXPECT_FALSE(queue.Take(chunk));
    EXPECT_GE(2 * LineQueue::kChunkSize, chunk.bytes.capacity());
}

TEST(BackoffTest, DoublesUpToTheMaximumWithAShareByChance) {
    Backoff backoff(500, 30'000);
    for (const unsigned int full : {500U, 1000U, 2000U, 4000U, 8000U, 16'000U, 30'000U, 30'000U}) {
        Backoff copy = backoff;
        EXPECT_EQ(full / 2, copy.Next(0));
        EXPECT_EQ(full, backoff.Next(Backoff::kMaxChance));
    }
    backoff.Reset();
    EXPECT_EQ(375U, backoff.Next(Backoff::kMaxChance / 2));
}
