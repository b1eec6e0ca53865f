#pragma once

#include <memory>
#include <random>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// Uniformly distributed integers of a range, from a minimal-standard linear congruential engine (multiplier
/// 48271, modulus 2^31 - 1) that is seeded with the system's tick count in ms. For spreading work, not for
/// secrets.
///
/// Copies draw from the same sequence: they share the engine and, with it, the need for one lock around
/// Next() when several threads use them.
class CORVANE_API RandomInteger {
public:
    /// minimum, maximum: both are drawn too.
    /// Throws KORException when minimum is above maximum.
    RandomInteger(int minimum, int maximum);

    int Next();  ///< The next number.

private:
    std::shared_ptr<std::minstd_rand> engine_;
    int minimum_;
    int maximum_;
};

}  // namespace WindowsAgentCommon
