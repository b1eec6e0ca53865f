#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include <ace/Time_Value.h>

#include "foundation/Clock.h"

namespace WindowsAgentCommon::detail {

constexpr std::int64_t kTicksPerMicrosecond = kTicksPerSecond / 1'000'000;

/// A span of time in ticks.
inline std::int64_t Ticks(const ACE_Time_Value& span) {
    return std::int64_t{span.sec()} * kTicksPerSecond + std::int64_t{span.usec()} * kTicksPerMicrosecond;
}

/// A span of ticks as ACE has it: in microseconds, rounded towards zero, with 32 bits of seconds at most.
inline ACE_Time_Value AceTime(std::int64_t ticks) {
    using Limits = std::numeric_limits<std::int32_t>;
    const std::int64_t seconds =
        std::clamp<std::int64_t>(ticks / kTicksPerSecond, Limits::min() + 1, Limits::max());
    return ACE_Time_Value(static_cast<time_t>(seconds),
                          static_cast<suseconds_t>(ticks % kTicksPerSecond / kTicksPerMicrosecond));
}

}  // namespace WindowsAgentCommon::detail
