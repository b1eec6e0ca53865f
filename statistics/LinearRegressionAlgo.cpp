#include "WindowsAgentCommon/LinearRegressionAlgo.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <limits>

namespace WindowsAgentCommon {
namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;
using Ring = boost::circular_buffer<double>;

/// Calls visit with the first x, the first y and the length of each of the two stretches of memory that a
/// ring is, the oldest first: the ring's own iterators look for its end at every step.
template <class Visit>
void ForBothHalves(const Ring& xs, const Ring& ys, Visit visit) {
    visit(xs.array_one().first, ys.array_one().first, xs.array_one().second);
    visit(xs.array_two().first, ys.array_two().first, xs.array_two().second);
}

bool AllEqual(const Ring& ring) {
    return std::all_of(ring.begin(), ring.end(), [&](double value) { return value == ring.front(); });
}

}  // namespace

LinearRegressionAlgo::LinearRegressionAlgo(unsigned int capacity)
    : xs_(capacity), ys_(capacity), dirty_(false), slope_(0), intercept_(0), xAverage_(0), yAverage_(0) {}

LinearRegressionAlgo::LinearRegressionAlgo(const LinearRegressionAlgo& other) : LinearRegressionAlgo(0) {
    *this = other;
}

LinearRegressionAlgo& LinearRegressionAlgo::operator=(const LinearRegressionAlgo& other) {
    if (this == &other) return *this;
    // One lock at a time: two objects may be assigned to each other by two threads.
    LinearRegressionAlgo copy(0);
    {
        const Guard guard(other.lock_);
        Ring(other.xs_).swap(copy.xs_);
        Ring(other.ys_).swap(copy.ys_);
        copy.dirty_ = other.dirty_;
        copy.slope_ = other.slope_;
        copy.intercept_ = other.intercept_;
        copy.xAverage_ = other.xAverage_;
        copy.yAverage_ = other.yAverage_;
    }
    const Guard guard(lock_);
    xs_.swap(copy.xs_);
    ys_.swap(copy.ys_);
    dirty_ = copy.dirty_;
    slope_ = copy.slope_;
    intercept_ = copy.intercept_;
    xAverage_ = copy.xAverage_;
    yAverage_ = copy.yAverage_;
    return *this;
}

LinearRegressionAlgo::~LinearRegressionAlgo() = default;

void LinearRegressionAlgo::Clear() {
    const Guard guard(lock_);
    xs_.clear();
    ys_.clear();
    dirty_ = false;
    slope_ = intercept_ = xAverage_ = yAverage_ = 0;
}

void LinearRegressionAlgo::AddSample(double x, double y) {
    const Guard guard(lock_);
    xs_.push_back(x);
    ys_.push_back(y);
    dirty_ = true;
}

unsigned int LinearRegressionAlgo::GetSampleCount() const { return xs_.size(); }

bool LinearRegressionAlgo::SetData(const std::vector<double>& xs, const std::vector<double>& ys) {
    if (xs.size() != ys.size()) return false;
    if (xs.empty()) {
        Clear();
        return true;
    }
    const Guard guard(lock_);
    const std::size_t capacity = std::max(xs_.capacity(), xs.size());
    Ring newXs(capacity, xs.begin(), xs.end());
    Ring newYs(capacity, ys.begin(), ys.end());
    xs_.swap(newXs);
    ys_.swap(newYs);
    dirty_ = true;
    return true;
}

std::pair<double, double> LinearRegressionAlgo::Compute() {
    const Guard guard(lock_);
    if (dirty_ && xs_.size() >= 2) FitLocked();
    return {slope_, intercept_};
}

void LinearRegressionAlgo::FitLocked() {
    double sumX = 0, sumY = 0;
    ForBothHalves(xs_, ys_, [&](const double* x, const double* y, std::size_t count) {
        for (; count >= 2; count -= 2, x += 2, y += 2) {  // half the additions wait for another one
            sumX += x[0] + x[1];
            sumY += y[0] + y[1];
        }
        if (count != 0) {
            sumX += *x;
            sumY += *y;
        }
    });
    const double samples = xs_.size();
    const double meanX = sumX / samples, meanY = sumY / samples;
    double sxy = 0, sxx = 0;
    ForBothHalves(xs_, ys_, [&](const double* x, const double* y, std::size_t count) {
        for (; count != 0; --count, ++x, ++y) {
            const double fromMean = *x - meanX;
            sxy += (*y - meanY) * fromMean;
            sxx += fromMean * fromMean;
        }
    });
    xAverage_ = meanX;
    yAverage_ = meanY;
    // No line goes through one x: infinity, deliberately, not a failure. Asked of the samples as well as of
    // the sum, which the rounding of the mean may leave a little above 0; other samples cost one comparison.
    if (sxx == 0 || AllEqual(xs_)) {
        slope_ = intercept_ = std::numeric_limits<double>::infinity();
    } else {
        slope_ = sxy / sxx;
        intercept_ = meanY - slope_ * meanX;
    }
    dirty_ = false;
}

double LinearRegressionAlgo::GetXRollingAverage() {
    Compute();
    const Guard guard(lock_);
    return xAverage_;
}

double LinearRegressionAlgo::GetYRollingAverage() {
    Compute();
    const Guard guard(lock_);
    return yAverage_;
}

bool LinearRegressionAlgo::IsDirty() const { return dirty_; }

}  // namespace WindowsAgentCommon
