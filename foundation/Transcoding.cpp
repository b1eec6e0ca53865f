#include "foundation/Transcoding.h"

#include <climits>
#include <stdexcept>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

namespace {

int CheckedLength(std::size_t length) {
    if (length > INT_MAX) throw std::length_error("Text too long to convert");
    return static_cast<int>(length);
}

// The converter reports failure as zero, which makes the text empty.
std::size_t Count(int converted) noexcept { return static_cast<std::size_t>(converted); }

}  // namespace

NarrowText::NarrowText(unsigned int codePage, const wchar_t* text, std::size_t length) {
    // Four bytes for a unit and a terminator: more than any code page needs.
    static_assert(sizeof(stack_) >= 4 * (kShortTextLimit - 1) + 1);
    const int units = CheckedLength(length);
    if (units == 0) return;
    if (length < kShortTextLimit) {
        size_ =
            Count(::WideCharToMultiByte(codePage, 0, text, units, stack_, sizeof(stack_), nullptr, nullptr));
        return;
    }
    onHeap_ = true;
    const int bytes = ::WideCharToMultiByte(codePage, 0, text, units, nullptr, 0, nullptr, nullptr);
    heap_.resize(Count(bytes));
    ::WideCharToMultiByte(codePage, 0, text, units, heap_.data(), bytes, nullptr, nullptr);
}

WideText::WideText(unsigned int codePage, const char* text, std::size_t length) {
    // A byte gives at most one unit; one place more for a terminator.
    static_assert(sizeof(stack_) / sizeof(wchar_t) >= kShortTextLimit);
    const int bytes = CheckedLength(length);
    if (bytes == 0) return;
    if (length < kShortTextLimit) {
        size_ = Count(::MultiByteToWideChar(codePage, 0, text, bytes, stack_, kShortTextLimit));
        return;
    }
    onHeap_ = true;
    const int units = ::MultiByteToWideChar(codePage, 0, text, bytes, nullptr, 0);
    heap_.resize(Count(units));
    ::MultiByteToWideChar(codePage, 0, text, bytes, heap_.data(), units);
}

}  // namespace WindowsAgentCommon::detail
