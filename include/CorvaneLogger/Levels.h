#pragma once

/// \namespace CorvaneLogger
/// The agent's own diagnostic log.
namespace CorvaneLogger {

/// \file
/// The levels of log lines. A line passes a threshold that is greater than or equal to its level.

constexpr int kLevelFatal = 0;
constexpr int kLevelError = 100;
constexpr int kLevelWarn = 200;
constexpr int kLevelInfo = 300;
constexpr int kLevelInfoX = 350;  ///< Detailed information; files take a limited number of such lines.
constexpr int kLevelDebug = 400;
constexpr int kLevelTrace = 500;

/// Added to a level: the line never leaves the machine through a remote log monitor.
constexpr int kNoFeed = 0x400;

/// The level itself, without kNoFeed.
constexpr int PlainLevel(int level) { return level & ~kNoFeed; }

}  // namespace CorvaneLogger
