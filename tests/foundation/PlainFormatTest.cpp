#include "foundation/PlainFormat.h"
#include "tests/support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <windows.h>

namespace WindowsAgentCommon::detail {
namespace {

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
