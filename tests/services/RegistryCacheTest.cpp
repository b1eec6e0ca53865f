#include "services/RegistryCache.h"

#include "tests/support/FakeClock.h"
#include "tests/support/LogLines.h"
#include "tests/support/Thread.h"

#include <ace/Auto_Event.h>
#include <gtest/gtest.h>

#include <functional>

#include <windows.h>

#include <shlwapi.h>

using namespace WindowsAgentCommon;
using namespace std::string_literals;

namespace {

using Strings = std::vector<std::wstring>;

detail::RegistryValue Value(unsigned long type, const std::wstring& units, const std::string& tail = "") {
    const auto* first = reinterpret_cast<const unsigned char*>(units.data());
    detail::RegistryValue value = {type, {first, first + units.size() * sizeof(wchar_t)}};
    value.bytes.insert(value.bytes.end(), tail.begin(), tail.end());
    return value;
}

/// The error in decimal and the texts.
std::wstring Joined(unsigned long error, const Strings& texts) {
    std::wstring list = std::to_wstring(error);
    for (const std::wstring& text : texts) list += L"|" + text;
    return list;
}

/// A machine whose keys hold values; counts what is asked of it.
struct Machine {
    unsigned long connectError = 0, openError = 0;
    std::map<std::wstring, std::map<std::wstring, detail::RegistryValue>> keys;
    int connects = 0, opens = 0, version = 0;
    std::function<void()> onConnect, onQuery;
};

struct FakeKey : detail::RegistryConnection, detail::RegistryKey {
    FakeKey(Machine& m, bool local, const std::wstring& k = L"") : machine(m), isLocal(local), key(k) {}
    unsigned long Open(const std::wstring& name, std::unique_ptr<detail::RegistryKey>& out) override {
        ++machine.opens;
        if (machine.openError != 0) return machine.openError;
        if (machine.keys.count(name) == 0) return ERROR_FILE_NOT_FOUND;
        out = std::make_unique<FakeKey>(machine, isLocal, name);
        return ERROR_SUCCESS;
    }
    unsigned long Query(const std::wstring& name, std::size_t limit, detail::RegistryValue& out) override {
        if (machine.onQuery) machine.onQuery();
        const auto& values = machine.keys[key];
        if (values.count(name) == 0) return ERROR_FILE_NOT_FOUND;
        out = values.at(name);
        return out.bytes.size() > limit ? ERROR_MORE_DATA : ERROR_SUCCESS;
    }
    unsigned long GetSubkeys(std::size_t, Strings& out) override {
        out = {L"One", L"\0x"s, L"Two"};
        return ERROR_SUCCESS;
    }
    bool Watch() override { return isLocal; }
    bool HasChanged() override { return watched != machine.version; }

    Machine& machine;
    const bool isLocal;
    const std::wstring key;
    const int watched = machine.version;
};

struct FakeRegistry : detail::RegistrySource {
    unsigned long Connect(const std::wstring& host,
                          std::unique_ptr<detail::RegistryConnection>& out) override {
        Machine& machine = machines.at(host);
        ++machine.connects;
        if (machine.onConnect) machine.onConnect();
        if (machine.connectError == 0) out = std::make_unique<FakeKey>(machine, host.empty());
        return machine.connectError;
    }
    std::map<std::wstring, Machine> machines{{L"", {}}, {L"far", {}}, {L"near", {}}};
};

struct RegistryCacheTest : testing::Test {
    RegistryCacheTest() {
        for (auto& [host, machine] : registry.machines) machine.keys[L"K"][L"v"] = Value(REG_SZ, L"old");
    }

    std::shared_ptr<IRegistryCacheReader> Reader(const std::wstring& machine) {
        cache.Initialize(settings);
        std::shared_ptr<IRegistryCacheReader> reader;
        EXPECT_EQ(cache.GetReader(machine, reader), 0U);
        return reader;
    }
    /// A text, or the error in decimal.
    static std::wstring Text(const std::shared_ptr<IRegistryCacheReader>& reader,
                             const std::wstring& name = L"v", const wchar_t* key = L"K") {
        std::wstring text = L"untouched";
        const unsigned long error = reader->GetString(key, name, text);
        EXPECT_TRUE(error == 0 || text == L"untouched");
        return error != 0 ? std::to_wstring(error) : text;
    }
    int Status(const char* name) const {
        EnvironmentBlock status;
        cache.GetStatus(status);
        int value = 0;
        EXPECT_TRUE(status.GetIntegerValue(name, value, 0));
        return value;
    }
    /// Makes the other machine's connection wait until the test lets it go.
    void Block() {
        remote.onConnect = [this] { begun.signal(), go.wait(); };
    }

    ACE_Auto_Event begun, go;
    test::FakeClock clock;
    test::LogLines lines{"Code.RegistryCache"};
    FakeRegistry registry;
    Machine &local = registry.machines[L""], &remote = registry.machines[L"far"];
    EnvironmentBlock settings;
    RegistryCache cache{registry, detail::WindowsPerformance()};
};

TEST_F(RegistryCacheTest, TakesValuesApartWithoutTrustingThem) {
    ::SetEnvironmentVariableW(L"CorvaneTest", L"here");
    // The last column: as text, as integer and as texts.
    const std::tuple<const char*, detail::RegistryValue, std::wstring> rows[] = {
        {"without its zero", Value(REG_SZ, L"abc"), L"abc 1804 1804"},
        {"odd", Value(REG_SZ, L"abc", "x"), L"abc 1804 1804"},
        {"zero inside", Value(REG_SZ, L"a\0b"s), L"a 1804 1804"},
        {"variable", Value(REG_EXPAND_SZ, L"%corvanetest%|%no%"), L"here|%no% 1804 1804"},
        {"variable's name", Value(REG_SZ, L"%corvanetest%"), L"%corvanetest% 1804 1804"},
        {"integer", Value(REG_DWORD, L"\x201\0"s), L"1804 513 1804"},
        {"short integer", Value(REG_DWORD, L"\x201"), L"1804 13 1804"},
        {"texts", Value(REG_MULTI_SZ, L"a\0b\0\0c\0"s), L"1804 1804 0|a|b"},
        {"unfinished texts", Value(REG_MULTI_SZ, L"a\0bc"s, "x"), L"1804 1804 0|a|bc"},
        {"unknown type", Value(4711, L"ab"), L"1804 1804 1804"},
        {"huge", Value(REG_SZ, std::wstring(512 * 1024, L'x'), "x"), L"234 234 234"},
    };
    const auto reader = Reader(L"");
    for (const auto& [name, value, outcome] : rows) {
        local.keys[L"K"][L""] = value;
        reader->Invalidate();
        std::uint32_t integer = 0;
        Strings texts;
        const unsigned long error = reader->GetInteger(L"K", L"", integer);
        const std::wstring read = Text(reader, L"") + L" " + std::to_wstring(error != 0 ? error : integer) +
                                  L" " + Joined(reader->GetStrings(L"K", L"", texts), texts);
        EXPECT_EQ(read, outcome) << name;
    }
    EXPECT_LT(Status("CachedBytes"), 1024) << "an error, without the bytes that came with it";
}

TEST_F(RegistryCacheTest, AsksOnceForWhatIsThereAndForWhatIsNot) {
    settings.SetStringValue("RefreshSeconds", "30");
    for (const bool isLocal : {true, false}) {
        SCOPED_TRACE(isLocal);
        Machine& asked = isLocal ? local : remote;
        const auto reader = Reader(isLocal ? L"." : L"\\\\far");
        const auto read = [&] {
            Strings names;
            EXPECT_EQ(reader->GetSubkeys(L"K", names), 0U);
            EXPECT_EQ(names, (Strings{L"One", L"Two"}));
            return Text(reader) + L" " + Text(reader, L"none") + L" " + Text(reader, L"v", L"No");
        };
        EXPECT_EQ(read(), L"old 2 2");
        EXPECT_EQ(Text(Reader(isLocal ? L"" : L"FAR"), L"V", L"k"), L"old") << "no case";
        clock.AdvanceSeconds(29);
        asked.keys[L"K"][L"v"] = Value(REG_SZ, L"new");
        EXPECT_EQ(read(), L"old 2 2");
        EXPECT_EQ(asked.opens, 4);
        ++asked.version;  // noticed on the local machine, and there in the changed key only
        EXPECT_EQ(read(), isLocal ? L"new 2 2" : L"old 2 2");
        EXPECT_EQ(asked.opens, isLocal ? 7 : 4);
        clock.AdvanceSeconds(30);
        EXPECT_EQ(read(), L"new 2 2");
        reader->Invalidate();
        EXPECT_EQ(read(), L"new 2 2");
        EXPECT_EQ(asked.opens, isLocal ? 15 : 12);
        EXPECT_EQ(asked.connects, 1);
    }
    EXPECT_EQ(Status("Machines"), 2);
    EXPECT_EQ(Status("CachedValues"), 8);
    const auto reader = Reader(L"");
    local.onQuery = [&] { reader->Invalidate(); };
    EXPECT_EQ(Text(reader, L"other"), L"2");
    EXPECT_EQ(Status("CachedValues"), 4) << "what was read before Invalidate is not kept";
}

TEST_F(RegistryCacheTest, AMachineThatFailsCostsOneAttemptPerInterval) {
    settings.SetStringValue("RetrySeconds", "20");
    settings.SetStringValue("RefreshSeconds", "0");
    const auto reader = Reader(L"far");
    const std::tuple<unsigned long, unsigned long, int, const wchar_t*, int, int> rows[] = {
        {ERROR_BAD_NETPATH, 0, 0, L"53", 1, 1},
        {0, 0, 19, L"53", 1, 1},
        {ERROR_LOGON_FAILURE, 0, 1, L"1326", 2, 1},
        {0, 0, 20, L"old", 3, 0},
        {0, ERROR_ACCESS_DENIED, 0, L"5", 3, 0},  // this key, not the machine
        {0, RPC_S_SERVER_UNAVAILABLE, 0, L"1722", 3, 1},
        {0, 0, 19, L"1722", 3, 1},
        {0, 0, 1, L"old", 4, 0},  // a connection that broke is made anew
    };
    for (const auto& [connectError, openError, secondsBefore, text, connects, unreachable] : rows) {
        clock.AdvanceSeconds(secondsBefore);
        remote.connectError = connectError;
        remote.openError = openError;
        for (int call = 0; call < 3; ++call) EXPECT_EQ(Text(reader), text);
        EXPECT_EQ(remote.connects, connects);
        EXPECT_EQ(Status("UnreachableMachines"), unreachable);
    }
    const char* const warning =
        "200 The registry of far cannot be read; trying again every 20 seconds. Reason: ";
    EXPECT_EQ(lines.text.find(warning), 0U);
    EXPECT_NE(lines.text.find("300 The registry of far can be read again\n"), std::string::npos);
}

TEST_F(RegistryCacheTest, NobodyWaitsForEverBehindAnAttempt) {
    settings.SetStringValue("WaitSeconds", "0");
    Block();
    const auto reader = Reader(L"far");
    const auto during = [&](unsigned long connectError, const wchar_t* first, const wchar_t* others) {
        remote.connectError = connectError;
        const test::Thread asking([&] { EXPECT_EQ(Text(reader), first); });
        begun.wait();
        EXPECT_EQ(Text(Reader(L"near")), L"old");
        EXPECT_EQ(Text(reader), others);
        go.signal();
    };
    during(ERROR_BAD_NETPATH, L"53", L"1460");
    clock.AdvanceSeconds(60);
    during(0, L"old", L"53");
}

TEST_F(RegistryCacheTest, ShutdownAbortsEverybodyAndDoesNotWaitForAMachine) {
    settings.SetStringValue("WaitSeconds", "3600");
    Block();
    std::shared_ptr<IRegistryCacheReader> reader = Reader(L"far");
    const auto read = [&] { EXPECT_EQ(Text(reader), L"995"); };
    {
        const test::Thread asking(read);
        begun.wait();
        {
            const test::Thread ending([&] { cache.Shutdown(); }), waiting(read);
        }
        go.signal();
    }
    double value = 5;
    std::map<std::wstring, double> values;
    for (const unsigned long error : {cache.GetPerformanceCounter(L"Thread Count", value),
                                      cache.GetPerformanceCounters(values), cache.GetReader(L"", reader)})
        EXPECT_EQ(error, DWORD{ERROR_OPERATION_ABORTED});
    read();
    remote.onConnect = nullptr;
    EXPECT_EQ(Text(Reader(L"far")), L"old") << "initialised again";
}

TEST_F(RegistryCacheTest, TakesNoMoreMemoryThanItMay) {
    settings.SetStringValue("CacheKilobytes", "2");
    const auto reader = Reader(L"far");
    for (std::size_t i = 0; i < 40; ++i) {
        const std::wstring name = std::to_wstring(i), text(i * 20, L'x');
        remote.keys[L"K"][name] = Value(REG_SZ, text);
        for (int call = 0; call < 2; ++call) EXPECT_EQ(Text(reader, name), text);
        EXPECT_LE(Status("CachedBytes"), 2048);
    }
    EXPECT_EQ(remote.opens, 40);
    reader->Invalidate();
    remote.keys[L"K"][L"v"] = Value(REG_SZ, std::wstring(500, L'x'));
    for (const int opens : {42, 43}) {  // refreshing the larger one leaves the other one, which is as good
        Text(reader);
        clock.AdvanceSeconds(opens == 42 ? 30 : 0);
        Text(reader, L"1");
        EXPECT_EQ(remote.opens, opens);
        clock.AdvanceSeconds(30);
    }
    Machine& idle = registry.machines[L"near"];
    idle.keys[L"K"][L"v"] = Value(REG_SZ, std::wstring(600, L'x'));
    for (const int opens : {2, 3}) {  // finds no room until the other machine's values are too old
        for (int call = 0; call < 2; ++call) EXPECT_EQ(Text(Reader(L"near")).size(), 600U);
        EXPECT_EQ(idle.opens, opens);
        clock.AdvanceSeconds(60);
    }
    Reader(L"near");
    EXPECT_EQ(Status("CachedBytes"), 0);
}

TEST_F(RegistryCacheTest, GivesMessageFilesAsTheyAreReachedFromHere) {
    const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Security\\S";
    ::SetEnvironmentVariableW(L"SystemRoot", L"E:\\Here");
    const auto here = Reader(L""), there = Reader(L"far");
    remote.keys[L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion"][L"SystemRoot"] =
        Value(REG_SZ, L"D:\\Win");
    local.keys[key][L"EventMessageFile"] = remote.keys[key][L"EventMessageFile"] =
        Value(REG_EXPAND_SZ, L"%SYSTEMROOT%\\a.dll; C:\\b c.dll ;;%SystemRoot%%x%;d.dll;\\\\s\\t;1:\\; ");
    Strings files;
    const auto get = [&](const auto& reader, const wchar_t* source) {
        return Joined(reader->GetSecurityMessageFiles(source, files), files);
    };
    EXPECT_EQ(get(here, L"S"), LR"(0|E:\Here\a.dll|C:\b c.dll|E:\Here%x%|d.dll|\\s\t|1:\)");
    const std::wstring reached = LR"(|\\far\D$\Win\a.dll|\\far\C$\b c.dll|\\far\D$\Win%x%|d.dll|\\s\t|1:\)";
    EXPECT_EQ(get(there, L"S"), L"0" + reached);
    EXPECT_EQ(get(there, L"T"), L"2" + reached);
    EXPECT_EQ(get(there, L""), L"87" + reached);
    EXPECT_EQ(get(there, L"S\\T"), L"87" + reached);
    EXPECT_EQ(detail::RemotePath(L"%windir%%windir%", L"h", std::wstring(20000, L'x')), L"%windir%%windir%");
}

TEST_F(RegistryCacheTest, RefusesWhatIsNoName) {
    std::vector<std::shared_ptr<IRegistryCacheReader>> held = {Reader(L"")};
    std::wstring text;
    EXPECT_EQ(held[0]->GetString(L"K\0x"s, L"v", text), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(held[0]->GetString(L"K", L"v\0x"s, text), DWORD{ERROR_INVALID_PARAMETER});
    std::shared_ptr<IRegistryCacheReader> none;
    for (const std::wstring& name : {L"\\\\"s, L"a\\b"s, L"a/b"s, L"a\0"s, std::wstring(256, L'a')})
        EXPECT_EQ(cache.GetReader(name, none), DWORD{ERROR_INVALID_COMPUTERNAME});
    while (held.size() < 1024) held.push_back(Reader(std::to_wstring(held.size())));
    EXPECT_EQ(cache.GetReader(L"more", none), DWORD{ERROR_NOT_ENOUGH_QUOTA});
    held.pop_back();
    EXPECT_EQ(cache.GetReader(L"more", none), 0U);
}

// --- the registry of this machine ---

TEST(LocalRegistry, NoticesChangesAtOnceAndHasAllCountersOrNone) {
    const std::wstring path = L"SYSTEM\\CorvaneRegistryTest" + std::to_wstring(::GetCurrentProcessId());
    const auto set = [](const std::wstring& key, std::size_t length) {
        const std::wstring text(length, L'x');
        ::SHSetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"v", REG_SZ, text.c_str(),
                      static_cast<DWORD>(length) * DWORD{2});
    };
    ::SHDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());  // of a killed process of the same number
    RegistryCache cache;
    EnvironmentBlock settings;
    settings.SetStringValue("RefreshSeconds", "86400");
    cache.Initialize(settings);
    std::shared_ptr<IRegistryCacheReader> reader;
    EXPECT_EQ(cache.GetReader(L".", reader), 0U);
    std::wstring text;
    Strings names;
    for (const std::size_t length : {1U, 511U, 512U, 513U, 5000U, 500'000U}) {
        set(path, length);
        for (int read = 0; read < 2; ++read) {
            EXPECT_EQ(reader->GetString(path, L"V", text), 0U);
            EXPECT_EQ(text, std::wstring(length, L'x'));
        }
    }
    set(path, 600'000);
    EXPECT_EQ(reader->GetString(path, L"v", text), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(reader->GetString(path, L"none", text), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(Joined(reader->GetSubkeys(path, names), names), L"0");
    set(path + L"\\Sub", 0);
    EXPECT_EQ(Joined(reader->GetSubkeys(path, names), names), L"0|Sub");
    ::SHDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());

    double threads = 0;  // Wine has none of the counters, Windows all
    std::map<std::wstring, double> values;
    const unsigned long error = cache.GetPerformanceCounter(L"Thread Count", threads);
    EXPECT_EQ(cache.GetPerformanceCounters(values), error);
    EXPECT_EQ(error, values.empty() ? DWORD{ERROR_NOT_FOUND} : 0U);
    EXPECT_EQ(threads >= 1, error == 0);
}

}  // namespace
