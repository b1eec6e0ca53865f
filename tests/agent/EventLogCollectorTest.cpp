#include "agent/collectors/EventLogCollector.h"
#include "tests/agent/FakeRoad.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <map>

#include <windows.h>

namespace CorvaneAgent {
namespace {

using namespace test;
using WindowsAgentCommon::test::GuardedBuffer;
using WindowsAgentCommon::test::ImportPatch;
using WindowsAgentCommon::test::TempFolder;

void AppendText(std::vector<unsigned char>& bytes, const std::wstring& text) {
    const auto* const at = reinterpret_cast<const unsigned char*>(text.c_str());
    bytes.insert(bytes.end(), at, at + (text.size() + 1) * sizeof(wchar_t));
}

/// A record as the system makes it.
std::vector<unsigned char> Record(DWORD number, DWORD time = 1'709'210'096) {
    EVENTLOGRECORD header = {};
    header.Reserved = 0x654C664C;
    header.RecordNumber = number;
    header.TimeGenerated = time;
    header.EventID = 0x40001B7C;
    header.EventType = EVENTLOG_WARNING_TYPE;
    header.NumStrings = 2;
    std::vector<unsigned char> bytes(sizeof header);
    AppendText(bytes, L"Source");
    AppendText(bytes, L"WS1");
    header.UserSidLength = 12;
    header.UserSidOffset = static_cast<DWORD>(bytes.size());
    for (const int byte : {1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0})
        bytes.push_back(static_cast<unsigned char>(byte));
    header.StringOffset = static_cast<DWORD>(bytes.size());
    AppendText(bytes, L"Spooler");
    AppendText(bytes, L"%%7");
    header.DataLength = 2;
    header.DataOffset = static_cast<DWORD>(bytes.size());
    bytes.insert(bytes.end(), {0xAB, 0x01});
    header.Length = static_cast<DWORD>(bytes.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

struct FakeLog : EventLogSource {
    unsigned long Open(const std::wstring&) override { return 0; }
    unsigned long GetRange(std::uint32_t& oldest, std::uint32_t& count) override {
        oldest = records.empty() ? 0 : records.begin()->first;
        count = static_cast<std::uint32_t>(records.size());
        if (++asked >= 3 && onIdle) onIdle();
        return 0;
    }
    unsigned long Read(std::uint32_t number, std::vector<unsigned char>& bytes) override {
        bytes.clear();
        if (records.count(number) == 0) return ERROR_INVALID_PARAMETER;
        for (auto at = records.find(number); at != records.end(); ++at)
            bytes.insert(bytes.end(), at->second.begin(), at->second.end());
        return 0;
    }
    static inline std::map<std::uint32_t, std::vector<unsigned char>> records;
    static inline int asked = 0;
    static inline std::function<void()> onIdle;
};

struct FakeMessages : EventMessageSource {
    bool GetText(const std::wstring&, const std::wstring&, std::uint32_t id, bool parameter,
                 std::wstring& out) override {
        out = parameter ? L"running\r\n" : L"The %1 service is %2.%0";
        return parameter ? id == 7 : id == 0x40001B7C;
    }
    void Expire() override { expired = true; }
    static inline bool expired = false;
};

class EventLogCollectorTest : public testing::Test {
protected:
    ~EventLogCollectorTest() override { FakeLog::onIdle = nullptr; }

    static void Fill(std::uint32_t from, std::uint32_t to, DWORD time = 1'709'210'096) {
        FakeLog::records.clear();
        for (std::uint32_t i = from; i != to + 1; ++i) FakeLog::records[i] = Record(i, time);
    }

    /// Lets a collector run until it has asked for news three times; the record numbers that came.
    std::vector<std::uint32_t> Run(const char* fromStart = "T") {
        EnvironmentBlock settings;
        settings.SetStringValue("Log", "System");
        settings.SetStringValue("FromStart", fromStart);
        settings.SetStringValue("PollInterval", "10");
        EventLogCollector collector(
            []() -> std::unique_ptr<EventLogSource> { return std::make_unique<FakeLog>(); },
            std::make_unique<FakeMessages>());
        const Signal idle;
        FakeLog::asked = 0;
        FakeLog::onIdle = [&] {
            if (!onIdle_ || onIdle_()) idle.Set();
        };
        road_.router.lines.clear();
        status_ = road_.Run(collector, settings, &idle);
        std::vector<std::uint32_t> numbers;
        for (const std::string& line : road_.router.lines)
            numbers.push_back(std::strtoul(line.c_str() + line.find("RecordID=") + 9, nullptr, 10));
        return numbers;
    }

    using Numbers = std::vector<std::uint32_t>;
    FakeRoad road_;
    EnvironmentBlock status_;
    std::function<bool()> onIdle_;  // whether that was all
};

TEST_F(EventLogCollectorTest, RendersARecordWithItsMessage) {
    Fill(5, 5);
    Run();
    const std::string& line = road_.router.lines.at(0);
    EXPECT_EQ("<132>", line.substr(0, 5));
    EXPECT_EQ(
        "EventID=7036\tProvider=Source\tChannel=System\tLevel=3\tComputer=WS1\tRecordID=5\t"
        "Time=2024-02-29T12:34:56Z\tQualifiers=16384\tTask=0\tKeywords=0x80000000000000\tUser=S-1-5-18\t"
        "Data1=Spooler\tData2=%%7\tBinary=AB01\tMessage=The Spooler service is running.",
        line.substr(line.find("EventID=")));
    EXPECT_TRUE(FakeMessages::expired);
}

TEST_F(EventLogCollectorTest, ContinuesAndSeesWhatHappenedMeanwhile) {
    const struct {
        const char* what;
        std::uint32_t from, to;
        DWORD time;
        Numbers expected;
        const char* missed;
    } rows[] = {{"nothing new", 1, 10, 100, {}, "0"},
                {"more", 1, 12, 100, {11, 12}, "0"},
                {"the oldest gone", 11, 12, 100, {11, 12}, "0"},
                {"overwritten", 14, 15, 100, {14, 15}, "3"},
                {"cleared, few", 1, 2, 200, {1, 2}, "0"},
                {"cleared, many", 1, 12, 200, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, "0"},
                {"empty", 0, 0xFFFFFFFF, 0, {}, "0"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        road_.record.block = EnvironmentBlock();
        Fill(1, 10, 100);
        EXPECT_EQ(10u, Run().size());
        Fill(row.from, row.to, row.time);
        EXPECT_EQ(row.expected, Run());
        EXPECT_EQ(row.missed, Text(status_, "Missed"));
    }
}

TEST_F(EventLogCollectorTest, CountsMoreThanThirtyTwoBitsHold) {
    const std::uint32_t numbers[] = {0x80000000, 0xFFFFFFF0, 0x7FFFFFE0};
    Fill(1, 1);
    onIdle_ = [&] {
        const std::size_t come = road_.router.lines.size();
        if (come > 0 && come < 4) Fill(numbers[come - 1], numbers[come - 1]);
        return come == 4;
    };
    Run();
    EXPECT_EQ("6442450908", Text(status_, "Missed"));
}

TEST_F(EventLogCollectorTest, BeginsBehindWhatThereIs) {
    Fill(1, 3);
    EXPECT_EQ(Numbers{}, Run("F"));
    FakeLog::records[4] = Record(4);
    road_.record.block.SetIntegerValue("Number.System", 3);
    road_.record.block.SetIntegerValue("Time.System", 0);
    EXPECT_EQ(Numbers{4}, Run("F"));
}

TEST_F(EventLogCollectorTest, SkipsDamagedRecords) {
    Fill(1, 5);
    FakeLog::records[2].resize(40);  // cut off
    FakeLog::records[4][4] = 'x';    // no signature
    EXPECT_EQ((Numbers{1, 3, 5}), Run());
    EXPECT_EQ("2", Text(status_, "Damaged"));
}

TEST(EventLogSourceTest, OpensNoOtherLogForOneThatIsNotThere) {
    const std::wstring log = L"Test" + std::to_wstring(::GetCurrentProcessId());
    const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\" + log;
    HKEY opened = nullptr;
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, MakeEventLogSource()->Open(log));
    ASSERT_EQ(0, ::RegCreateKeyW(HKEY_LOCAL_MACHINE, key.c_str(), &opened));
    ::RegCloseKey(opened);
    EXPECT_EQ(0u, MakeEventLogSource()->Open(log));
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str());
}

/// A 32-bit process of a 64-bit Windows whose folder is the one of the variable WINDOWS.
struct SixtyFourBitWindows {
    static FARPROC WINAPI Find(HMODULE module, const char* name) {
        if (std::strcmp(name, "IsWow64Process") != 0) return real(module, name);
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&IsIt));
    }
    static BOOL WINAPI IsIt(HANDLE, BOOL* out) { return *out = TRUE; }
    static UINT WINAPI Folder(wchar_t* out, UINT size) {
        return ::GetEnvironmentVariableW(L"WINDOWS", out, size);
    }
    static inline FARPROC(WINAPI* const real)(HMODULE, const char*) = &::GetProcAddress;
    const ImportPatch<decltype(Find)> find{nullptr, "GetProcAddress", &Find};
    const ImportPatch<decltype(Folder)> folder{nullptr, "GetSystemWindowsDirectoryW", &Folder};
};

/// An event source of the test's own, registered with message files.
struct Registration {
    explicit Registration(const std::wstring& files) {
        HKEY opened = nullptr;
        EXPECT_EQ(0, ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                                       &opened, nullptr));
        EXPECT_EQ(0, ::RegSetValueExW(opened, L"EventMessageFile", 0, REG_EXPAND_SZ,
                                      reinterpret_cast<const BYTE*>(files.c_str()),
                                      static_cast<DWORD>((files.size() + 1) * sizeof(wchar_t))));
        ::RegCloseKey(opened);
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration() { ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str()); }

    /// Whether there is a text of message 5.
    bool HasText(EventMessageSource& messages) const {
        std::wstring text;
        return messages.GetText(L"Application", source, 5, false, text) && !text.empty();
    }

    const std::wstring source = L"Test" + std::to_wstring(::GetCurrentProcessId());
    const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\" + source;
};

/// A file with the system's messages.
std::wstring SystemMessages() {
    wchar_t path[MAX_PATH];
    ::ExpandEnvironmentStringsW(L"%SystemRoot%\\system32\\kernelbase.dll", path, MAX_PATH);
    return path;
}

TEST(EventMessageSourceTest, FindsFilesAlsoThoseThatOnlySixtyFourBitProgramsAreShown) {
    const TempFolder folder;
    ASSERT_TRUE(::CreateDirectoryW(folder.Path(L"Sysnative").c_str(), nullptr));
    for (const wchar_t* const name : {L"plain.dll", L"Sysnative\\native.dll"})
        ASSERT_TRUE(::CopyFileW(SystemMessages().c_str(), folder.Path(name).c_str(), TRUE));
    ::SetEnvironmentVariableW(L"WINDOWS", folder.Path().substr(0, folder.Path().size() - 1).c_str());
    const struct {
        const wchar_t* files;
        bool under32, under64;
    } rows[] = {{L"none.dll;%WINDOWS%\\plain.dll;", true, true},
                {L"%WINDOWS%\\SYSTEM32\\native.dll", false, true},
                {L"%WINDOWS%\\System32\\none.dll", false, false},
                {L"%WINDOWS%\\System32native.dll", false, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.files));
        const Registration registered(row.files);
        EXPECT_EQ(row.under32, registered.HasText(*MakeEventMessageSource()));
        const SixtyFourBitWindows windows;
        EXPECT_EQ(row.under64, registered.HasText(*MakeEventMessageSource()));
    }
}

TEST(EventMessageSourceTest, LooksAgainAfterFiveMinutesAndLetsGoOfFiles) {
    static std::int64_t now = 0;
    ReplaceSteadyClock([]() noexcept { return now; });
    const TempFolder folder;
    const std::wstring file = folder.Path(L"late.dll");
    const auto messages = MakeEventMessageSource();
    const Registration registered(file);
    const auto hasText = [&](std::int64_t laterMs) {
        now += laterMs;
        messages->Expire();
        return registered.HasText(*messages);
    };
    EXPECT_FALSE(hasText(0));
    ASSERT_TRUE(::CopyFileW(SystemMessages().c_str(), file.c_str(), TRUE));
    EXPECT_FALSE(hasText(299'999));
    EXPECT_TRUE(hasText(1));
    EXPECT_FALSE(::CopyFileW(SystemMessages().c_str(), file.c_str(), FALSE)) << "it is in use";
    now += 300'000;
    messages->Expire();
    EXPECT_TRUE(::CopyFileW(SystemMessages().c_str(), file.c_str(), FALSE));
    ReplaceSteadyClock(nullptr);
}

TEST(EventLogRecordTest, ReadsNothingBeyondTheRecord) {
    const std::vector<unsigned char> good = Record(1);
    EventLogRecord record;
    std::size_t length = 0;
    // Every length, and every header field and every text with other values, at the end of a page.
    for (std::size_t size = 0; size <= good.size(); ++size) {
        const GuardedBuffer buffer(good.data(), size);
        const auto* const bytes = reinterpret_cast<const unsigned char*>(buffer.Data());
        EXPECT_EQ(size == good.size(), ReadEventLogRecord(bytes, size, record, length) == nullptr);
        EXPECT_EQ(size, length);
    }
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            std::string bytes(good.begin(), good.end());
            bytes[at] = static_cast<char>(value);
            const GuardedBuffer buffer(bytes.data(), bytes.size());
            ReadEventLogRecord(reinterpret_cast<const unsigned char*>(buffer.Data()), bytes.size(), record,
                               length);
            EXPECT_TRUE(length > 0 && length <= bytes.size());
            EXPECT_LE(record.strings.size(), bytes.size());
        }
    }
}

TEST(EventLogRecordTest, DropsWhatIsBeforeANumber) {
    std::vector<unsigned char> all;
    for (const DWORD number : {0xFFFFFFFEU, 0xFFFFFFFFU, 0U, 1U}) {
        const std::vector<unsigned char> one = Record(number);
        all.insert(all.end(), one.begin(), one.end());
    }
    const std::size_t size = all.size() / 4;
    const struct {
        std::uint32_t number, next;
        std::size_t bytes, left;
    } rows[] = {{0xFFFFFFFE, 2, 4 * size, 4 * size},
                {0, 2, 4 * size, 2 * size},
                {2, 2, 4 * size, 0},
                {0, 0xFFFFFFFF, 2 * size - 1, size - 1},  // the second is cut off
                {7, 7, 9, 9},
                {7, 7, 0, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.number);
        std::vector<unsigned char> bytes(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(row.bytes));
        EXPECT_EQ(row.next, DropRecordsBefore(row.number, bytes));
        EXPECT_EQ(row.left, bytes.size());
    }
}

TEST(ExpandMessageTest, PutsStringsInPlace) {
    const auto parameter = [](std::uint32_t id, std::wstring& out) {
        out = L"[" + std::to_wstring(id) + L"%1]\r\n";
        return id != 404;
    };
    const std::vector<std::wstring> strings = {L"one", L"%%12", L"%%404 %1 %%", L"%%99999999999"};
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"a %1!s! b%n%t%b%r.", L"a one b\r\n\t \r\n."},
        {L"%2|%3|%5|%10", L"[12%1]|%%404 %1 %%|%5|%10"},
        {L"100%% %. %! %", L"100% . ! %"},
        {L"%1%0 hidden", L"one"},
        {L"%1!never closed", L"one!never closed"},
        {L"%4", L"[999999999%1]99"},
        {L"tail \r\n", L"tail"},
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(expected, ExpandMessage(text, strings, parameter));
    int asked = 0;
    std::wstring hostile;
    for (int i = 0; i < 5000; ++i) hostile += L"%%7";
    ExpandMessage(L"%1%1%1", {hostile}, [&](std::uint32_t, std::wstring&) { return ++asked > 0; });
    EXPECT_EQ(1000, asked);
    std::wstring many;
    for (int i = 0; i < 1000; ++i) many += L"%1";
    const std::wstring large = ExpandMessage(many, {std::wstring(32'000, L'x')}, parameter);
    EXPECT_LE(large.size(), 32'003u);
    EXPECT_EQ(L"x...", large.substr(large.size() - 4));
}

}  // namespace
}  // namespace CorvaneAgent
