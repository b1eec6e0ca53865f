#pragma once

#include <cstdint>

namespace CorvaneAgent {

/// \file
/// Where the agent takes its time and its waiting from. Thread-safe.

/// Milliseconds that advance steadily, whatever is done to the system's clock; from an arbitrary beginning.
std::int64_t SteadyMilliseconds() noexcept;

/// Milliseconds since 1970 (UTC) by the system's clock.
std::int64_t SystemMilliseconds() noexcept;

/// Makes SteadyMilliseconds() return what source returns; null means the system again. For tests.
void ReplaceSteadyClock(std::int64_t (*source)() noexcept) noexcept;

}  // namespace CorvaneAgent
