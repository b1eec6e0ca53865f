#pragma once

#include "CorvaneExport.h"

namespace CorvaneLogger::detail {

/// The file in which logging reports its own troubles, in the working folder that the process had at the
/// first use of a log path.
constexpr char kSideFile[] = "logger.log";

/// At this size, in bytes, the side file is set aside as kOldSideFile, in place of the one before, and begun
/// anew: twice this is the most that it takes on the disk.
constexpr unsigned kSideFileLimit = 5'000'000;
constexpr char kOldSideFile[] = "logger_old.log";

/// The longest message, in bytes; the rest of a longer one is cut.
constexpr unsigned kSideMessageSize = 2000;

/// Appends one line to the side file: heading, two blanks, the message, a line feed. heading: taken as it is,
/// a destination's time prefix or the name of the operation that reports. format: as for Format(). Opens and
/// closes the file; what cannot be written is dropped. Thread-safe; throws nothing. Keeps GetLastError().
void WriteSideFile(const char* heading, const char* format, ...) noexcept CORVANE_PRINTF(2, 3);

}  // namespace CorvaneLogger::detail
