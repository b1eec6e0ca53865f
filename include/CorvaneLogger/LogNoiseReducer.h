#pragma once

#include <cstdint>

#include "CorvaneExport.h"

namespace CorvaneLogger {

/// Lets a call site log a repeated message seldom: one message passes, then its repetitions are demoted for
/// 60 seconds or until the hundredth. One reducer belongs to one call site.
///
/// Thread rule: not locked, and meant for one thread at a time; several threads at once get wrong counts and
/// nothing worse.
class LogNoiseReducer {
public:
    CORVANE_API LogNoiseReducer();

    /// Whether this message may be logged at its own level. key: the message's format; the pointer is
    /// compared, not the text, and never read through. Null counts as a repetition of the last message.
    /// The repetition that ends the period or the count is demoted too: the one after it passes.
    CORVANE_API bool canLog(const char* key);

private:
    std::int32_t maxRepeats_;
    std::int32_t period_;       // seconds
    std::int32_t demoteLevel_;  // carried; the logging calls have fixed levels for what they demote
    std::int32_t count_;
    std::int64_t firstTime_;  // steady time, seconds
    const char* lastKey_;
};

}  // namespace CorvaneLogger
