#include "WindowsAgentCommon/Formatting.h"

#include "foundation/Printf.h"

#include <memory>

namespace WindowsAgentCommon {

namespace {

constexpr std::size_t kFirstSize = 1024;
constexpr std::size_t kLargestSize = 0xFFFFFF;

// out is written only when the text is complete, so that arguments may point into it.
template <class Char>
void FormatInto(std::basic_string<Char>& out, const Char* format, va_list args) {
    Char first[kFirstSize];
    std::unique_ptr<Char[]> larger;
    Char* buffer = first;
    for (std::size_t size = kFirstSize; format != nullptr;) {
        va_list copy;
        va_copy(copy, args);
        const int result = detail::BoundedPrintf(buffer, size, format, copy);
        va_end(copy);
        if (result >= 0 && static_cast<std::size_t>(result) < size) {
            out.assign(buffer, static_cast<std::size_t>(result));
            return;
        }
        size = result < 0 ? size * 2 : static_cast<std::size_t>(result) + 1;
        if (size > kLargestSize) break;
        larger.reset();  // two large buffers are never held at once
        larger = std::make_unique<Char[]>(size);
        buffer = larger.get();
    }
    out.clear();
}

}  // namespace

std::string varargs2string(const char* format, va_list args) {
    std::string text;
    FormatInto(text, format, args);
    return text;
}

std::wstring varargs2wstring(const wchar_t* format, va_list args) {
    std::wstring text;
    FormatInto(text, format, args);
    return text;
}

const char* Format(std::string& out, const char* format, ...) {
    va_list args;
    va_start(args, format);
    FormatInto(out, format, args);
    va_end(args);
    return out.c_str();
}

const wchar_t* Format(std::wstring& out, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    FormatInto(out, format, args);
    va_end(args);
    return out.c_str();
}

}  // namespace WindowsAgentCommon
