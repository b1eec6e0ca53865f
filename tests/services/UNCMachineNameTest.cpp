#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/KORException.h"
#include "services/NameSystem.h"
#include "services/UNCMachineNameFactory.h"
#include "tests/support/FakeClock.h"
#include "tests/support/LogLines.h"
#include "tests/support/Thread.h"

#include <ace/Manual_Event.h>
#include <gtest/gtest.h>

#include <sstream>

using namespace WindowsAgentCommon;

namespace {

using Machine = std::shared_ptr<UNCMachineName>;
using Addresses = std::vector<std::uint32_t>;

/// A machine "Me" with one address, and a DNS server that knows nobody unless it is told otherwise.
struct UNCMachineNameTest : testing::Test, detail::NameSystem {
    UNCMachineNameTest() {
        detail::ReplaceNameSystem(this);
        factory.Initialize(EnvironmentBlock());
    }
    ~UNCMachineNameTest() override { detail::ReplaceNameSystem(nullptr); }
    unsigned long QueryHost(const std::string& host, unsigned long options, Addresses& addresses) override {
        return onQuery(host + ":" + std::to_string(options) + " ", addresses) ? 0 : 5;
    }
    unsigned long AddressText(std::uint32_t address, std::string& text) override {
        if (address != 0) text = "10.0.0." + std::to_string(address);
        return address == 0;
    }
    unsigned long LocalHosts(std::vector<std::wstring>& hosts) override { return hosts = local, localError; }
    Machine Get(const std::string& name) {
        Machine machine;
        factory.GetUNCMachineName(name, machine);
        return machine;
    }

    std::vector<std::wstring> local = {L"Me", L"Me.Domain.test", L"192.0.2.7", L"M\u00dcLLER"};
    unsigned long localError = 0;
    std::string asked;
    std::function<bool(const std::string&, Addresses&)> onQuery = [this](auto& query, auto&) {
        return asked += query, false;
    };
    test::FakeClock clock;
    UNCMachineNameFactory factory;
};

TEST_F(UNCMachineNameTest, NameDecidesWhatIsAskedAndEachCallAsksAgain) {
    // The name, the original name, and what DNS is asked for.
    std::istringstream rows(R"(
        10.1.2.3 \\10.1.2.3 -    \\10.1.2.3 \\10.1.2.3 -    999.1.1.1 \\999.1.1.1 -    127.9.9.9 \\127.9.9.9 -
        \10.1.2.3 \10.1.2.3 10.1.2.3    1.2.3.4567 \\1.2.3.4567 1.2.3.4567    1.2.3.4. \\1.2.3.4. 1.2.3.4.
        1.2.3 \\1.2.3 1.2.3    1..2.3 \\1..2.3 1..2.3    127.test \\127.test 127.test    ab ab ab    \\ab \\ab ab
        \\\a\b \\\a\b a\b    . . -    \\ \\ -    \\. \\. -    LocalHost \\LocalHost -    mE mE -
        \me.domain.TEST \me.domain.TEST - )"
                            "\xB2.1.1.1 \\\\\xB2.1.1.1 \xB2.1.1.1    m\xC3\xBCller \\\\m\xC3\xBCller -");
    for (std::string name, original, host; rows >> name >> original >> host;) {
        SCOPED_TRACE(name);
        const Machine machine = Get(name);
        EXPECT_EQ(machine->GetOriginalMachineName(), original);
        asked.clear();
        EXPECT_EQ(machine->GetMachineName(), original);
        EXPECT_EQ(machine->GetMachineNameW(), FromUTF8(original));
        const std::string once = host == "-" ? "" : host + ":256 " + host + ":8 ";
        EXPECT_EQ(asked, once + once);
    }
    EXPECT_FALSE(Get("")->IsRemote() || Get("192.0.2.7")->IsRemote());
    EXPECT_TRUE(Get("192.0.2.70")->IsRemote());
}

TEST_F(UNCMachineNameTest, FirstAddressIsKeptAndEverythingIsLogged) {
    const test::LogLines lines("Device.UNCMachineName");
    Addresses known = {0, 2, 1};  // 0 cannot be converted
    onQuery = [&known](auto& query, auto& addresses) { return addresses = known, query == "srv:8 "; };
    const Machine machine = Get("srv");
    EXPECT_EQ(machine->GetMachineName(), R"(\\10.0.0.2)");
    known = {9};
    machine->ForceRefresh();
    EXPECT_EQ(machine->GetMachineNameW(), LR"(\\10.0.0.2)");
    const std::string again = "400 DnsQuery(wire only) failed converting srv, trying with bypass cache\n";
    EXPECT_EQ(lines.text, again + "400 WSAAddressToString failed converting srv\n" +
                              "400 DNSQuery converted srv to \\\\10.0.0.2\n" +
                              "400 DNSQuery also found srv => \\\\10.0.0.1\n" + again +
                              "400 DNSQuery also found srv => \\\\10.0.0.9\n");
}

TEST_F(UNCMachineNameTest, ThreadsThatAskDnsHoldNobodyUpAndAgreeOnOneAddress) {
    const Machine machine = Get("srv");
    Machine before;
    std::atomic<std::uint32_t> queries{0}, differences{0};
    ACE_Manual_Event asking, answer;
    onQuery = [&](auto&, auto& addresses) {
        addresses = {++queries};
        if (queries == 3) asking.signal();
        return answer.wait() == 0;
    };
    const auto work = [&] {
        machine->ForceRefresh();
        const std::string first = machine->GetMachineName();
        for (int i = 0; i < 100; ++i) {
            Machine copy;
            machine->Clone(copy);
            if (copy->GetMachineName() != first || copy->GetMachineNameW() != FromUTF8(first)) ++differences;
        }
    };
    {
        const test::Thread first(work), second(work), third(work);
        asking.wait();
        EXPECT_EQ(machine->GetOriginalMachineName(), R"(\\srv)");
        machine->Clone(before);
        answer.signal();
    }
    EXPECT_EQ(differences, 0u);
    EXPECT_EQ(queries, 3u);
    EXPECT_EQ(before->GetMachineName(), R"(\\10.0.0.4)") << "a clone goes its own way";
}

TEST_F(UNCMachineNameTest, FactorySharesEqualNamesAndForgetsThoseThatNobodyHolds) {
    const Machine machine = Get("Server");
    for (int i = 0; i < 1000; ++i) Get("gone" + std::to_string(i));
    EnvironmentBlock status;
    int kept = 0;
    factory.GetStatus(status);
    EXPECT_TRUE(status.GetIntegerValue("MachineNames", kept, 0) && kept <= 64) << kept;
    EXPECT_EQ(Get(R"(\\sERVER)"), machine);
    EXPECT_NE(Get(R"(\server)"), machine) << "has another original name";
    factory.Shutdown();
    EXPECT_THROW(Get("Server"), InitializationException);
    factory.Initialize(EnvironmentBlock());
    EXPECT_NE(Get("Server"), machine);
}

TEST_F(UNCMachineNameTest, FactorySeesANewAddressOfThisMachineWithinTenSeconds) {
    const Machine machine = Get("10.1.2.3");
    local.emplace_back(L"10.1.2.3");
    clock.AdvanceMilliseconds(9'999);
    EXPECT_EQ(Get("10.1.2.3"), machine);
    clock.AdvanceMilliseconds(1);
    EXPECT_FALSE(Get("10.1.2.3")->IsRemote());
    EXPECT_TRUE(machine->IsRemote()) << "an object keeps what it was made with";
    local.clear();
    localError = 5;
    clock.AdvanceSeconds(10);
    EXPECT_FALSE(Get("10.1.2.3")->IsRemote()) << "what was read before stays";
}

}  // namespace
