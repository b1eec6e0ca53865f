#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// A history of a fixed number of slots, each with an average and a maximum of events per second. Not locked:
/// one thread at a time.
class CORVANE_API EPSCollector {
public:
    /// label: what the slots stand for, static text that outlives the object and all its copies. size: the
    /// number of slots; below 1 a collector that keeps nothing.
    EPSCollector(const char* label, int size);

    /// Adds an entry. A full collector first drops its two oldest entries, deliberately two: one that is
    /// never emptied is full after every second push. Returns whether it is full now.
    bool push(double average, unsigned long maximum);

    /// Adds what a finer collector holds as one entry, and empties that one: the mean of its averages (0 if
    /// it has none) and the largest of all its maxima, deliberately those of slots emptied before included.
    /// Returns whether this one is full now.
    bool push(EPSCollector& finer);

    double avg() const;         ///< The mean of the averages held; 0 when there are none.
    unsigned long max() const;  ///< The largest of all slots' maxima, emptied ones included.
    bool isEmpty() const noexcept { return count_ == 0; }

    /// The history as text, newest entry first: "5 Minutes: 2.40 12 0.0167 0 0.50 ", every entry followed by
    /// a blank. An average of 10 or more is cut to a whole number, as is one that rounds to 0 at six
    /// decimals; others have 2, 4 or 6 decimals. full: the number of slots stands in front instead of that of
    /// the entries, and what emptied slots still hold follows, last slot first. withMaxima: "/" and the
    /// maximum follow each average; one beyond 2^31 - 1 is deliberately printed as a negative number.
    std::string report(bool full, bool withMaxima) const;

private:
    const char* label_;
    std::int32_t size_;
    std::int32_t count_;
    std::vector<double> averages_;
    std::vector<unsigned long> maxima_;
};

}  // namespace WindowsAgentCommon
