#pragma once

#include <cstdint>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// A stopwatch over the system's high-resolution counter, which setting the clock does not move. Durations
/// are in seconds. Where the processors' counters differ, as on some machines of XP's time, a duration may be
/// wrong, even negative. A plain value; one thread at a time changes it. Nothing throws or blocks.
class CORVANE_API PerformanceTimer {
public:
    PerformanceTimer();  ///< Not started: Final() is 0 and Current() of no meaning.

    void Start();
    void End();              ///< May be called again: the last call counts.
    double Current() const;  ///< From Start() until now.
    double Final() const;    ///< From Start() to End(); negative after Start() without any End().

private:
    std::int64_t frequency_;  // counts per second
    std::int64_t start_;      // counts
    std::int64_t end_;
};

}  // namespace WindowsAgentCommon
