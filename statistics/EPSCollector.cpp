#include "WindowsAgentCommon/EPSCollector.h"

#include "WindowsAgentCommon/Formatting.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace WindowsAgentCommon {
namespace {

constexpr int kDropped = 2;  // entries that make room

// Cut to a whole number, within what "%d" prints; 0 for what is no number.
int Whole(double value) {
    using Limits = std::numeric_limits<int>;
    if (value != value) return 0;
    return static_cast<int>(std::clamp(value, double{Limits::min()}, double{Limits::max()}));
}

void AppendEntry(std::string& text, double average, unsigned long maximum, bool withMaximum) {
    std::string part;
    if (!(average >= 0.0000005) || average >= 10.0)
        Format(part, "%d", Whole(average));
    else if (average < 0.00005)
        Format(part, "%0.6f", average);
    else if (average < 0.005)
        Format(part, "%0.4f", average);
    else
        Format(part, "%4.2f", average);
    text += part;
    if (withMaximum) text += Format(part, "/%d", static_cast<int>(maximum));
    text += ' ';
}

}  // namespace

EPSCollector::EPSCollector(const char* label, int size)
    : label_(label),
      size_(std::max(size, 0)),
      count_(0),
      averages_(static_cast<std::size_t>(size_)),
      maxima_(static_cast<std::size_t>(size_)) {}

bool EPSCollector::push(double average, unsigned long maximum) {
    if (size_ == 0) return true;
    if (count_ >= size_) {
        const int dropped = std::min(kDropped, size_);
        // The last slots keep what they hold.
        std::copy(averages_.begin() + dropped, averages_.end(), averages_.begin());
        std::copy(maxima_.begin() + dropped, maxima_.end(), maxima_.begin());
        count_ -= dropped;
    }
    const auto slot = static_cast<std::size_t>(count_);
    averages_[slot] = average;
    maxima_[slot] = maximum;
    ++count_;
    return count_ == size_;
}

bool EPSCollector::push(EPSCollector& finer) {
    const bool full = push(finer.avg(), finer.max());
    finer.count_ = 0;
    return full;
}

double EPSCollector::avg() const {
    if (count_ < 1) return 0.0;
    return std::accumulate(averages_.begin(), averages_.begin() + count_, 0.0) / count_;
}

unsigned long EPSCollector::max() const {
    return maxima_.empty() ? 0 : *std::max_element(maxima_.begin(), maxima_.end());
}

std::string EPSCollector::report(bool full, bool withMaxima) const {
    std::string text;
    Format(text, "%d %s: ", full ? size_ : count_, label_);
    const auto append = [&](int newest, int oldest) {
        for (int i = newest; i >= oldest; --i) {
            const auto slot = static_cast<std::size_t>(i);
            AppendEntry(text, averages_[slot], maxima_[slot], withMaxima);
        }
    };
    append(count_ - 1, 0);
    if (full) append(size_ - 1, count_);
    return text;
}

}  // namespace WindowsAgentCommon
