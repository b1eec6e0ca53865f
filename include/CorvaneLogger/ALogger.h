#pragma once

#include <atomic>
#include <string>

#include "CorvaneExport.h"
#include "CorvaneLogger/BaseLogger.h"
#include "CorvaneLogger/LogNoiseReducer.h"

// A level that is off must cost one comparison in the caller. GCC can hand the arguments of an inlined
// variadic function on; clang reads this header only to check it.
#ifdef __clang__
#define CORVANE_INLINE_LOG inline
#define CORVANE_LOG_ARGUMENTS 0
#else
#define CORVANE_INLINE_LOG [[gnu::always_inline, gnu::gnu_inline]] inline
#define CORVANE_LOG_ARGUMENTS __builtin_va_arg_pack()
#endif

namespace CorvaneLogger {

/// A category's logging handle, obtained once from CV_Logger::Logger and kept; the registry owns it.
///
/// Formats are those of WindowsAgentCommon/Formatting.h. A std::string is logged as it is, up to a zero byte.
/// Every call may be made from any thread, at any time; it throws nothing and never fails visibly. A level
/// that is off costs one comparison. What a line looks like is BaseLogger's and the destinations' business.
///
/// A call with a LogNoiseReducer logs a repeated message as a demoted one: its level and tag are those of the
/// table at each call.
class ALogger {
public:
    /// name: the whole category name. base: serves the category; not owned, not null.
    CORVANE_API ALogger(const std::string& name, BaseLogger* base);
    ALogger(const ALogger&) = delete;
    ALogger& operator=(const ALogger&) = delete;

    /// Changes who serves the category. base: not null.
    void Reset(BaseLogger* base) noexcept { base_.store(base, std::memory_order_release); }
    BaseLogger* Base() const noexcept { return base_.load(std::memory_order_acquire); }
    const std::string& Name() const noexcept { return name_; }

    bool IsDebugEnabled() const noexcept { return Base()->Level(kLevelDebug); }
    bool IsTraceEnabled() const noexcept { return Base()->Level(kLevelTrace); }

    CORVANE_INLINE_LOG void Fatal(const char* format, ...) CORVANE_PRINTF(2, 3) {
        if (Base()->Level(kLevelFatal)) write(kLevelFatal, "FATAL", format, CORVANE_LOG_ARGUMENTS);
    }
    CORVANE_INLINE_LOG void Error(const char* format, ...) CORVANE_PRINTF(2, 3) {
        if (Base()->Level(kLevelError)) write(kLevelError, "ERROR", format, CORVANE_LOG_ARGUMENTS);
    }
    CORVANE_INLINE_LOG void Warn(const char* format, ...) CORVANE_PRINTF(2, 3) {
        if (Base()->Level(kLevelWarn)) write(kLevelWarn, "WARN ", format, CORVANE_LOG_ARGUMENTS);
    }
    CORVANE_INLINE_LOG void Info(const char* format, ...) CORVANE_PRINTF(2, 3) {
        if (Base()->Level(kLevelInfo)) write(kLevelInfo, "INFO ", format, CORVANE_LOG_ARGUMENTS);
    }
    CORVANE_INLINE_LOG void InfoX(const char* format, ...) CORVANE_PRINTF(2, 3) {
        if (Base()->Level(kLevelInfoX)) write(kLevelInfoX, "InfoX", format, CORVANE_LOG_ARGUMENTS);
    }
    CORVANE_INLINE_LOG void Debug(const char* format, ...) CORVANE_PRINTF(2, 3) {
        if (Base()->Level(kLevelDebug)) write(kLevelDebug, "DEBUG", format, CORVANE_LOG_ARGUMENTS);
    }
    CORVANE_INLINE_LOG void Trace(const char* format, ...) CORVANE_PRINTF(2, 3) {
        if (Base()->Level(kLevelTrace)) write(kLevelTrace, "TRACE", format, CORVANE_LOG_ARGUMENTS);
    }

    /// A debug line; with trace a demoted one, which is a trace line with the tag "TRC_D".
    CORVANE_INLINE_LOG void DbgTrc(bool trace, const char* format, ...) CORVANE_PRINTF(3, 4) {
        if (Base()->Level(trace ? kLevelTrace : kLevelDebug))
            write(trace ? kLevelTrace : kLevelDebug, trace ? "TRC_D" : "DEBUG", format,
                  CORVANE_LOG_ARGUMENTS);
    }

    /// An error that stays on the machine: no remote log monitor gets it. The threshold sees a plain error.
    CORVANE_INLINE_LOG void ErrorNoFeed(const char* format, ...) CORVANE_PRINTF(2, 3) {
        if (Base()->Level(kLevelError)) write(kLevelError + kNoFeed, "ERROR", format, CORVANE_LOG_ARGUMENTS);
    }
    /// A warning that stays on the machine.
    CORVANE_INLINE_LOG void WarnNoFeed(const char* format, ...) CORVANE_PRINTF(2, 3) {
        if (Base()->Level(kLevelWarn)) write(kLevelWarn + kNoFeed, "WARN ", format, CORVANE_LOG_ARGUMENTS);
    }

    void Fatal(const std::string& text) { writeText(kLevelFatal, "FATAL", text); }
    void Error(const std::string& text) { writeText(kLevelError, "ERROR", text); }
    void Warn(const std::string& text) { writeText(kLevelWarn, "WARN ", text); }
    void Info(const std::string& text) { writeText(kLevelInfo, "INFO ", text); }

    /// Repetitions become debug lines with the tag "DBG_E".
    CORVANE_API void Error(LogNoiseReducer& reducer, const char* format, ...) CORVANE_PRINTF(3, 4);
    /// Repetitions become debug lines with the tag "DBG_W".
    CORVANE_API void Warn(LogNoiseReducer& reducer, const char* format, ...) CORVANE_PRINTF(3, 4);
    /// Repetitions become debug lines with the tag "DBG_I".
    CORVANE_API void Info(LogNoiseReducer& reducer, const char* format, ...) CORVANE_PRINTF(3, 4);
    /// Repetitions become trace lines with the tag "TRC_D".
    CORVANE_API void Debug(LogNoiseReducer& reducer, const char* format, ...) CORVANE_PRINTF(3, 4);

private:
    CORVANE_API void write(int level, const char* tag, const char* format, ...) noexcept CORVANE_PRINTF(4, 5);
    CORVANE_API void writeText(int level, const char* tag, const std::string& text) noexcept;

    const std::string name_;
    std::atomic<BaseLogger*> base_;
};

}  // namespace CorvaneLogger

#undef CORVANE_INLINE_LOG
#undef CORVANE_LOG_ARGUMENTS
