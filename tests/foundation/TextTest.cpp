#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/Text.h"
#include "tests/support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace WindowsAgentCommon {
namespace {

TEST(Text, ComponentNamesBecomeSafe) {
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},     {"Event Log", "_Event_Log"}, {"_x.y", "_x_y"},         {" -.{}:", "______"},
        {"-x", "_x"}, {"a/b\\c,d", "_a/b\\c,d"},   {"\xD0\x96", "_\xD0\x96"}};
    for (auto [name, expected] : rows) {
        EXPECT_EQ(&name, &NormalizeComponentName(name));
        EXPECT_EQ(expected, name);
    }
}

TEST(Text, ParametersAreCutAtTheirFirstSeparator) {
    using Map = std::multimap<std::string, std::string>;
    const std::tuple<std::vector<std::wstring>, std::wstring, Map> rows[] = {
        {{L"a=1", L"b", L"a=2"}, L"=", {{"a", "0"}, {"a", "1"}, {"a", "2"}}},
        {{L"a=b=c", L"d:=e", L" f = 1 "}, L"=:", {{"a", "0"}, {"a", "b=c"}, {"d", "=e"}, {" f ", " 1 "}}},
        {{L"=v", L"k=", L"="}, L"=", {{"a", "0"}, {"", "v"}, {"", ""}, {"k", ""}}},
        {{L"a=1"}, L"", {{"a", "0"}}},
        {{L"\x416\x20AC\xD83D\xDE00"}, L"\x20AC", {{"a", "0"}, {"\xD0\x96", "\xF0\x9F\x98\x80"}}}};
    for (const auto& [items, separators, expected] : rows) {
        Map map = {{"a", "0"}};  // what was there counts
        EXPECT_EQ(expected.size(), ConvertParamVectorToMap(items, map, separators));
        EXPECT_EQ(expected, map);
    }
}

using test::GuardedBuffer;
using namespace std::string_literals;

constexpr std::size_t kLengths[] = {0, 1, 499, 500, 501, 502, 2000, 70000};

// A plain encoder to judge the library's by. text: changed so that a surrogate without a partner is U+FFFD.
std::string Encode(std::wstring& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned long code = text[i];
        if ((code & 0xFC00) == 0xD800 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00) {
            code = 0x10000 + ((code & 0x3FF) << 10 | (text[++i] & 0x3FF));
        } else if ((code & 0xF800) == 0xD800) {
            code = text[i] = 0xFFFD;
        }
        const int tail = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        constexpr unsigned long kHeads[] = {0, 0xC0, 0xE0, 0xF0};
        out.push_back(static_cast<char>(kHeads[tail] | code >> 6 * tail));
        for (int left = tail - 1; left >= 0; --left)
            out.push_back(static_cast<char>(0x80 | (code >> 6 * left & 0x3F)));
    }
    return out;
}

template <class Char>
std::basic_string<Char> Repeated(const std::basic_string<Char>& pattern, std::size_t length) {
    std::basic_string<Char> text;
    while (text.size() < length) text += pattern;
    text.resize(length);
    return text;
}

TEST(Encoding, ShortAndLongTextsConvertAlike) {
    const std::tuple<std::string, std::wstring, std::wstring> contents[] = {
        {"ASCII", L"", L"abcdefg"},
        {"three bytes each", L"", L"\x20AC\x4E2D"},
        {"pairs at even places", L"", L"\xD83D\xDE00"},
        {"pairs at odd places", L"x", L"\xD83D\xDE00"},
        {"lone surrogates", L"", L"\xDE00z\xD83D\xD83D"},
        {"zeros", L"a", L"\0b\x416"s}};
    for (const auto& [name, start, pattern] : contents) {
        for (const std::size_t length : kLengths) {
            SCOPED_TRACE(name + std::to_string(length));
            const std::wstring text = (start + Repeated(pattern, length)).substr(0, length);
            std::wstring valid = text;
            const std::string expected = Encode(valid);
            EXPECT_TRUE(expected == ToUTF8(text));
            EXPECT_TRUE(length == 0 || expected == ToUTF8(text.c_str(), static_cast<int>(length)));
            EXPECT_TRUE(valid == FromUTF8(expected));
            std::string narrow = "old";
            std::wstring wide = L"old";
            EXPECT_TRUE(ToUTF8(text, narrow) == narrow.c_str() && expected == narrow);
            EXPECT_TRUE(FromUTF8(expected, wide) == wide.c_str() && valid == wide);
        }
    }
}

TEST(Encoding, InvalidUtf8BecomesReplacementsWhereverItStands) {
    for (const char* bytes : {"\xC0\xAF", "\xE0\x80\xAF", "\x80", "\xBF", "\xD0", "\xE2\x82", "\xF0\x9F\x98",
                              "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF"}) {
        SCOPED_TRACE(::testing::PrintToString(bytes));
        const std::wstring replacements = FromUTF8(bytes);
        EXPECT_FALSE(replacements.empty());
        EXPECT_EQ(std::wstring::npos, replacements.find_first_not_of(0xFFFD));
        for (const std::size_t length : kLengths) {
            const std::string text = std::string(length, 'a') + bytes;
            EXPECT_TRUE(std::wstring(length, L'a') + replacements == FromUTF8(text)) << length;
            EXPECT_TRUE(std::wstring(length, L'a') + replacements + L"b" == FromUTF8(text + "b")) << length;
        }
    }
}

TEST(Encoding, CountedTextNeedsNoTerminator) {
    for (const std::size_t length : {1u, 500u, 501u}) {
        SCOPED_TRACE(length);
        std::wstring text(length, 0x416);
        const GuardedBuffer counted(std::wstring_view{text});
        const GuardedBuffer terminated(text.c_str(), (length + 1) * sizeof(wchar_t));
        EXPECT_EQ(Encode(text), ToUTF8(counted.Data<wchar_t>(), static_cast<int>(length)));
        EXPECT_EQ(Encode(text), ToUTF8(terminated.Data<wchar_t>(), 0));
        EXPECT_EQ(Encode(text), ToUTF8(terminated.Data<wchar_t>(), -1));
        EXPECT_EQ("", ToUTF8(nullptr, static_cast<int>(length)));
    }
    ::SetLastError(ERROR_DISK_FULL);
    std::string out;
    EXPECT_EQ("", ToUTF8(L"", 0) + ToUTF8(std::wstring(), out));
    EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError()) << "empty text is no failure";
    EXPECT_EQ("", ToUTF8(nullptr, 0));
}

TEST(Encoding, AnsiLettersConvertBothWaysAtAnyLengthAndInPlace) {
    std::string letters;  // those beyond ASCII of this system's code page
    std::wstring wideLetters;
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
        const char letter = static_cast<char>(byte);
        wchar_t unit = 0;
        if (::MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, &letter, 1, &unit, 1) != 1) continue;
        letters.push_back(letter);
        wideLetters.push_back(unit);
    }
    ASSERT_FALSE(letters.empty()) << "code page " << ::GetACP();
    for (const std::size_t length : kLengths) {
        SCOPED_TRACE(length);
        std::wstring wide = Repeated(wideLetters, length);
        const std::string utf8 = Encode(wide), ansi = Repeated(letters, length);
        std::string out = "old";
        for (const std::string* input : {&ansi, const_cast<const std::string*>(&out)}) {
            EXPECT_TRUE(ToUTF8(*input, out) == out.c_str() && utf8 == out);
            EXPECT_TRUE(FromUTF8(input == &ansi ? utf8 : out, out) == out.c_str() && ansi == out);
        }
        if (length == 0) continue;
        std::string zeroInside(length, 'a');  // deliberately ends short texts, and no others
        zeroInside[length / 2] = '\0';
        const std::string expected = length < 501 ? std::string(length / 2, 'a') : zeroInside;
        ToUTF8(zeroInside, out);
        EXPECT_TRUE(expected == out);
        FromUTF8(zeroInside, out);
        EXPECT_TRUE(expected == out);
    }
}

TEST(Encoding, LackOfMemoryReachesTheCallerAsBadAlloc) {
    const std::wstring text(8'000'000, L'a');
    std::string out;
    std::vector<void*> reserved;
    reserved.reserve(10'000);
    for (SIZE_T size = 256 << 20; size >= 1 << 20;) {
        reserved.push_back(::VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS));
        if (reserved.back() == nullptr) size /= 2;
    }
    EXPECT_THROW(ToUTF8(text, out), std::bad_alloc);
    for (void* const block : reserved) ::VirtualFree(block, 0, MEM_RELEASE);
}

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
    const std::pair<const char*, std::string> rows[] = {
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
    for (const auto& [expected, text] : rows) EXPECT_EQ(expected, text);
}

TEST(Formatting, WideFormatsHaveTheMicrosoftMeaning) {
    const std::pair<const wchar_t*, std::wstring> rows[] = {
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
    for (const auto& [expected, text] : rows) EXPECT_EQ(expected, text);
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
    EXPECT_STREQ("abc-bc 7", Format(narrow, "%s-%s %d", narrow.c_str(), narrow.c_str() + 1, 7));
    EXPECT_STREQ(L"abc-bc 7", Format(wide, L"%s-%s %d", wide.c_str(), wide.c_str() + 1, 7));
    EXPECT_EQ("abc-bc 7", narrow);
    EXPECT_EQ(L"abc-bc 7", wide);
}

}  // namespace
}  // namespace WindowsAgentCommon
