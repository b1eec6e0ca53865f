#pragma once

#include <utility>
#include <vector>

#include <ace/Thread_Mutex.h>
#include <boost/circular_buffer.hpp>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// The straight line of least squares through the last samples of a series.
///
/// Adding a sample takes the same short time whatever is kept, and fits nothing; Compute fits, only when the
/// samples have changed since the last fit. Any doubles may be samples; infinities and not-a-numbers come out
/// as the arithmetic has them.
///
/// Threads: one object may be fed and read from several; every operation takes its lock, except
/// GetSampleCount and IsDirty, whose answer may be a moment old. Nothing else blocks. Operations throw
/// std::bad_alloc (or std::length_error where more than 2 GB are asked for) if they allocate: construction,
/// copying, SetData; after that the object is as it was.
class CORVANE_API LinearRegressionAlgo {
public:
    /// capacity: how many samples are kept, 16 bytes each, taken at once; with 0 none is.
    explicit LinearRegressionAlgo(unsigned int capacity);
    LinearRegressionAlgo(const LinearRegressionAlgo& other);             ///< Copies everything but the lock.
    LinearRegressionAlgo& operator=(const LinearRegressionAlgo& other);  ///< Copies everything but the lock.
    virtual ~LinearRegressionAlgo();

    /// Forgets all samples; slope, intercept and averages are 0.
    virtual void Clear();

    /// Adds a sample, in place of the oldest one when full.
    virtual void AddSample(double x, double y);

    virtual unsigned int GetSampleCount() const;

    /// Replaces the samples, the oldest first; the capacity grows if they are more. Two empty vectors clear.
    /// Returns false, and changes nothing, when the lengths differ.
    virtual bool SetData(const std::vector<double>& xs, const std::vector<double>& ys);

    /// The slope and the intercept: of the line through the samples if there are at least 2; otherwise those
    /// of the last fit, 0 after Clear and at first. Both are positive infinity when all x are equal.
    virtual std::pair<double, double> Compute();

    /// The mean of the x or y that Compute, which this calls, last saw; 0 while there was no fit.
    virtual double GetXRollingAverage();
    virtual double GetYRollingAverage();

protected:
    bool IsDirty() const;  ///< Whether the samples have changed since the last fit or Clear.

private:
    using Ring = boost::circular_buffer<double>;

    void FitLocked();

    // Both rings are always filled in the same way, so that their samples lie alike in memory.
    Ring xs_;
    Ring ys_;
    bool dirty_;
    double slope_;
    double intercept_;
    double xAverage_;
    double yAverage_;
    mutable ACE_Thread_Mutex lock_;  // guards everything above
};

}  // namespace WindowsAgentCommon
