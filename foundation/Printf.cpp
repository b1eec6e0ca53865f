#include "foundation/Printf.h"

#include "foundation/PlainFormat.h"
#include "foundation/Transcoding.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

namespace {

// What a conversion takes from the arguments.
enum class Argument { None, Int, Int64, Double, Pointer, ForeignText, ForeignChar };

// One conversion of a format: %[;][flags][width][.precision][size]type
template <class Char>
struct Directive {
    const Char* end = nullptr;  // first character after the conversion
    Char flags[6] = {};         // each of "-+ #0" once, terminated
    bool widthIsArgument = false;
    bool precisionIsArgument = false;
    int width = 0;
    int precision = -1;  // negative: none given
    Char size[4] = {};   // h, hh, l, ll, L, w, I, I32 or I64, terminated
    Char type = 0;       // 0: the format ends inside the conversion
    Argument argument = Argument::None;

    bool HasFlag(char flag) const noexcept {
        return std::find(flags, std::end(flags), static_cast<Char>(flag)) != std::end(flags);
    }
};

template <class Char>
int ParseNumber(const Char*& at) noexcept {
    int number = 0;
    for (; *at >= '0' && *at <= '9'; ++at) {
        if (number < INT_MAX / 10 - 1) number = number * 10 + static_cast<int>(*at - '0');
    }
    return number;
}

template <class Char>
bool SizeIs(const Directive<Char>& directive, const char* size) noexcept {
    const Char* at = directive.size;
    while (*size != 0 && *at == static_cast<Char>(*size)) ++at, ++size;
    return *size == 0 && *at == 0;
}

// Whether %s or %c, in either case of the letter and with the size before it, means text of the other width.
template <class Char>
bool IsForeign(Char size, Char type) noexcept {
    constexpr bool kWideFormat = std::is_same_v<Char, wchar_t>;
    if (size == 'h') return kWideFormat;
    if (size == 'l' || size == 'w') return !kWideFormat;
    return type == 'S' || type == 'C';
}

template <class Char>
Argument ArgumentOf(const Directive<Char>& directive) noexcept {
    switch (directive.type) {
        case 's':
        case 'S':
            return IsForeign(directive.size[0], directive.type) ? Argument::ForeignText : Argument::Pointer;
        case 'c':
        case 'C':
            return IsForeign(directive.size[0], directive.type) ? Argument::ForeignChar : Argument::Int;
        case 'd':
        case 'i':
        case 'o':
        case 'u':
        case 'x':
        case 'X':
            return SizeIs(directive, "I64") || SizeIs(directive, "ll") ? Argument::Int64 : Argument::Int;
        case 'a':
        case 'A':
        case 'e':
        case 'E':
        case 'f':
        case 'g':
        case 'G':
            return Argument::Double;  // the Microsoft runtime's long double is a double
        case 'n':
        case 'p':
        case 'Z':
            return Argument::Pointer;
        default:
            return Argument::None;  // printed as it is, as the runtime does
    }
}

template <class Char>
void ParseSize(const Char*& at, Directive<Char>& directive) noexcept {
    const auto take = [&](int count) {
        std::copy_n(at, count, directive.size);
        at += count;
    };
    switch (*at) {
        case 'l':
            take(at[1] == 'l' ? 2 : 1);
            break;
        case 'I': {
            const bool sized = (at[1] == '6' && at[2] == '4') || (at[1] == '3' && at[2] == '2');
            take(sized ? 3 : 1);
            break;
        }
        case 'h':
            take(at[1] == 'h' ? 2 : 1);
            break;
        case 'L':
        case 'w':
            take(1);
            break;
        default:
            break;
    }
}

// percent: the "%" that begins a conversion, and not "%%".
template <class Char>
Directive<Char> Parse(const Char* percent) noexcept {
    Directive<Char> directive;
    const Char* at = percent + 1;
    if (*at == ';') ++at;
    for (Char* flag = directive.flags; *at == '-' || *at == '+' || *at == ' ' || *at == '#' || *at == '0';
         ++at) {
        if (std::find(directive.flags, flag, *at) == flag) *flag++ = *at;
    }
    if (*at == '*') {
        directive.widthIsArgument = true;
        ++at;
    } else {
        directive.width = ParseNumber(at);
    }
    if (*at == '.') {
        ++at;
        if (*at == '*') {
            directive.precisionIsArgument = true;
            ++at;
        } else {
            directive.precision = ParseNumber(at);
        }
    }
    ParseSize(at, directive);
    directive.type = *at;
    directive.end = *at != 0 ? at + 1 : at;
    directive.argument = ArgumentOf(directive);
    return directive;
}

// Whether the format holds something that the C runtime alone would not do our way. Every formatted text of
// the library passes here, so it only looks for what matters and leaves taking conversions apart to Parse.
template <class Char>
bool NeedsUs(const Char* format) noexcept {
    for (const Char* at = format; *at != 0; ++at) {
        if (*at != '%') continue;
        ++at;
        if (*at == ';') return true;
        while (*at == '-' || *at == '+' || *at == '#' || *at == ' ' || *at == '*' || *at == '.' ||
               (*at >= '0' && *at <= '9')) {
            ++at;
        }
        const Char size = *at;
        if (size == 'h' || size == 'l' || size == 'w') ++at;
        if ((size == 'h' || size == 'l') && *at == size) {
            ++at;
            if (size == 'l') return true;  // XP's runtime takes only half of a number of 64 bits
        }
        if ((*at == 's' || *at == 'S' || *at == 'c' || *at == 'C') && IsForeign<Char>(size, *at)) return true;
        if (*at == 0) return false;
    }
    return false;
}

// The Microsoft C runtime's own formatters.
int RuntimePrintf(char* buffer, std::size_t size, const char* format, va_list args) noexcept {
    return ::_vsnprintf(buffer, size, format, args);
}

int RuntimePrintf(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args) noexcept {
    return ::_vsnwprintf(buffer, size, format, args);
}

template <class Char>
int RuntimeFormat(Char* buffer, std::size_t size, const Char* format, ...) noexcept {
    va_list args;
    va_start(args, format);
    const int written = RuntimePrintf(buffer, size, format, args);
    va_end(args);
    return written;
}

// The bounded text under construction.
template <class Char>
class Output {
public:
    Output(Char* buffer, std::size_t size) noexcept : buffer_(buffer), size_(size) {}

    void Append(const Char* text, std::size_t length) noexcept {
        if (!fits_ || length > size_ - used_) {
            fits_ = false;
            return;
        }
        std::copy_n(text, length, buffer_ + used_);
        used_ += length;
    }

    void Fill(Char character, std::size_t count) noexcept {
        if (!fits_ || count > size_ - used_) {
            fits_ = false;
            return;
        }
        std::fill_n(buffer_ + used_, count, character);
        used_ += count;
    }

    template <class Value>
    void Format(const Directive<Char>& directive, Value value) noexcept {
        if (!fits_) return;
        Char format[sizeof(directive.flags) / sizeof(Char) + 8] = {'%'};
        Char* at = format + 1;
        for (const Char* flag = directive.flags; *flag != 0; ++flag) *at++ = *flag;
        *at++ = '*';
        *at++ = '.';
        *at++ = '*';
        if (directive.argument == Argument::Int64) {
            for (const char* size = "I64"; *size != 0; ++size) *at++ = static_cast<Char>(*size);
        } else {
            for (const Char* size = directive.size; *size != 0; ++size) *at++ = *size;
        }
        *at = directive.type;
        // Runtimes differ on a room of zero characters, so they are never given one.
        Char scratch[1];
        const bool full = used_ == size_;
        const int written = RuntimeFormat(full ? scratch : buffer_ + used_, full ? 1 : size_ - used_, format,
                                          directive.width, directive.precision, value);
        fits_ = full ? written == 0 : written >= 0;
        if (fits_) used_ += static_cast<std::size_t>(written);
    }

    int Finish() noexcept {
        if (!fits_) return -1;
        if (used_ < size_) buffer_[used_] = 0;
        return static_cast<int>(used_);
    }

private:
    Char* buffer_;
    std::size_t size_;
    std::size_t used_ = 0;
    bool fits_ = true;
};

template <class Char>
struct Foreign;

// Wide text in a narrow format.
template <>
struct Foreign<char> {
    using Unit = wchar_t;
    using Converted = NarrowText;
    static bool IsInsideCharacter(char unit) noexcept { return (unit & 0xC0) == 0x80; }

    // A high surrogate at the end becomes three bytes, which the precision then cuts off anyway.
    static std::size_t WholeCharacters(const wchar_t*, std::size_t length) noexcept { return length; }
};

// Narrow text in a wide format.
template <>
struct Foreign<wchar_t> {
    using Unit = char;
    using Converted = WideText;
    static bool IsInsideCharacter(wchar_t unit) noexcept { return (unit & 0xFC00) == 0xDC00; }

    // length without a UTF-8 sequence that begins but does not end before it.
    static std::size_t WholeCharacters(const char* text, std::size_t length) noexcept {
        std::size_t lead = length;
        while (lead > 0 && length - lead < 3 && (text[lead - 1] & 0xC0) == 0x80) --lead;
        if (lead == 0) return length;
        const unsigned char first = static_cast<unsigned char>(text[lead - 1]);
        const std::size_t whole = first < 0xC2 || first > 0xF4 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        return length - (lead - 1) < whole ? lead - 1 : length;
    }
};

// Converts text of the other width and pads it. A precision bounds the units read, so that text without a
// terminator is safe, and the units written, of which the last whole character is the end.
template <class Char>
void PrintForeign(Output<Char>& out, const Directive<Char>& directive,
                  const typename Foreign<Char>::Unit* text, std::size_t length) {
    const typename Foreign<Char>::Converted converted(CP_UTF8, text, length);
    std::size_t size = converted.Size();
    if (directive.precision >= 0 && size > static_cast<std::size_t>(directive.precision)) {
        size = static_cast<std::size_t>(directive.precision);
        while (size > 0 && Foreign<Char>::IsInsideCharacter(converted.Data()[size])) --size;
    }
    const std::size_t width = static_cast<std::size_t>(directive.width);
    const std::size_t padding = width > size ? width - size : 0;
    const bool left = directive.HasFlag('-');
    if (!left) out.Fill(directive.HasFlag('0') ? '0' : ' ', padding);  // the runtime does so for text, too
    out.Append(converted.Data(), size);
    if (left) out.Fill(' ', padding);
}

template <class Char>
void PrintForeignText(Output<Char>& out, const Directive<Char>& directive,
                      const typename Foreign<Char>::Unit* text) {
    using Unit = typename Foreign<Char>::Unit;
    static constexpr Unit kNull[] = {'(', 'n', 'u', 'l', 'l', ')', 0};
    if (text == nullptr) text = kNull;
    std::size_t length = 0;
    const std::size_t most = directive.precision >= 0 ? static_cast<std::size_t>(directive.precision)
                                                      : static_cast<std::size_t>(-1);
    while (length < most && text[length] != 0) ++length;
    if (length == most) length = Foreign<Char>::WholeCharacters(text, length);
    PrintForeign(out, directive, text, length);
}

// Resolves "*" as the runtime does: a negative width means "-", a negative precision means none.
template <class Char>
void TakeStars(Directive<Char>& directive, va_list& args) noexcept {
    if (directive.widthIsArgument) {
        const int width = va_arg(args, int);
        directive.width = width < 0 ? (width == INT_MIN ? INT_MAX : -width) : width;
        if (width < 0 && !directive.HasFlag('-'))
            *std::find(directive.flags, std::end(directive.flags), Char()) = '-';
    }
    if (directive.precisionIsArgument) directive.precision = std::max(va_arg(args, int), -1);
}

template <class Char>
void PrintDirective(Output<Char>& out, Directive<Char>& directive, va_list& args) {
    using Unit = typename Foreign<Char>::Unit;
    TakeStars(directive, args);
    switch (directive.argument) {
        case Argument::None:
            if (directive.type != 0) out.Append(&directive.type, 1);
            break;
        case Argument::Int:
            out.Format(directive, va_arg(args, int));
            break;
        case Argument::Int64:
            out.Format(directive, va_arg(args, std::int64_t));
            break;
        case Argument::Double:
            out.Format(directive, va_arg(args, double));
            break;
        case Argument::Pointer: {
            void* pointer = va_arg(args, void*);
            if (directive.type != 'n') out.Format(directive, pointer);
            break;
        }
        case Argument::ForeignText:
            PrintForeignText(out, directive, va_arg(args, const Unit*));
            break;
        case Argument::ForeignChar: {
            const Unit unit = static_cast<Unit>(va_arg(args, int));
            directive.precision = -1;  // means nothing for a character
            PrintForeign(out, directive, &unit, 1);
            break;
        }
    }
}

template <class Char>
int PrintOurWay(Char* buffer, std::size_t size, const Char* format, va_list args) {
    Output<Char> out(buffer, size);
    va_list rest;
    va_copy(rest, args);
    for (const Char* at = format; *at != 0;) {
        if (at[0] == '%' && at[1] != '%') {
            Directive<Char> directive = Parse(at);
            PrintDirective(out, directive, rest);
            at = directive.end;
        } else {
            out.Append(at, 1);
            at += at[0] == '%' ? 2 : 1;
        }
    }
    va_end(rest);
    return out.Finish();
}

}  // namespace

int BoundedPrintf(char* buffer, std::size_t size, const char* format, va_list args) {
    const int written = PlainPrintf(buffer, size, format, args);
    if (written != kNotPlain) return written;
    return NeedsUs(format) ? PrintOurWay(buffer, size, format, args)
                           : RuntimePrintf(buffer, size, format, args);
}

int BoundedPrintf(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args) {
    return NeedsUs(format) ? PrintOurWay(buffer, size, format, args)
                           : RuntimePrintf(buffer, size, format, args);
}

}  // namespace WindowsAgentCommon::detail
