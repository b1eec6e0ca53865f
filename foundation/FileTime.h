#pragma once

#include <cstdint>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

/// \file
/// FILETIME and the ticks of foundation/Clock.h.

inline std::int64_t TicksOf(const FILETIME& time) noexcept {
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32U) |
                                     time.dwLowDateTime);
}

inline FILETIME FileTimeOf(std::int64_t ticks) noexcept {
    const auto bits = static_cast<std::uint64_t>(ticks);
    return {static_cast<DWORD>(bits), static_cast<DWORD>(bits >> 32U)};
}

}  // namespace WindowsAgentCommon::detail
