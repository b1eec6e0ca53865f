#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include <ace/Thread_Mutex.h>

#include "CorvaneExport.h"

namespace CorvaneLogger {

/// Where log lines go. This base keeps what all destinations have in common (name, threshold, time stamp,
/// parameters, lock) and drops every line.
///
/// All texts are UTF-8. Thread rule: every operation may be called from any thread; each destination's own
/// lock makes one of another. Nothing throws but std::bad_alloc.
///
/// A thread that logs while the process is ending, when the system has already ended the other threads, does
/// not wait for a lock that one of those holds: its line is dropped.
class CORVANE_API LogDst {
public:
    /// name: the configured name. cls: the class name it was configured with. type: the class's own name,
    /// which outlives the object.
    LogDst(const std::string& name, const std::string& cls, const char* type = "LogDst");
    LogDst(const LogDst&) = delete;
    LogDst& operator=(const LogDst&) = delete;
    virtual ~LogDst();

    /// Takes parameters over; names are compared without regard to case. "Prefix" or "ConversionPattern" is
    /// the strftime pattern of the time stamp (Microsoft C runtime, local time, at most 20 characters, empty
    /// for no time stamp); one that is too long is refused with a line of the destination's own, one with a
    /// code that the runtime does not know is refused in "logger.log", and the pattern stays as it was.
    /// "Level" is the threshold's name. All parameters are kept for getParam, in place of those of an earlier
    /// call.
    virtual void setup(std::map<std::string, std::string>& params);

    /// Whether a line of this level is wanted. The no-feed flag is taken off before levels are compared.
    virtual bool accept(int level);

    /// Takes a line that was accepted. level: as logged, with the no-feed flag. line, length: the whole line
    /// with its line feed, length bytes, without time stamp. message: the part of line after the category,
    /// terminated.
    virtual void log(int level, const char* category, const char* line, unsigned int length,
                     const char* message);

    /// Writes out what is held back. closeIfIdle: gives up what is open when nothing was held back.
    virtual void flush(bool closeIfIdle);

    /// The value of a parameter given to setup; false, and value as it was, when there is none. The name is
    /// compared without regard to case.
    bool getParam(const char* name, std::string& value);

    /// Whether the destination's own class has this name.
    bool IsA(const char* type) const noexcept;

    const std::string& name() const noexcept { return name_; }
    const std::string& cls() const noexcept { return cls_; }
    const char* type() const noexcept { return type_; }

protected:
    static constexpr unsigned int kPatternSize = 21;  // with the terminator
    static constexpr unsigned int kStampSize = 36;    // of the formatted time, with the terminator
    static constexpr unsigned int kPrefixSize = kStampSize + 6;

    /// Brings prefix_ up to date: the time stamp with milliseconds and a blank, or nothing where the pattern
    /// is empty. Called under the lock. Returns prefix_, terminated; its length is prefixLen_.
    const char* getPrefix() noexcept;

    /// Hands the destination a line of its own, under the category "LogDst". Called without the lock.
    void logToSelf(int level, const char* tag, const std::string& message);

    std::string name_;
    std::string cls_;
    const char* type_;
    char prefixPattern_[kPatternSize];
    char prefix_[kPrefixSize];
    std::uint32_t prefixLen_;
    std::atomic<std::int32_t> level_;
    std::int64_t lastStampMs_;  // system time, milliseconds since 1601
    mutable ACE_Thread_Mutex lock_;
    std::map<std::string, std::string> params_;

private:
    bool setPrefixPattern(const std::string& pattern);
    void formatStamp(std::int64_t milliseconds) noexcept;

    std::uint32_t stampLen_;  // of the part of prefix_ before the milliseconds
};

}  // namespace CorvaneLogger
