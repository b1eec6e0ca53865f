#include "WindowsAgentCommon/Formatting.h"

#include "tests/support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace WindowsAgentCommon {
namespace {

using test::GuardedBuffer;
using namespace std::string_view_literals;

// Without the compiler's check of formats, which knows no conversion between widths.
std::string Narrow(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = varargs2string(format, args);
    va_end(args);
    return text;
}

std::wstring Wide(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring text = varargs2wstring(format, args);
    va_end(args);
    return text;
}

constexpr std::int64_t kBig = 0x1122334455667788;

// Most formats end with a number, which shows whether the arguments before it were taken as what they are.
TEST(Formatting, NarrowFormatsHaveTheMicrosoftMeaning) {
    void* const pointer = reinterpret_cast<void*>(0xBEEF);
    const struct {
        const char* expected;
        std::string text;
    } rows[] = {
        {"", Narrow(nullptr)},
        {"-1|18446744073709551615|7", Narrow("%I64d|%I64u|%d", std::int64_t{-1}, ~std::uint64_t{0}, 7)},
        {"0000BEEF|beef|1122334455667788|7", Narrow("%08I32X|%0I32x|%I64x|%d", 0xBEEF, 0xBEEF, kBig, 7)},
        {"abc|def|7", Narrow("%hs|%s|%d", "abc", "def", 7)},
        {"\xD0\x96|z|\xD0\x96|7", Narrow("%.1C|%c|%lc|%d", 0x416, 'z', 0x416, 7)},
        {"1.500000e+003|2.5E-010|7", Narrow("%e|%.1E|%d", 1500.0, 2.5e-10, 7)},
        {"100%|0000BEEF|7", Narrow("%d%%|%p|%d", 100, pointer, 7)},
        {"   ab|ab   |  1.50|7", Narrow("%*.*s|%-5.2s|%*.*f|%d", 5, 2, "abc", "abc", 6, 2, 1.5, 7)},
        {"(null)|(nu|(null)|7", Narrow("%s|%.3s|%ls|%d", nullptr, nullptr, nullptr, 7)},
        {"alpha in beta (line 42)", Narrow("%;s in %s (line %d)", "alpha", "beta", 42)},
        {"    7|1234605616436508552|1.5|%;", Narrow("%;5d|%I64d|%g|%%;", 7, kBig, 1.5)},
        {"w|+0005|1.500000e+003|q|0000BEEF|%|7",
         Narrow("%ls|%+05d|%e|%c|%p|%%|%d", L"w", 5, 1500.0, 'q', pointer, 7)},
        // Text of the other width is UTF-8, and without a partner a surrogate is U+FFFD.
        {"D:\\\xD0\x9B\xD0\xBE\xD0\xB3|1234605616436508552|\xF0\x9F\x98\x80|7",
         Narrow("%ls|%I64d|%S|%d", L"D:\\\x41B\x43E\x433", kBig, L"\xD83D\xDE00", 7)},
        {"a\xEF\xBF\xBDz|2.5|\xEF\xBF\xBD\xEF\xBF\xBD|%d|7",
         Narrow("%ls|%.1f|%ls|%ls|%d", L"a\xD800z", 2.5, L"\xDE00\xD83D", L"%d", 7)},
        // Its width and precision count bytes; characters stay whole.
        {"  \xD0\x96\xD0\xB6|\xD0\x96\xD0\xB6  |7", Narrow("%6ls|%-6ls|%d", L"\x416\x436", L"\x416\x436", 7)},
        {"000w|1|7|8", Narrow("%04ls|%lld|%d%n|%d", L"w", std::int64_t{1}, 7, nullptr, 8)},
        {"-5000000000|7", Narrow("%lld|%d", std::int64_t{-5000000000}, 7)},
        {"w    |\xD0\x96|7", Narrow("%*ls|%.*ls|%d", -5, L"w", -1, L"\x416", 7)},
        {"|\xD0\x96|\xD0\x96  |7", Narrow("%.1ls|%.2ls|%-4.3ls|%d", L"\x416", L"\x416", L"\x416\x436", 7)},
        {"|\xF0\x9F\x98\x80|7", Narrow("%.3ls|%.4ls|%d", L"\xD83D\xDE00", L"\xD83D\xDE00", 7)},
    };
    for (const auto& row : rows) EXPECT_EQ(row.expected, row.text);
}

TEST(Formatting, WideFormatsHaveTheMicrosoftMeaning) {
    const struct {
        const wchar_t* expected;
        std::wstring text;
    } rows[] = {
        {L"", Wide(nullptr)},
        {L"-1|0000BEEF|1.500000e+003|%|7",
         Wide(L"%I64d|%08I32X|%e|%%|%d", std::int64_t{-1}, 0xBEEF, 1500.0, 7)},
        {L"\x416g|def|ghi|7", Wide(L"%s|%ls|%ws|%d", L"\x416g", L"def", L"ghi", 7)},
        {L"\x416|\x416|z|y|7", Wide(L"%c|%lc|%C|%hc|%d", 0x416, 0x416, 'z', 'y', 7)},
        {L"(null)|(null)|  (nu|7", Wide(L"%s|%hs|%5.3S|%d", nullptr, nullptr, nullptr, 7)},
        {L"alpha in beta (line 42)", Wide(L"%;s in %s (line %d)", L"alpha", L"beta", 42)},
        // Narrow text is taken as UTF-8; width and precision count UTF-16 units.
        {L"\x41B\x43E\x433|2.5|\xD83D\xDE00|a\xFFFDz|7",
         Wide(L"%hs|%.1f|%S|%hs|%d", "\xD0\x9B\xD0\xBE\xD0\xB3", 2.5, "\xF0\x9F\x98\x80", "a\xFFz", 7)},
        {L"  \x416|\x416  |\x416|a\xFFFD|7",
         Wide(L"%3hs|%-3S|%.3hs|%.2hs|%d", "\xD0\x96", "\xD0\x96", "\xD0\x96\xD0\xB6", "a\xFF", 7)},
    };
    for (const auto& row : rows) EXPECT_EQ(row.expected, row.text);
}

TEST(Formatting, EveryConversionOfOtherWidthCountsOnItsOwn) {
    for (const std::string conversion : {"%ls", "%S", "%ws", "%lS", "%-ls", "%1.2ls"})
        EXPECT_EQ("\xD0\x96|7", Narrow((conversion + "|%d").c_str(), L"\x416", 7)) << conversion;
    for (const std::string conversion : {"%C", "%lc", "%wc"})
        EXPECT_EQ("\xD0\x96|7", Narrow((conversion + "|%d").c_str(), 0x416, 7)) << conversion;
    for (const std::wstring conversion : {L"%hs", L"%S", L"%hS", L"%hhs"})
        EXPECT_EQ(L"\x416|7", Wide((conversion + L"|%d").c_str(), "\xD0\x96", 7)) << conversion;
}

TEST(Formatting, PrecisionKeepsTextWithoutATerminatorSafe) {
    const GuardedBuffer letters(L"abc"sv);
    EXPECT_EQ("abc|7", Narrow("%.*ls|%d", 3, letters.Data<wchar_t>(), 7));
    const GuardedBuffer halfPair(L"ab\xD83D"sv);
    EXPECT_EQ("ab|7", Narrow("%.3ls|%d", halfPair.Data<wchar_t>(), 7));
    const GuardedBuffer utf8("\xD0\x96\xD0\xB6"sv);
    EXPECT_EQ(L"\x416\x436|7", Wide(L"%.4hs|%d", utf8.Data(), 7));
    EXPECT_EQ("\xD0\x96\xD0\xB6|w|7", Narrow("%.4s|%ls|%d", utf8.Data(), L"w", 7));
}

// The limit is deliberate: longer results come out empty. Not EXPECT_EQ, which would print eight megabytes.
TEST(Formatting, ResultsAreWholeAroundTheBufferSizesAndUpToTheLimit) {
    constexpr std::size_t kLimit = 8388608;
    for (const std::size_t size :
         {1022u, 1023u, 1024u, 1025u, 1026u, 2047u, 2048u, 2049u, kLimit, kLimit + 1}) {
        SCOPED_TRACE(size);
        const std::string narrow(size - 1, 'x');
        const std::wstring wide(size - 1, L'x');
        const std::string narrowExpected = size > kLimit ? "" : narrow + "7";
        const std::wstring wideExpected = size > kLimit ? L"" : wide + L"7";
        EXPECT_TRUE(narrowExpected == Narrow("%s%d", narrow.c_str(), 7));
        EXPECT_TRUE(narrowExpected == Narrow("%ls%d", wide.c_str(), 7));
        EXPECT_TRUE(wideExpected == Wide(L"%s%d", wide.c_str(), 7));
        EXPECT_TRUE(wideExpected == Wide(L"%hs%d", narrow.c_str(), 7));
    }
}

TEST(Formatting, FormatReplacesOutAndItsArgumentsMayPointThere) {
    std::string narrow = "abc";
    std::wstring wide = L"abc";
    const void* const narrowResult = Format(narrow, "%s-%s %d", narrow.c_str(), narrow.c_str() + 1, 7);
    const void* const wideResult = Format(wide, L"%s-%s %d", wide.c_str(), wide.c_str() + 1, 7);
    EXPECT_EQ("abc-bc 7", narrow);
    EXPECT_EQ(L"abc-bc 7", wide);
    EXPECT_EQ(narrow.c_str(), narrowResult);
    EXPECT_EQ(wide.c_str(), wideResult);
}

}  // namespace
}  // namespace WindowsAgentCommon
