#include "foundation/PlainFormat.h"

#include <cstdint>

namespace WindowsAgentCommon::detail {
namespace {

// Each of these writes at a place before end and returns the place behind, or null when there is no room.

char* PutBytes(char* at, char* end, const char* text, std::size_t length) noexcept {
    if (length > static_cast<std::size_t>(end - at)) return nullptr;
    while (length-- > 0) *at++ = *text++;  // a few bytes: a call of memcpy takes longer
    return at;
}

char* PutText(char* at, char* end, const char* text) noexcept {
    if (text == nullptr) text = "(null)";
    while (*text != 0) {
        if (at == end) return nullptr;
        *at++ = *text++;
    }
    return at;
}

char* PutLetter(char* at, char* end, char letter) noexcept {
    if (at == end) return nullptr;
    *at++ = letter;
    return at;
}

// Up to a "%" or the end of text, where it leaves text.
char* PutLiteral(char* at, char* end, const char*& text) noexcept {
    for (; *text != 0 && *text != '%'; ++text) {
        if (at == end) return nullptr;
        *at++ = *text;
    }
    return at;
}

char* PutDecimal(char* at, char* end, std::uint64_t value, bool negative) noexcept {
    char digits[21];
    char* const last = digits + sizeof digits;
    char* first = last;
    constexpr std::uint32_t kNine = 1'000'000'000;
    while (value > 0xFFFFFFFF) {  // 64-bit division is slow here: once for nine digits
        std::uint32_t low = static_cast<std::uint32_t>(value % kNine);
        value /= kNine;
        for (int digit = 0; digit < 9; ++digit, low /= 10) *--first = static_cast<char>('0' + low % 10);
    }
    std::uint32_t rest = static_cast<std::uint32_t>(value);
    do *--first = static_cast<char>('0' + rest % 10);
    while ((rest /= 10) != 0);
    if (negative) *--first = '-';
    return PutBytes(at, end, first, static_cast<std::size_t>(last - first));
}

char* PutSigned(char* at, char* end, std::int64_t value) noexcept {
    const std::uint64_t bits = static_cast<std::uint64_t>(value);
    return PutDecimal(at, end, value < 0 ? 0 - bits : bits, value < 0);
}

char* PutHex(char* at, char* end, std::uint64_t value) noexcept {
    char digits[16];
    char* const last = digits + sizeof digits;
    char* first = last;
    do *--first = "0123456789abcdef"[value % 16];
    while ((value /= 16) != 0);
    return PutBytes(at, end, first, static_cast<std::size_t>(last - first));
}

bool TakeWideSize(const char*& at) noexcept {
    if (at[0] != 'I' || at[1] != '6' || at[2] != '4') return false;
    at += 3;
    return true;
}

}  // namespace

int PlainPrintf(char* buffer, std::size_t size, const char* format, va_list args) noexcept {
    char* out = buffer;
    char* const end = buffer + size;
    va_list rest;
    va_copy(rest, args);
    bool plain = true;
    for (const char* at = format; plain && out != nullptr; ++at) {
        out = PutLiteral(out, end, at);
        if (out == nullptr || *at == 0) break;
        ++at;
        const bool wide = TakeWideSize(at), sized = wide || *at == 'l';
        if (!wide && sized) ++at;
        switch (*at) {
            case 'd':
            case 'i':
                out = PutSigned(out, end, wide ? va_arg(rest, std::int64_t) : va_arg(rest, std::int32_t));
                break;
            case 'u':
                out = PutDecimal(out, end, wide ? va_arg(rest, std::uint64_t) : va_arg(rest, std::uint32_t),
                                 false);
                break;
            case 'x':
                out = PutHex(out, end, wide ? va_arg(rest, std::uint64_t) : va_arg(rest, std::uint32_t));
                break;
            case 's':
                plain = !sized;
                if (plain) out = PutText(out, end, va_arg(rest, const char*));
                break;
            case 'c':
                plain = !sized;
                if (plain) out = PutLetter(out, end, static_cast<char>(va_arg(rest, int)));
                break;
            case '%':
                plain = !sized;
                if (plain) out = PutLetter(out, end, '%');
                break;
            default:
                plain = false;
        }
    }
    va_end(rest);
    if (!plain) return kNotPlain;
    if (out == nullptr) return -1;
    if (out != end) *out = 0;
    return static_cast<int>(out - buffer);
}

}  // namespace WindowsAgentCommon::detail
