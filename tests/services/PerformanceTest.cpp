#include "queues/ApplicationPerformance.h"

#include "CorvaneLogger/CV_Logger.h"
#include "tests/support/LogLines.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <utility>

#include <windows.h>

#include <pdhmsg.h>

namespace WindowsAgentCommon {
namespace {

using namespace std::string_literals;

constexpr unsigned long kNoCounter = 0xC0000BB9;

/// A system with some counters, by their paths.
struct FakeSystem : detail::PerformanceSystem {
    unsigned long ReadCounterTable(void* buffer, unsigned long& size) override {
        rooms.push_back(size);
        if (size < table.size()) return ERROR_MORE_DATA;
        std::memcpy(buffer, table.data(), table.size());
        size = static_cast<unsigned long>(table.size());
        return tableStatus;
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
    unsigned long CurrentProcess() override { return 7; }
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
    unsigned long Collect(void*) override { return collectStatus; }
    unsigned long GetValue(void* counter, double& value) override {
        const auto found = values.find(*static_cast<std::wstring*>(counter));
        if (found == values.end()) return PDH_CSTATUS_NO_INSTANCE;
        value = found->second;
        return ERROR_SUCCESS;
    }

    std::string table;
    std::map<unsigned long, std::wstring> names;
    std::map<std::wstring, double> values;  // by path
    std::set<std::wstring> missing, paths;  // "*": all are missing
    unsigned long tableStatus = 0, openStatus = 0, collectStatus = 0, askedSize = 0;
    std::vector<unsigned long> rooms;
    std::vector<std::wstring> added;
    int open = 0;
};

std::string Bytes(const std::wstring& units) {
    return std::string(reinterpret_cast<const char*>(units.data()), units.size() * sizeof(wchar_t));
}

class Performance : public testing::Test {
protected:
    Performance() { Log().Reset(&lines.base); }
    ~Performance() override { Log().Reset(before); }
    static CorvaneLogger::ALogger& Log() {
        return CorvaneLogger::CV_Logger::Logger("Code.ApplicationPerformance");
    }
    bool Logged(const std::string& line) const { return lines.text.find(line + "\n") != std::string::npos; }

    FakeSystem system;
    test::LogLines lines;
    CorvaneLogger::BaseLogger* const before = Log().Base();
};

TEST_F(Performance, TranslatesWhatTheTableOfEnglishNamesGives) {
    const std::wstring pairs =
        L"2\0System\0"
        L"230\0Process\0"
        L"680\0Thread Count\0"
        L"6\0% Processor Time\0"s;
    const std::wstring translated = L"\\Prozess(agent.v2)\\Threads",
                       english = L"\\Process(agent.v2)\\Thread Count";
    const struct {
        const char* name;
        std::string table;
        std::wstring path;
        const char* line;
    } rows[] = {
        {"terminated", Bytes(pairs + L'\0'), translated, "counter Working Set.  Reverting to English"},
        {"not terminated", Bytes(pairs.substr(0, pairs.size() - 1)), translated, "% Processor Time."},
        {"odd", Bytes(pairs) + "x", translated, "% Processor Time."},
        {"index alone", Bytes(pairs + L"7"), translated, "% Processor Time."},
        {"empty name", Bytes(L"7\0\0"s + pairs), english, "counter Process.  Reverting to English"},
        {"no zero", std::string(999, 'x'), english, "counter Process.  Reverting to English"},
        {"one byte", "x", english, "500 Performance counter table empty.  No translations are available"},
        {"empty", "", english, "500 Performance counter table empty.  No translations are available"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        lines.text.clear();
        FakeSystem fake;
        fake.table = row.table;
        fake.names = {{230, L"Prozess"}, {680, L"Threads"}};
        detail::ApplicationPerformance monitor(fake);
        ASSERT_EQ(monitor.Initialize(0), 0U);
        ASSERT_EQ(fake.added.size(), 13U);
        EXPECT_EQ(fake.added[1], row.path);
        EXPECT_NE(lines.text.find(row.line), std::string::npos) << lines.text;
    }
}

TEST_F(Performance, ReadsTablesThatGrowAndGivesUpOnThoseWithoutEnd) {
    for (const auto& [size, reads] :
         {std::pair(1024, 1), {1025, 2}, {5000, 4}, {1 << 22, 13}, {1 << 23, 13}}) {
        SCOPED_TRACE(size);
        system.table = std::string(static_cast<std::size_t>(size), '\1');
        system.rooms.clear();
        const detail::ApplicationPerformance monitor(system);
        EXPECT_EQ(system.rooms.size(), static_cast<std::size_t>(reads));
    }
    EXPECT_TRUE(Logged("500 Performance counter table empty.  No translations are available"));
}

TEST_F(Performance, LongTranslationsTakeASecondLookAndAbsurdOnesAreRefused) {
    system.table = Bytes(L"230\0Process\0\0"s);
    for (const auto& [length, asked] :
         {std::pair(127, 0UL), {128, 0UL}, {900, 0UL}, {9, 0xFFFFFFFFUL}, {0, 0UL}}) {
        SCOPED_TRACE(length);
        system.askedSize = asked;
        system.names[230] = std::wstring(static_cast<std::size_t>(length), L'P');
        system.added.clear();
        detail::ApplicationPerformance(system).Initialize(0);
        const bool english = asked != 0 || length == 0;
        EXPECT_EQ(system.added.at(1),
                  L"\\" + (english ? L"Process" : system.names[230]) + L"(agent.v2)\\Thread Count");
    }
}

TEST_F(Performance, FindsItsInstanceByTheProcessId) {
    const std::wstring plain = L"agent.v2", second = plain + L"#1", third = plain + L"#2";
    const auto id = [](const std::wstring& instance) { return L"\\Process(" + instance + L")\\ID Process"; };
    const struct {
        const char* name;
        std::map<std::wstring, double> ids;
        std::wstring instance;
    } rows[] = {
        {"alone", {{id(plain), 42}}, plain},
        {"the second", {{id(plain), 41}, {id(second), 42}}, second},
        {"the third", {{id(plain), 41}, {id(second), 43}, {id(third), 42}}, third},
        {"not among them", {{id(plain), 41}, {id(second), 43}}, plain},
        {"no such counter", {}, plain},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        FakeSystem fake;
        fake.values = row.ids;
        detail::ApplicationPerformance monitor(fake);
        EXPECT_EQ(monitor.Initialize(42), 0U);
        EXPECT_EQ(fake.added.front(), L"\\Process(" + row.instance + L")\\% Processor Time");
        EXPECT_EQ(fake.open, 1);
    }
    EXPECT_TRUE(Logged("400 PID set: 42"));
}

TEST_F(Performance, SaysWhyItCannotBegin) {
    const std::string denied = "Error code 0x0005: ";
    {
        detail::ApplicationPerformance monitor(system);
        EXPECT_EQ(monitor.Initialize(100), DWORD{ERROR_ACCESS_DENIED});
        system.openStatus = 0xE0001234;
        EXPECT_EQ(monitor.Initialize(0), 0xE0001234);
        system.openStatus = 0;
        system.missing = {L"*"};
        EXPECT_EQ(monitor.Initialize(0), kNoCounter);
        EXPECT_EQ(system.open, 0);
        lines.text += "|";
        double value = 5;
        std::map<std::wstring, double> values = {{L"old", 1}};
        EXPECT_FALSE(monitor.GetValue(L"Thread Count", value));
        EXPECT_FALSE(monitor.GetValues(values));
        EXPECT_EQ(value, 5);
        EXPECT_TRUE(values.empty());
    }
    EXPECT_NE(lines.text.find("100 Could not get the process name corresponding to the given process id. "
                              "Reason: " +
                              denied),
              std::string::npos);
    EXPECT_TRUE(
        Logged("400 Failed to open the query for the counter values. "
               "Reason: Unable to format error code 0xE0001234"));
    EXPECT_NE(
        lines.text.find("400 Error trying to add PdhAddCounter \\Process(agent.v2)\\IO Write Bytes/sec: "
                        "Reason: "),
        std::string::npos);
    EXPECT_NE(
        lines.text.find("400 Failed to add any performance counters.  Application Performance monitoring "
                        "disabled.\n|"),
        std::string::npos);
    EXPECT_EQ(lines.text.back(), '|') << "a closed monitor logs nothing";
}

TEST_F(Performance, LeavesOutTheCountersThatFail) {
    const std::wstring prefix = L"\\Process(agent.v2)\\";
    system.missing = {prefix + L"Working Set"};
    system.values = {
        {prefix + L"% Processor Time", 150}, {prefix + L"Thread Count", 3}, {prefix + L"Working Set", 9}};
    {
        detail::ApplicationPerformance monitor(system);
        ASSERT_EQ(monitor.Initialize(0), 0U);
        std::map<std::wstring, double> values;
        EXPECT_TRUE(monitor.GetValues(values));
        EXPECT_EQ(values, (std::map<std::wstring, double>{{L"% Processor Time", 150}, {L"Thread Count", 3}}));
        double value = 0;
        EXPECT_TRUE(monitor.GetValue(L"Thread Count", value));
        EXPECT_EQ(value, 3);
        for (const wchar_t* name : {L"Working Set", L"Handle Count", L"thread count", L""})
            EXPECT_FALSE(monitor.GetValue(name, value));
        system.collectStatus = 0xE0001234;
        EXPECT_FALSE(monitor.GetValues(values));
        EXPECT_FALSE(monitor.GetValue(L"Thread Count", value));
        EXPECT_EQ(system.open, 1);
    }
    EXPECT_EQ(system.open, 0);
    EXPECT_NE(lines.text.find("400 Failed to retrieve counter value for Handle Count; will try again later. "
                              "Reason: "),
              std::string::npos);
    EXPECT_TRUE(
        Logged("400 Failed to query counter values; will try again later. "
               "Reason: Unable to format error code 0xE0001234"));
}

}  // namespace
}  // namespace WindowsAgentCommon
