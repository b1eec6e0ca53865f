#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <string>

#include "CorvaneExport.h"
#include "CorvaneLogger/Levels.h"

namespace CorvaneLogger {

class LogDst;

/// A threshold and up to three destinations, for all categories below one dotted name.
///
/// Base loggers belong to the registry (CV_Logger) and live as long as it. Every operation may be called from
/// any thread: thresholds are read without a lock, so a change takes effect on the next call, and a line goes
/// to the destinations of before or after a change, never to a mixture.
class BaseLogger {
public:
    /// Lines of formatted text hold at most this many bytes, line feed and terminator included.
    static constexpr unsigned kLineSize = 4004;

    /// name: a dotted category prefix, or "root". level: the threshold.
    CORVANE_API BaseLogger(const std::string& name, int level);
    BaseLogger(const BaseLogger&) = delete;
    BaseLogger& operator=(const BaseLogger&) = delete;

    const std::string& Name() const noexcept { return name_; }
    int GetLevel() const noexcept { return level_.load(std::memory_order_relaxed); }
    void SetLevel(int level) noexcept { level_.store(level, std::memory_order_relaxed); }

    /// Whether a line of this level passes the threshold.
    bool Level(int level) const noexcept { return level <= GetLevel(); }

    /// Adds a destination, which is not owned; false when three are set, or destination is null.
    CORVANE_API bool AddDest(LogDst* destination);

    /// Replaces the destinations by the first three of the four slots, up to the first null.
    CORVANE_API void SetDests(LogDst* const* destinations);

    /// The number of destinations, at most three.
    std::int32_t DstCnt() const noexcept { return dstCount_.load(std::memory_order_relaxed); }

    /// Whether name is this logger's name or begins with it and a dot.
    CORVANE_API bool IsBaseFor(const std::string& name) const;

    /// Makes one line of the tag, the category's name and the message, and hands it to each destination that
    /// accepts it; the threshold is not looked at.
    /// level: decides what destinations accept. format, args: the message; with null args the format is the
    /// message itself. A message that is empty, cannot be formatted or does not fit in a line is replaced by
    /// "Unable to format log message: " and the format, deliberately not cut; only a replacement that does
    /// not fit either is cut.
    /// Throws nothing. Blocks on each destination in turn.
    CORVANE_API void log(int level, const char* tag, const char* name, const char* format,
                         va_list* args) noexcept;

private:
    static constexpr int kSlots = 4;  // the last one ends the list

    void CopyDests(LogDst* (&destinations)[kSlots]) const;
    std::uint32_t BeginChange();

    const std::string name_;
    std::atomic<std::int32_t> level_;
    std::atomic<LogDst*> dests_[kSlots];
    std::atomic<std::int32_t> dstCount_;
    std::atomic<std::uint32_t> version_;  // odd while the destinations change
};

}  // namespace CorvaneLogger
