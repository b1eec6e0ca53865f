#include "agent/road/PayloadRouter.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "agent/road/DestinationManager.h"
#include "agent/road/FolderName.h"
#include "agent/sdk/Clock.h"
#include "tests/agent/RoadFakes.h"
#include "tests/support/FakeConnections.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"

namespace CorvaneAgent {
namespace {

using namespace WindowsAgentCommon;
using test::Numbered;
using test::PayloadOf;

using Settings = std::map<std::string, std::string>;

class RouterTest : public testing::Test {
protected:
    RouterTest() {
        disk_.base = folder_.Path();
        connections_.components.components = {{"PayloadFactory", &factory_},
                                              {"DiskManager", &disk_},
                                              {"DestinationManager", &manager_},
                                              {"ConnectionFactory", &connections_},
                                              {"PersistenceManager", &persistence_}};
    }
    ~RouterTest() override { manager_.Shutdown(); }
    void Add(const std::string& name, const Settings& settings) {
        InstanceConfig instance;
        instance.text1 = name;
        instance.settings = settings;
        config_.instances.push_back(instance);
        manager_.Configure(config_);
    }
    /// A destination that writes to a file of its name.
    void AddFile(const std::string& name) {
        Add(name, {{"Path", folder_.Narrow(name)}, {"QueueCapacity", "256"}});
    }
    void Start(const std::vector<std::string>& routes = {}) {
        manager_.Initialize(EnvironmentBlock());
        EnvironmentBlock settings;
        settings.SetArrayValue("Route", routes);
        router_.Initialize(settings);
    }
    std::string InitializationError() {
        try {
            manager_.Initialize(EnvironmentBlock());
            return "";
        } catch (const InitializationException& e) {
            return e.what();
        }
    }

    WindowsAgentCommon::test::FakeConnections connections_;
    test::FakePersistence persistence_;
    WindowsAgentCommon::test::TempFolder folder_;
    test::FakeFactory factory_;
    test::FakeDisk disk_;
    ServiceConfig config_;
    DestinationManager manager_;
    PayloadRouter router_;
};

/// A payload for which there is no memory in a queue.
struct Unqueueable : test::FakePayload {
    std::size_t GetSize() const override { throw std::bad_alloc(); }
};

TEST_F(RouterTest, EitherEveryDestinationGetsAnEventOrNone) {
    AddFile("a");
    AddFile("b");
    Start();
    EXPECT_THROW(router_.Route(std::make_shared<Unqueueable>()), std::bad_alloc);
    for (int i = 0; i < 250; ++i) ASSERT_TRUE(router_.Route(PayloadOf(Numbered(i, 1)[0])).IsQueued());
    for (int i = 0; i < 6; ++i) ASSERT_TRUE(manager_.GetDestination("b")->Send(PayloadOf("x")).IsQueued());
    EXPECT_TRUE(router_.Route(PayloadOf("b is full")).IsFailure());
    EXPECT_FALSE(router_.WaitUntilSafe(1)) << "nobody writes yet";
    manager_.Start();
    ASSERT_TRUE(router_.WaitUntilSafe(30'000));
    ASSERT_TRUE(router_.Route(PayloadOf("again")).IsQueued());
    ASSERT_TRUE(router_.WaitUntilSafe(30'000));
    std::string a;
    for (const std::string& line : Numbered(0, 250)) a += line + "\n";
    EXPECT_EQ(folder_.Read(L"a"), a + "again\n");
    EXPECT_EQ(folder_.Read(L"b"), a + "x\nx\nx\nx\nx\nx\nagain\n");
    router_.Shutdown();
    EXPECT_FALSE(router_.WaitUntilSafe(1)) << "nobody knows any more";
}

struct Containing : IEventFilter {
    explicit Containing(std::string what) : text(std::move(what)) {}
    bool Accept(const IPayload& payload) const override {
        const std::string& found = dynamic_cast<const test::FakePayload&>(payload).text;
        if (found == "throw") throw std::runtime_error("filter");
        return found.find(text) != std::string::npos;
    }
    std::string text;
};

TEST_F(RouterTest, RoutesDecideWhoGetsAnEventAndGiveItOnce) {
    AddFile("a");
    AddFile("b");
    Start();
    router_.AddRoute(std::make_shared<Containing>("1"), "a");
    router_.AddRoute(std::make_shared<Containing>("2"), "a");
    router_.AddRoute(std::make_shared<Containing>("2"), "b");
    EXPECT_THROW(router_.AddRoute(nullptr, "c"), ObjectDoesNotExistException);
    manager_.Start();
    for (const char* const text : {"1", "2", "12", "throw"})
        EXPECT_TRUE(router_.Route(PayloadOf(text)).IsQueued());
    const StreamRoutingResult unwanted = router_.Route(PayloadOf("3"));
    EXPECT_FALSE(unwanted.IsFailure() || unwanted.IsQueued());
    ASSERT_TRUE(router_.WaitUntilSafe(30'000));
    EXPECT_EQ(folder_.Read(L"a"), "1\n2\n12\nthrow\n");
    EXPECT_EQ(folder_.Read(L"b"), "2\n12\nthrow\n");
    router_.Shutdown();
    EnvironmentBlock settings;
    settings.SetStringValue("Route", "nowhere");
    EXPECT_THROW(router_.Initialize(settings), InitializationException);
}

TEST_F(RouterTest, ASettingThatCannotBeUsedIsNamedWithItsValue) {
    const struct {
        Settings settings;
        const char* named;
    } rows[] = {
        {{{"Type", "Pipe"}}, "Type \"Pipe\""},
        {{{"FullPolicy", "DropOldest"}}, "FullPolicy \"DropOldest\""},
        {{{"MaxFileSize", "1x"}}, "MaxFileSize \"1x\""},
        {{{"KeepFiles", "0"}}, "KeepFiles \"0\""},
        {{{"QueueCapacity", "99999999999999999999"}}, "QueueCapacity \"99999999999999999999\""},
        {{{"Workers", ""}}, "Workers \"\""},
        {{{"Workers", "-1"}}, "Workers \"-1\""},
        {{{"Type", "TCP"}, {"SpoolCapacity", "8"}, {"ResendWindow", "2097153"}}, "ResendWindow \"2097153\""},
        {{{"Type", "TCP"}, {"FullPolicy", "Drop"}}, "FullPolicy \"Drop\""},
        {{{"Type", "TCP"}, {"QueueLowWaterMark", "1048576"}}, "QueueLowWaterMark \"1048576\""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.named);
        config_.instances.clear();
        Add("dest", row.settings);
        EXPECT_EQ(InitializationError().find(row.named + std::string(" of destination dest ")), 0U)
            << InitializationError();
    }
    const std::pair<Settings, std::string> unknown[] = {
        {{{"FulPolicy", "Block"}}, "FulPolicy; the closest is FullPolicy"},
        {{{"Tpye", "TCP"}, {"TargetAddress", "x"}}, "Tpye; the closest is Type"},
        {{{"Type", "TCP"}, {"Targetport", "1"}}, "Targetport; the closest is TargetPort"},
        {{{"Type", "UDP"}, {"ResendWindow", "1"}}, "ResendWindow; the closest is SendTimeout"}};
    for (const auto& [settings, message] : unknown) {
        config_.instances.clear();
        Add("dest", settings);
        EXPECT_EQ(InitializationError(), "destination dest has no setting " + message);
    }
    config_.instances.clear();
    disk_.capacity = 100U << 20;
    Add("open", {{"Type", "TCP"}, {"ResendWindow", "x"}});
    Add("other", {{"Type", "UDP"}});
    Add("given", {{"Type", "TCP"}, {"SpoolCapacity", "40"}});
    EXPECT_NE(InitializationError().find("from 0 to 7864320"), std::string::npos) << "a quarter of 30 MiB";
    Add("more", {{"Type", "TCP"}, {"SpoolCapacity", "50"}});
    const std::string text = InitializationError();
    EXPECT_TRUE(text.find("106 MiB") != std::string::npos && text.find("100 MiB") != std::string::npos)
        << text;
    config_.instances.clear();
    AddFile("same");
    AddFile("SAME");
    EXPECT_NE(InitializationError(), "");
}

TEST_F(RouterTest, SpoolsOfFormerDestinationsAreToldAndNotSharedOut) {
    WindowsAgentCommon::test::LogLines log("Agent.DestinationManager");
    static std::int64_t now = 0;
    ReplaceSteadyClock([]() noexcept { return now += 1000; });  // so that no shutdown waits
    disk_.capacity = 16U << 20;
    Add("open", {{"Type", "TCP"}, {"QueueHighWaterMark", "4194304"}});
    for (const wchar_t* const name : {L"spool", L"spool\\OPEN", L"spool\\former", L"spool\\empty"})
        ASSERT_TRUE(::CreateDirectoryW(folder_.Path(name).c_str(), nullptr));
    folder_.Write(L"spool\\OPEN\\note.txt", "mine");
    const struct {
        const wchar_t* path;
        std::size_t bytes;
        std::uint64_t left;
        const char* highWaterMark;
    } rows[] = {{L"spool\\note.txt", 9, 16U << 20, "4194304"},
                {L"spool\\former\\0000000001.spool", 4U << 20, 12U << 20, "3145728"},
                {L"spool\\former\\0000000002.spool", 10U << 20, 8U << 20, "2097152"}};
    for (const auto& row : rows) {
        log.text.clear();
        folder_.Write(row.path, std::string(row.bytes, 'x'));
        EXPECT_EQ(InitializationError(), "");
        EnvironmentBlock status;
        manager_.GetStatus(status);
        EXPECT_EQ(test::Value(status, "open.SpoolCapacity"), row.left);
        EXPECT_EQ(connections_.settings["QueueHighWaterMark"], row.highWaterMark);
        manager_.Shutdown();
    }
    ReplaceSteadyClock(nullptr);
    EXPECT_EQ(log.text.find("200 The spool " + folder_.Narrow("spool\\former") +
                            " belongs to no destination and takes 14680064 bytes"),
              0U)
        << log.text;
    EXPECT_EQ(log.text.find('\n'), log.text.size() - 1) << "of no other folder";
}

TEST(FolderNameTest, IsOneFolderWhateverTheDestinationIsCalled) {
    const struct {
        const char* name;
        const wchar_t* folder;
    } rows[] = {{"central-1_A", L"central-1_A"}, {"..", L"%2E%2E"}, {"a\\b:c", L"a%5Cb%3Ac"},
                {"\xC3\xA4", L"%C3%A4"},         {"con", L"%63on"}, {"LPT1", L"%4CPT1"}};
    for (const auto& row : rows) EXPECT_EQ(FolderName(row.name), row.folder);
}

}  // namespace
}  // namespace CorvaneAgent
