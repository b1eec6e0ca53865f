#pragma once

#include <string>

namespace CorvaneLogger::detail {

/// The absolute form of a log file's path (UTF-8, "/" or "\"), relative to the working folder that the
/// process had at the first call: a later change of it moves no log file. Empty path gives that folder with a
/// backslash at its end. A path that the system refuses comes back as it is. Thread-safe; throws only
/// std::bad_alloc.
std::wstring LogPath(const std::string& path);

}  // namespace CorvaneLogger::detail
