#include "CorvaneLogger/BaseLogger.h"

#include "CorvaneLogger/LogDst.h"
#include "foundation/Printf.h"
#include "logging/ProcessEnd.h"
#include "logging/SideFile.h"

#include <ace/OS_NS_Thread.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace CorvaneLogger {
namespace {

/// One log line under construction: prefix, message, line feed, terminator.
class Line {
public:
    /// A category too long for a line is cut so that half of the line remains for the message.
    Line(const char* tag, const char* name) {
        constexpr std::size_t kLongestPrefix = BaseLogger::kLineSize / 2;
        char* at = Copy(text_, text_ + kLongestPrefix - 4, tag);
        *at++ = ' ';
        at = Copy(at, text_ + kLongestPrefix - 3, name);
        at = Copy(at, text_ + kLongestPrefix, " : ");
        prefixLength_ = length_ = static_cast<std::size_t>(at - text_);
    }

    void Message(const char* format, va_list* args) {
        if (args != nullptr ? !Formatted(format, *args) : !Copied(format)) {
            length_ = prefixLength_;
            constexpr char kFailure[] = "Unable to format log message: ";
            Append(kFailure, sizeof kFailure - 1, kTextLimit);
            Append(format, std::strlen(format), kTextLimit);
        }
        text_[length_++] = '\n';
        text_[length_] = 0;
    }

    const char* Text() const { return text_; }
    unsigned Length() const { return static_cast<unsigned>(length_); }
    const char* MessagePart() const { return text_ + prefixLength_; }

private:
    static constexpr std::size_t kTextLimit = BaseLogger::kLineSize - 2;  // line feed and terminator

    // Without strlen and memcpy, whose calls take longer than the few bytes do.
    static char* Copy(char* at, const char* end, const char* text) {
        while (*text != 0 && at != end) *at++ = *text++;
        return at;
    }

    void Append(const char* text, std::size_t size, std::size_t limit) {
        const std::size_t taken = std::min(size, limit - length_);
        std::memcpy(text_ + length_, text, taken);
        length_ += taken;
    }

    bool Copied(const char* text) {
        const std::size_t size = std::strlen(text);
        if (size == 0 || size > kTextLimit - length_) return false;
        Append(text, size, kTextLimit);
        return true;
    }

    bool Formatted(const char* format, va_list args) {
        const int size =
            WindowsAgentCommon::detail::BoundedPrintf(text_ + length_, kTextLimit - length_, format, args);
        if (size <= 0) return false;
        length_ += static_cast<std::size_t>(size);
        return true;
    }

    std::size_t length_ = 0;
    std::size_t prefixLength_ = 0;
    char text_[BaseLogger::kLineSize];
};

}  // namespace

BaseLogger::BaseLogger(const std::string& name, int level)
    : name_(name), level_(level), dests_{}, dstCount_(0), version_(0) {}

bool BaseLogger::AddDest(LogDst* destination) {
    if (destination == nullptr) return false;
    const std::uint32_t changing = BeginChange();
    const std::int32_t count = DstCnt();
    const bool room = count < kSlots - 1;
    if (room) {
        dests_[count].store(destination, std::memory_order_relaxed);
        dstCount_.store(count + 1, std::memory_order_relaxed);
    }
    version_.store(changing + 1, std::memory_order_release);
    return room;
}

void BaseLogger::SetDests(LogDst* const* destinations) {
    const std::uint32_t changing = BeginChange();
    std::int32_t count = 0;
    while (count < kSlots - 1 && destinations[count] != nullptr) ++count;
    for (std::int32_t slot = 0; slot < kSlots; ++slot)
        dests_[slot].store(slot < count ? destinations[slot] : nullptr, std::memory_order_relaxed);
    dstCount_.store(count, std::memory_order_relaxed);
    version_.store(changing + 1, std::memory_order_release);
}

bool BaseLogger::IsBaseFor(const std::string& name) const {
    return name.compare(0, name_.size(), name_) == 0 &&
           (name.size() == name_.size() || name[name_.size()] == '.');
}

// Makes the version odd, which only one thread at a time can do, and returns it.
std::uint32_t BaseLogger::BeginChange() {
    for (;;) {
        std::uint32_t version = version_.load(std::memory_order_relaxed) & ~1U;
        if (version_.compare_exchange_weak(version, version + 1, std::memory_order_acquire)) {
            std::atomic_thread_fence(std::memory_order_release);  // readers see the odd version first
            return version + 1;
        }
        ACE_OS::thr_yield();
    }
}

void BaseLogger::CopyDests(LogDst* (&destinations)[kSlots]) const {
    for (;;) {
        const std::uint32_t before = version_.load(std::memory_order_acquire);
        for (int slot = 0; slot < kSlots; ++slot)
            destinations[slot] = dests_[slot].load(std::memory_order_relaxed);
        std::atomic_thread_fence(std::memory_order_acquire);
        if (before % 2 == 0 && version_.load(std::memory_order_relaxed) == before) return;
        if (detail::ProcessIsEnding()) return;  // who changed them is no more; any mixture serves
        ACE_OS::thr_yield();
    }
}

void BaseLogger::log(int level, const char* tag, const char* name, const char* format,
                     va_list* args) noexcept {
    Line line(tag, name);
    try {
        line.Message(format != nullptr ? format : "", args);
    } catch (const std::bad_alloc&) {
        return;  // text of the other width that found no memory; logging throws nothing into its caller
    }

    // With DEBUG or TRACE on, InfoX lines are not held to the allowance of files.
    const int effective = level == kLevelInfoX ? std::max(level, GetLevel()) : level;
    LogDst* destinations[kSlots];
    CopyDests(destinations);
    for (LogDst* const* slot = destinations; *slot != nullptr; ++slot) {
        try {
            if ((*slot)->accept(effective))
                (*slot)->log(level, name, line.Text(), line.Length(), line.MessagePart());
        } catch (...) {
            detail::WriteSideFile("log", "Destination %s threw an exception", (*slot)->name().c_str());
        }
    }
}

}  // namespace CorvaneLogger
