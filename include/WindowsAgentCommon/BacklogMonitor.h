#pragma once

#include <cstdint>
#include <string>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/LinearRegressionAlgo.h"
#include "WindowsAgentCommon/LoggerFactory.h"

namespace WindowsAgentCommon {

/// What a check of a backlog advises.
enum WHAT2DO : int {
    kBacklogOk = 0,             ///< "ok": no change
    kBacklogFallingBehind = 1,  ///< "falling behind": add workers
    kBacklogTooMany = 2,        ///< "too many": remove workers
};

/// Tells the owner of a queue and its worker threads whether they keep up.
///
///     monitor.AddSample(seconds, depth);                                   // every 5 seconds
///     switch (monitor.WhatToDo(depth, threads, log, text)) { ... }
///
/// Samples are added until a period has enough of them; a check then fits a line through the period, decides
/// and begins the next one. The disposition counts the fits of the period that rose less those that fell: the
/// check's own, and one for each call of UpdateDisposition, which an owner may make after each sample.
///
/// A check of a full period, and any check with more than 100 messages a thread, decides in this order:
/// - falling behind: the disposition is at least the high limit and more than 5 messages a thread wait, or at
///   least 100 a thread do, which is the case for no threads at all;
/// - too many: the disposition is at most the low limit, or fewer than 2 messages a thread wait;
/// - ok otherwise.
///
/// The defaults, for a sample and a check every 5 seconds:
/// - minimumSamples is 6, a period of 30 seconds. An overload may begin in the midst of a period that fell so
///   far; the next one then lies wholly within it, and both end within a minute.
/// - highDispositionLimit is 1: the period's own fit is enough, as it is the only one for an owner who does
///   not call UpdateDisposition; for one who does, more fits must have risen than fallen.
/// - lowDispositionLimit is -7, beyond what the 6 fits of a period reach: a backlog that shrinks takes no
///   worker away. Shrinking is what workers added for an overload are there for, and taking them away for it
///   would bring the overload back, over and over. They go when the queue is all but empty. An owner who
///   wants workers to go sooner sets a limit within reach.
/// The advice thus changes from adding to removing, or back, only with a backlog that went all the way from
/// more than 5 messages a thread to fewer than 2; in between it is "ok" whatever the noise. A queue that is
/// kept empty is always "too many": the owner has a least number of workers.
///
/// Threads: AddSample may run beside all else (what is added between a check's fit and its end is dropped
/// with the period). Checks, UpdateDisposition, Clear and the getters belong to one thread at a time, and the
/// limits are set before the first check. Logging aside, nothing blocks.
class CORVANE_API BacklogMonitor : public LinearRegressionAlgo {
public:
    /// capacity: samples of history. With fewer than 6, minimumSamples is the capacity.
    explicit BacklogMonitor(unsigned int capacity);
    BacklogMonitor(const BacklogMonitor& other);             ///< Copies the limits, too.
    BacklogMonitor& operator=(const BacklogMonitor& other);  ///< Copies the limits, too.
    ~BacklogMonitor() override;

    /// Begins a period: no samples, disposition and slope 0.
    void Clear() override;

    short GetDisposition() const;
    double GetSlope() const;  ///< Of the last fit, messages per unit of x.

    /// Fits, and counts a rising line as 1 and a falling one as -1 of the disposition, which stays within 16
    /// bits. Returns the disposition. With fewer than 2 samples nothing rises or falls.
    short UpdateDisposition();

    /// Checks. messages: the queue's depth. threads: the workers at its service. log: gets "Backlog check: "
    /// and text, at trace level while the period is too short, at debug level with a decision. text: replaced
    /// by a line of the numbers. The messages a thread are products of 32 bits, without a check: meant for
    /// fewer than 42 million threads.
    /// Returns the advice. After a decision the period begins anew; "ok" for a short period keeps it.
    WHAT2DO WhatToDo(unsigned int messages, unsigned int threads, Log& log, std::string& text);

private:
    std::int16_t disposition_;
    double lastSlope_;

public:
    std::uint32_t minimumSamples;       ///< A period with fewer decides only on more than 100 a thread; above
                                        ///< the capacity, no other one ever does.
    std::int16_t lowDispositionLimit;   ///< "Too many" at or below it.
    std::int16_t highDispositionLimit;  ///< "Falling behind" at or above it, with more than 5 a thread.
};

}  // namespace WindowsAgentCommon
