#pragma once

#include "CorvaneLogger/LogDst.h"

namespace CorvaneLogger {

/// Hands log lines to the remote log monitor that is installed in the LoggerFactory, if there is one: the
/// monitor level (600 - level) / 100, the category and the message, without time stamp and line feed.
///
/// No lock is held while the monitor works, so a monitor whose own threads log cannot come to a deadlock
/// here; it is called by several threads at once. What the monitor logs itself, in the thread that it is
/// called in, goes to the other destinations only.
class CORVANE_API LogMonitorDst : public LogDst {
public:
    LogMonitorDst(const std::string& name, const std::string& cls);

    bool accept(int level) override;  ///< Never a level with the no-feed flag.
    void log(int level, const char* category, const char* line, unsigned int length,
             const char* message) override;
};

}  // namespace CorvaneLogger
