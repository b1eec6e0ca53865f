#pragma once

#include <algorithm>

namespace CorvaneAgent {

/// How long to wait before each next try: from a minimum, doubled each time up to a maximum, and of that a
/// random share between half and all, so that many agents do not come back together.
class Backoff {
public:
    static constexpr int kMaxChance = 1000;

    /// In ms, at most an hour each.
    Backoff(unsigned int minimum, unsigned int maximum) : minimum_(minimum), maximum_(maximum) {}

    /// The next wait in ms. chance: random, 0 to kMaxChance.
    unsigned int Next(int chance) {
        next_ = next_ == 0 ? minimum_ : std::min(next_ * 2, maximum_);
        const unsigned int half = next_ / 2;
        return next_ - half + half * static_cast<unsigned int>(chance) / kMaxChance;
    }

    void Reset() { next_ = 0; }  ///< The next wait is the shortest again.

private:
    unsigned int minimum_, maximum_;
    unsigned int next_ = 0;
};

}  // namespace CorvaneAgent
