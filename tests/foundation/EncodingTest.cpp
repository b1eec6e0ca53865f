#include "WindowsAgentCommon/Encoding.h"

#include "tests/support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace WindowsAgentCommon {
namespace {

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
    const struct {
        const char* name;
        std::wstring start;
        std::wstring pattern;
    } contents[] = {
        {"ASCII", L"", L"abcdefg"},
        {"three bytes each", L"", L"\x20AC\x4E2D"},
        {"pairs at even places", L"", L"\xD83D\xDE00"},
        {"pairs at odd places", L"x", L"\xD83D\xDE00"},
        {"lone surrogates", L"", L"\xDE00z\xD83D\xD83D"},
        {"zeros", L"a", L"\0b\x416"s},
    };
    for (const auto& content : contents) {
        for (const std::size_t length : kLengths) {
            SCOPED_TRACE(content.name + " "s + std::to_string(length));
            const std::wstring text = (content.start + Repeated(content.pattern, length)).substr(0, length);
            std::wstring valid = text;
            const std::string expected = Encode(valid);
            EXPECT_TRUE(expected == ToUTF8(text));
            EXPECT_TRUE(length == 0 || expected == ToUTF8(text.c_str(), static_cast<int>(length)));
            EXPECT_TRUE(valid == FromUTF8(expected));
            std::string narrow = "old";
            std::wstring wide = L"old";
            const void* const narrowResult = ToUTF8(text, narrow);
            const void* const wideResult = FromUTF8(expected, wide);
            EXPECT_TRUE(expected == narrow && narrowResult == narrow.c_str());
            EXPECT_TRUE(valid == wide && wideResult == wide.c_str());
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
    EXPECT_STREQ("", ToUTF8(std::wstring(), out));
    EXPECT_EQ("", ToUTF8(L"", 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_DISK_FULL), ::GetLastError()) << "empty text is no failure";
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
        const std::string utf8 = Encode(wide);
        const std::string ansi = Repeated(letters, length);
        std::string out = "old";
        for (const std::string* input : {&ansi, const_cast<const std::string*>(&out)}) {
            const void* result = ToUTF8(*input, out);
            EXPECT_TRUE(utf8 == out && result == out.c_str());
            result = FromUTF8(input == &ansi ? utf8 : out, out);
            EXPECT_TRUE(ansi == out && result == out.c_str());
        }
    }
}

TEST(Encoding, OnlyShortAnsiTextsEndAtTheirFirstZero) {
    for (const std::size_t length : {2u, 500u, 501u, 70000u}) {
        SCOPED_TRACE(length);
        std::string text(length, 'a');
        text[length / 2] = '\0';
        const std::string expected = length < 501 ? std::string(length / 2, 'a') : text;
        std::string out;
        ToUTF8(text, out);
        EXPECT_TRUE(expected == out);
        FromUTF8(text, out);
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

}  // namespace
}  // namespace WindowsAgentCommon
