#pragma once

#include <cstddef>
#include <string>

namespace WindowsAgentCommon::detail {

/// Texts below this length, in units of the input, are converted on the stack.
constexpr std::size_t kShortTextLimit = 501;

/// The result of a conversion: short text lies inside the object, longer text on the heap.
template <class Char, std::size_t Capacity>
class ConvertedText {
public:
    const Char* Data() const noexcept { return onHeap_ ? heap_.data() : stack_; }
    std::size_t Size() const noexcept { return onHeap_ ? heap_.size() : size_; }

    /// The text as a string; the object is used up.
    std::basic_string<Char> Take() {
        return onHeap_ ? std::move(heap_) : std::basic_string<Char>(stack_, size_);
    }

protected:
    ConvertedText() = default;

    bool onHeap_ = false;
    std::size_t size_ = 0;
    std::basic_string<Char> heap_;
    Char stack_[Capacity];
};

/// UTF-16 converted to a narrow code page. Invalid text gives whatever the system's converter makes of it.
/// Throws std::bad_alloc, and std::length_error for text that an int cannot count.
class NarrowText : public ConvertedText<char, 2001> {
public:
    NarrowText(unsigned int codePage, const wchar_t* text, std::size_t length);
};

/// Text of a narrow code page converted to UTF-16. Everything else as for NarrowText.
class WideText : public ConvertedText<wchar_t, kShortTextLimit> {
public:
    WideText(unsigned int codePage, const char* text, std::size_t length);
};

}  // namespace WindowsAgentCommon::detail
