#include "foundation/Clock.h"
#include "foundation/Path.h"
#include "foundation/PlainFormat.h"
#include "foundation/Win32Handle.h"
#include "foundation/WindowsVersion.h"
#include "tests/support/FakeClock.h"
#include "tests/support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <windows.h>

namespace WindowsAgentCommon::detail {
namespace {

TEST(Clock, SteadyTimeBeginsAtTheSystemsTimeAndNeverRunsBack) {
    const std::int64_t system = SystemTicks();
    std::int64_t last = SteadyTicks();
    EXPECT_NEAR(static_cast<double>(last - system), 0, 60.0 * kTicksPerSecond);
    for (int steps = 0; steps < 3;) {
        const std::int64_t now = SteadyTicks();
        ASSERT_GE(now, last);
        if (now > last) ++steps;
        last = now;
    }
}

std::uint32_t nextCount;
TickCount* askedMeanwhile;
std::int64_t givenMeanwhile;

std::uint32_t Count() noexcept {
    if (TickCount* const count = std::exchange(askedMeanwhile, nullptr))
        givenMeanwhile = count->Milliseconds();
    return nextCount;
}

TEST(Clock, TheCountGoesOnWhereTheSystemsStepsBack) {
    TickCount count(Count);
    std::int64_t last = 0x7FFF'FFF0;
    nextCount = 0x7FFF'FFF0;
    ASSERT_EQ(count.Milliseconds(), last);
    for (const std::uint32_t next :
         {0x7FFF'FFFFU, 0x8000'0000U, 0xFFFF'FFF0U, 0x10U, 0x10U, 0x9000'0000U, 0x0U, 0x7FFF'FFFFU, 0x10U}) {
        SCOPED_TRACE(next);
        last += next - nextCount;
        nextCount = next;
        askedMeanwhile = &count;  // as by another thread, between the reading of the steps and of the count
        EXPECT_EQ(count.Milliseconds(), last);
        EXPECT_EQ(givenMeanwhile, last);
    }
}

TEST(Clock, OnlySystemTimeFollowsASetClock) {
    test::FakeClock clock;
    clock.SetBySeconds(-3600);
    SleepMilliseconds(1500);
    EXPECT_EQ(SystemTicks(), clock.kStart - 3600 * kTicksPerSecond + 1500 * kTicksPerMillisecond);
    EXPECT_EQ(SteadyTicks(), clock.kStart + 1500 * kTicksPerMillisecond);
}

TEST(Path, LongPathsAndOnlyThoseGetThePrefixThatLiftsTheLimit) {
    const std::wstring name(250, L'n');
    const std::pair<std::wstring, std::wstring> rows[] = {
        {L"", L""},
        {L"a.log", L"a.log"},
        {L"C:\\a\\..\\b", L"C:\\a\\..\\b"},
        {L"C:\\x\\..\\" + name, L"\\\\?\\C:\\" + name},
        {L"C:/y/" + name, L"\\\\?\\C:\\y\\" + name},
        {L"\\\\host\\share\\" + name, L"\\\\?\\UNC\\host\\share\\" + name},
        {L"\\\\?\\C:\\" + name, L"\\\\?\\C:\\" + name},
        {L"\\\\.\\pipe\\" + name, L"\\\\.\\pipe\\" + name},
    };
    for (const auto& [path, system] : rows) EXPECT_EQ(SystemPath(path), system);
}

TEST(Path, AbsolutePathsAreMadeWithoutLookingAtTheDisk) {
    EXPECT_EQ(AbsolutePath(L"C:\\none\\.\\x\\../y.log"), L"C:\\none\\y.log");
    EXPECT_EQ(AbsolutePath(L""), L"");
    const std::wstring full = AbsolutePath(std::wstring(400, L'x'));
    EXPECT_EQ(full.substr(1, 2), L":\\");
    EXPECT_GT(full.size(), 400U);
}

TEST(Path, VerbatimPathsAreAbsoluteBehindThePrefix) {
    const std::pair<std::wstring, std::wstring> rows[] = {
        {L"", L""},
        {L"C:/a/../b.", L"\\\\?\\C:\\b"},
        {L"\\\\host\\share\\a", L"\\\\?\\UNC\\host\\share\\a"},
        {L"\\\\?\\C:\\a.", L"\\\\?\\C:\\a."},
        {L"NUL", L"\\\\.\\NUL"},
    };
    for (const auto& [path, verbatim] : rows) EXPECT_EQ(VerbatimPath(path), verbatim);
}

std::vector<int> closed;

// Closes nothing but keeps the account, and spoils the last error as a closing call may.
struct CountingTraits {
    using Value = int;
    static Value Invalid() noexcept { return -1; }
    static void Close(Value value) noexcept {
        closed.push_back(value);
        ::SetLastError(ERROR_INVALID_HANDLE);
    }
};

TEST(Win32Handle, ClosesWhatItOwnsOnceAndKeepsTheLastError) {
    using CountingHandle = UniqueHandle<CountingTraits>;
    using Values = std::vector<int>;
    closed.clear();
    ::SetLastError(ERROR_DISK_FULL);
    {
        CountingHandle handle(1);
        handle.Reset(0);
        handle.Reset(0);
        EXPECT_EQ(Values({1}), closed);
        EXPECT_TRUE(static_cast<bool>(handle)) << "zero is a valid value here";
        CountingHandle moved(std::move(handle));
        const CountingHandle& emptied = moved;
        CountingHandle assigned(2);
        assigned = std::move(moved);
        CountingHandle& self = assigned;
        assigned = std::move(self);
        EXPECT_EQ(0, assigned.Get());
        EXPECT_EQ(Values({1, 2}), closed);
        EXPECT_FALSE(emptied);
        CountingHandle given(3);
        EXPECT_EQ(3, given.Release());
        EXPECT_FALSE(given);
    }
    EXPECT_EQ(Values({1, 2, 0}), closed);
    EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
}

constexpr unsigned int kIntel = 0;
constexpr unsigned int kAmd64 = 9;
constexpr unsigned int kHome = 0x8000;  // the home server's bit of the suite mask

TEST(WindowsVersion, RecordAndLineFollowWhatTheSystemSays) {
    const char* const xp64 = "Windows XP Professional 64-Bit Edition (Build 3790 SP2 64-bit)";
    // Major, minor, build, pack, suites, workstation, processor, number, R2, WOW64; whether it is a server.
    // What Wine can pretend to be is tested there.
    const std::tuple<SystemVersion, bool, const char*> rows[] = {
        {{5, 0, 2195, 4, 0, true}, false, "Windows 2000 (Build 2195 SP4 32-bit)"},
        {{5, 0, 2195, 4, 0, false}, true, "Windows 2000 (Build 2195 SP4 32-bit)"},
        {{5, 1, 2600, 0, kHome, false, kAmd64, 1, true}, true, "Windows XP (Build 2600 32-bit)"},
        {{5, 2, 9, 2, kHome, true, kAmd64, 1, false, true}, true, "Windows Home Server (Build 9 SP2 64-bit)"},
        {{5, 2, 3790, 2, 0x100, true, kAmd64, 1, true}, false, xp64},
        {{5, 2, 9, 0, 0x7FFF, false, kAmd64, 1, false, true}, true, "Windows Server 2003 (Build 9 64-bit)"},
        {{5, 2, 9, 0, 0, true, kIntel}, true, "Windows Server 2003 (Build 9 32-bit)"},
        {{5, 2, 9, 0, 0, false, kIntel, 1, true}, true, "Windows Server 2003 R2 (Build 9 32-bit)"},
        {{6, 0, 9, 0, kHome, false, kAmd64, 1, true}, true, "Windows Server 2008 (Build 9 32-bit)"},
        {{6, 1, 7601, 1, 0, true, kAmd64, 1, false, true}, false, "Windows 7 (Build 7601 SP1 64-bit)"},
        {{6, 2, 9200, 0, 0, true}, false, "Windows 8 (Build 9200 32-bit)"},
        {{6, 2, 9200, 0, 0, false}, true, "Windows Server 2012 (Build 9200 32-bit)"},
        {{6, 3, 9600, 0, 0, false}, true, "Windows Server 2012 R2 (Build 9600 32-bit)"},
        {{10, 0, 14393, 0, 0, false}, true, "Windows Server 2016 (Build 14393 32-bit)"},
        {{6, 4, 9841, 0, 0, true}, false, "Windows 6-4 (Build 9841 32-bit)"},
        {{11, 1, 30000, 0, 0, false}, true, "Windows Server 11-1 (Build 30000 32-bit)"},
    };
    unsigned int processors = 0;
    for (auto [system, isServer, line] : rows) {
        SCOPED_TRACE(line);
        system.processors = ++processors;
        const CV_OS_INFO info = DescribeWindowsVersion(system);
        EXPECT_EQ(line, WindowsVersionLine(info));
        EXPECT_EQ(static_cast<int>(system.major * 10 + system.minor), info.versionCode);
        EXPECT_EQ(isServer, info.isServer);
        EXPECT_EQ(system.major >= 6, info.isModern);
        EXPECT_EQ(processors, info.processors);
    }
}

int Plain(char* buffer, std::size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int written = PlainPrintf(buffer, size, format, args);
    va_end(args);
    return written;
}

// Both must fill every room alike, from none to more than enough.
template <class... Arguments>
void ExpectAsTheRuntime(const char* format, Arguments... arguments) {
    SCOPED_TRACE(format);
    char theirs[100];
    const int whole = ::_snprintf(theirs, sizeof theirs, format, arguments...);
    ASSERT_GE(whole, 0);
    for (int room = 0; room <= whole + 2; ++room) {
        char ours[100];
        std::fill(std::begin(ours), std::end(ours), '#');
        const int written = Plain(ours, static_cast<std::size_t>(room), format, arguments...);
        EXPECT_EQ(written, room < whole ? -1 : whole);
        if (room > whole) {
            EXPECT_STREQ(ours, theirs);
        }
        EXPECT_EQ(ours[room], '#');
    }
}

TEST(PlainFormat, GivesWhatTheRuntimeGivesInEveryRoom) {
    ExpectAsTheRuntime("plain text, 100%%", 0);
    for (const int value : {0, 1, -1, 9, 10, INT_MAX, INT_MIN}) {
        ExpectAsTheRuntime("%d|%i|%ld", value, value, static_cast<long>(value));
        ExpectAsTheRuntime("%u|%x|%lu|%lx", value, value, static_cast<long>(value), static_cast<long>(value));
    }
    for (const std::int64_t value :
         {std::int64_t{0}, std::int64_t{4294967295}, std::int64_t{4294967296},
          std::int64_t{1000000000000000000}, INT64_MAX, INT64_MIN, std::int64_t{-1}})
        ExpectAsTheRuntime("%I64d %I64u %I64x %s", value, value, value, "behind");
    ExpectAsTheRuntime("%s%c%s.", "text", 'c', static_cast<const char*>(nullptr));
}

TEST(PlainFormat, LeavesEverythingElseAlone) {
    char buffer[100];
    for (const char* format :
         {"%5d", "%-d",   "%.2s", "%ls", "%hs", "%S", "%C",  "%f", "%p", "%X",   "%o", "%lld",
          "%hd", "%I32d", "%Id",  "%;s", "%l%", "%n", "%*d", "%",  "a%", "%I64", "%l"}) {
        const test::GuardedBuffer guarded(format, std::strlen(format) + 1);
        EXPECT_EQ(Plain(buffer, sizeof buffer, guarded.Data(), nullptr, nullptr), kNotPlain) << format;
    }
}

}  // namespace
}  // namespace WindowsAgentCommon::detail
