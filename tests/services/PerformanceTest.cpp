#include "queues/ApplicationPerformance.h"

#include "tests/support/LogLines.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include <windows.h>

#include <pdhmsg.h>

using namespace WindowsAgentCommon;
using namespace std::string_literals;

namespace {

using Values = std::map<std::wstring, double>;

constexpr unsigned long kNoCounter = 0xC0000BB9;
const std::wstring kFirst = L"\\Process(agent.v2)\\", kSecond = L"\\Process(agent.v2#1)\\";

/// A system with some counters, by their paths.
struct FakeSystem : detail::PerformanceSystem {
    unsigned long ReadCounterTable(void* buffer, unsigned long& size) override {
        ++reads;
        if (size < table.size()) return ERROR_MORE_DATA;
        std::memcpy(buffer, table.data(), table.size());
        size = static_cast<unsigned long>(table.size());
        return ERROR_SUCCESS;
    }
    unsigned long LookUpName(unsigned long index, wchar_t* buffer, unsigned long& size) override {
        if (names.count(index) == 0) return ERROR_INVALID_PARAMETER;
        const std::wstring name = names[index] + L'\0';
        const unsigned long room =
            std::exchange(size, askedSize ? askedSize : static_cast<unsigned long>(name.size()));
        if (room < size) return PDH_MORE_DATA;
        name.copy(buffer, name.size());
        return ERROR_SUCCESS;
    }
    unsigned long CurrentProcess() override { return 42; }
    unsigned long GetProgram(unsigned long process, std::wstring& path) override {
        path = L"C:\\x.y\\agent.v2.exe";
        return process > 99 ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
    }
    unsigned long OpenQuery(void*& query) override {
        query = this;
        if (openStatus == ERROR_SUCCESS) ++open;
        return openStatus;
    }
    void CloseQuery(void*) override { --open; }
    unsigned long AddCounter(void*, const std::wstring& path, void*& counter) override {
        if (path.find(L"ID ") == std::wstring::npos) added.push_back(path);
        counter = const_cast<std::wstring*>(&*paths.insert(path).first);
        return missing.count(path) != 0 || missing.count(L"*") != 0 ? kNoCounter : ERROR_SUCCESS;
    }
    unsigned long Collect(void*) override {
        if (++collects == renumberAt) values = renumbered;
        return collectStatus;
    }
    unsigned long GetValue(void* counter, double& value) override {
        const auto found = values.find(*static_cast<std::wstring*>(counter));
        if (found == values.end()) return PDH_CSTATUS_NO_INSTANCE;
        value = found->second;
        return ERROR_SUCCESS;
    }

    std::string table;
    std::map<unsigned long, std::wstring> names;
    Values values, renumbered;              // by path
    std::set<std::wstring> missing, paths;  // "*": all are missing
    unsigned long openStatus = 0, collectStatus = 0, askedSize = 0;
    std::vector<std::wstring> added;
    int open = 0, collects = 0, renumberAt = 0, reads = 0;
};

std::string Bytes(const std::wstring& units) {
    return std::string(reinterpret_cast<const char*>(units.data()), units.size() * sizeof(wchar_t));
}

struct Performance : testing::Test {
    ~Performance() override { EXPECT_EQ(system.open, 0); }
    void ExpectLines(std::initializer_list<const char*> expected) const {
        for (const char* line : expected) EXPECT_NE(lines.text.find(line), std::string::npos) << line;
    }

    FakeSystem system;
    test::LogLines lines{"Code.ApplicationPerformance"};
    double value = 5;
};

TEST_F(Performance, TranslatesWhatTheTableOfEnglishNamesGives) {
    const std::wstring pairs = L"2\0System\000230\0Process\000680\0Thread Count\0006\0% Processor Time\0"s;
    const std::wstring local = L"\\Prozess(agent.v2)\\Threads", english = kFirst + L"Thread Count";
    const std::tuple<const char*, std::string, std::wstring, int> rows[] = {
        {"terminated", Bytes(pairs + L'\0'), local, 1},
        {"not terminated", Bytes(pairs.substr(0, pairs.size() - 1)), local, 1},
        {"odd", Bytes(pairs) + "x", local, 1},
        {"index alone", Bytes(pairs + L"7"), local, 1},
        {"empty name", Bytes(L"7\0\0"s + pairs), english, 1},
        {"no zero", std::string(1024, 'x'), english, 1},
        {"one byte", "x", english, 1},
        {"empty", "", english, 1},
        {"large", std::string(1025, 'x'), english, 2},
        {"largest", std::string(1 << 22, 'x'), english, 13},
        {"without end", std::string(1 << 23, 'x'), english, 13},
    };
    for (const auto& [name, table, path, reads] : rows) {
        SCOPED_TRACE(name);
        FakeSystem fake;
        fake.table = table;
        fake.names = {{230, L"Prozess"}, {680, L"Threads"}};
        detail::ApplicationPerformance monitor(fake);
        EXPECT_EQ(monitor.Initialize(0), 0U);
        EXPECT_EQ(fake.added.size(), 13U);
        EXPECT_EQ(fake.added.at(1), path);
        EXPECT_EQ(fake.reads, reads);
    }
    ExpectLines({"500 Performance counter table empty.  No translations are available\n",
                 "500 Failed to translate performance counter % Processor Time.  Reverting to English\n",
                 "500 Failed to translate performance counter Working Set.  Reverting to English\n"});
}

TEST_F(Performance, LongTranslationsTakeASecondLookAndAbsurdOnesAreRefused) {
    system.table = Bytes(L"230\0Process\0\0"s);
    const std::pair<std::size_t, unsigned long> rows[] = {
        {127, 0}, {128, 0}, {900, 0}, {9, 0xFFFFFFFF}, {0, 0}};
    for (const auto& [length, asked] : rows) {
        system.askedSize = asked;
        system.names[230] = std::wstring(length, L'P');
        system.added.clear();
        detail::ApplicationPerformance(system).Initialize(0);
        const std::wstring name = asked != 0 || length == 0 ? L"Process" : system.names[230];
        EXPECT_EQ(system.added.at(1), L"\\" + name + L"(agent.v2)\\Thread Count") << length;
    }
}

TEST_F(Performance, FindsItsInstanceByTheProcessId) {
    const std::pair<std::vector<double>, std::wstring> rows[] = {
        {{42}, L""}, {{41, 42}, L"#1"}, {{41, 43, 42, 44}, L"#2"}, {{41, 43}, L""}, {{}, L""}};
    for (const auto& [ids, instance] : rows) {
        FakeSystem fake;
        std::wstring number;
        for (std::size_t i = 0; i < ids.size(); number = L"#" + std::to_wstring(++i))
            fake.values[L"\\Process(agent.v2" + number + L")\\ID Process"] = ids[i];
        detail::ApplicationPerformance monitor(fake);
        EXPECT_EQ(monitor.Initialize(0), 0U);
        EXPECT_EQ(fake.added.front(), L"\\Process(agent.v2" + instance + L")\\% Processor Time");
        EXPECT_EQ(fake.open, 1);
    }
}

TEST_F(Performance, FollowsItsProcessWhenTheInstancesAreNumberedAnew) {
    system.values = {{kFirst + L"ID Process", 41}, {kSecond + L"ID Process", 43}};
    system.renumberAt = 3;  // when it is about to look at the third one
    system.renumbered = {
        {kFirst + L"ID Process", 43}, {kSecond + L"ID Process", 42}, {kSecond + L"Thread Count", 2}};
    detail::ApplicationPerformance monitor(system);
    monitor.Initialize(0);
    EXPECT_TRUE(monitor.GetValue(L"Thread Count", value));
    system.values = {{kFirst + L"ID Process", 42}, {kFirst + L"Thread Count", 3}};
    EXPECT_FALSE(monitor.GetValue(L"Thread Count", value));
    EXPECT_TRUE(monitor.GetValue(L"Thread Count", value) && value == 3);
    // Lost for a while: another process's values are never taken for its own.
    const auto found =
        std::exchange(system.values, {{kFirst + L"ID Process", 43}, {kFirst + L"Thread Count", 9}});
    const std::tuple<const char*, bool, unsigned long, std::set<std::wstring>> rows[] = {
        {"not found", false, 0, {}},
        {"no query", true, 0xE0001234, {}},
        {"no counter", true, 0, {L"*"}},
    };
    for (const auto& [name, isThere, openStatus, missing] : rows) {
        SCOPED_TRACE(name);
        if (isThere) system.values = found;
        system.openStatus = openStatus;
        system.missing = missing;
        for (int i = 0; i < 2; ++i) EXPECT_FALSE(monitor.GetValue(L"Thread Count", value));
        EXPECT_EQ(system.open, 0);
    }
    system.missing.clear();
    EXPECT_FALSE(monitor.GetValue(L"Thread Count", value));
    EXPECT_TRUE(monitor.GetValue(L"Thread Count", value));
    EXPECT_EQ(value, 3);
    EXPECT_EQ(system.open, 1);
}

TEST_F(Performance, SaysWhyItCannotBegin) {
    detail::ApplicationPerformance monitor(system);
    EXPECT_EQ(monitor.Initialize(100), DWORD{ERROR_ACCESS_DENIED});
    system.openStatus = 0xE0001234;
    EXPECT_EQ(monitor.Initialize(0), 0xE0001234);
    system.openStatus = 0;
    system.missing = {L"*"};
    EXPECT_EQ(monitor.Initialize(0), kNoCounter);
    EXPECT_EQ(system.open, 0);
    ExpectLines(
        {"400 PID set: 42\n",
         "100 Could not get the process name corresponding to the given process id. Reason: Error code "
         "0x0005: ",
         "400 Failed to open the query for the counter values. "
         "Reason: Unable to format error code 0xE0001234\n",
         "400 Error trying to add PdhAddCounter \\Process(agent.v2)\\IO Write Bytes/sec: Reason: ",
         "400 Failed to add any performance counters.  Application Performance monitoring disabled.\n"});
    lines.text.clear();
    Values values = {{L"old", 1}};
    EXPECT_FALSE(monitor.GetValue(L"Thread Count", value) || monitor.GetValues(values));
    EXPECT_TRUE(value == 5 && values.empty());
    EXPECT_EQ(lines.text, "");
}

TEST_F(Performance, LeavesOutTheCountersThatFail) {
    system.missing = {kFirst + L"Working Set"};
    system.values = {
        {kFirst + L"% Processor Time", 150}, {kFirst + L"Thread Count", 3}, {kFirst + L"Working Set", 9}};
    detail::ApplicationPerformance monitor(system);
    monitor.Initialize(0);
    Values values;
    EXPECT_TRUE(monitor.GetValues(values));
    EXPECT_EQ(values, (Values{{L"% Processor Time", 150}, {L"Thread Count", 3}}));
    EXPECT_TRUE(monitor.GetValue(L"Thread Count", value) && value == 3);
    for (const wchar_t* name : {L"Working Set", L"Handle Count", L"thread count", L""})
        EXPECT_FALSE(monitor.GetValue(name, value));
    system.collectStatus = 0xE0001234;
    EXPECT_FALSE(monitor.GetValues(values) || monitor.GetValue(L"Thread Count", value));
    ExpectLines({"400 Failed to retrieve counter value for Handle Count; will try again later. Reason: ",
                 "400 Failed to query counter values; will try again later. "
                 "Reason: Unable to format error code 0xE0001234\n"});
}

}  // namespace
