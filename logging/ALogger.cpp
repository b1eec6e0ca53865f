#include "CorvaneLogger/ALogger.h"

#include <cstdarg>

namespace CorvaneLogger {

ALogger::ALogger(const std::string& name, BaseLogger* base) : name_(name), base_(base) {}

void ALogger::write(int level, const char* tag, const char* format, ...) noexcept {
    va_list args;
    va_start(args, format);
    Base()->log(level, tag, name_.c_str(), format, &args);
    va_end(args);
}

void ALogger::writeText(int level, const char* tag, const std::string& text) noexcept {
    BaseLogger* const base = Base();
    if (base->Level(level)) base->log(level, tag, name_.c_str(), text.c_str(), nullptr);
}

namespace {

struct Severity {
    int level;
    const char* tag;
};

void WriteReduced(const ALogger& logger, LogNoiseReducer& reducer, Severity normal, Severity demoted,
                  const char* format, va_list* args) {
    const Severity severity = reducer.canLog(format) ? normal : demoted;
    BaseLogger* const base = logger.Base();
    if (base->Level(severity.level))
        base->log(severity.level, severity.tag, logger.Name().c_str(), format, args);
}

}  // namespace

void ALogger::Error(LogNoiseReducer& reducer, const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteReduced(*this, reducer, {kLevelError, "ERROR"}, {kLevelDebug, "DBG_E"}, format, &args);
    va_end(args);
}

void ALogger::Warn(LogNoiseReducer& reducer, const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteReduced(*this, reducer, {kLevelWarn, "WARN "}, {kLevelDebug, "DBG_W"}, format, &args);
    va_end(args);
}

void ALogger::Info(LogNoiseReducer& reducer, const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteReduced(*this, reducer, {kLevelInfo, "INFO "}, {kLevelDebug, "DBG_I"}, format, &args);
    va_end(args);
}

void ALogger::Debug(LogNoiseReducer& reducer, const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteReduced(*this, reducer, {kLevelDebug, "DEBUG"}, {kLevelTrace, "TRC_D"}, format, &args);
    va_end(args);
}

}  // namespace CorvaneLogger
