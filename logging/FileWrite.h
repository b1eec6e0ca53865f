#pragma once

#include <cstdint>

namespace CorvaneLogger::detail {

/// How log files are written: the system's WriteFile, or a test's stand-in for a disk that fills up. Writes
/// size bytes at the file's position, or its end. Returns how many it wrote, and sets error (0 when all).
using FileWrite = std::uint32_t (*)(void* file, const void* bytes, std::uint32_t size, unsigned long& error);

/// Writes through the one in place.
std::uint32_t WriteLogFile(void* file, const void* bytes, std::uint32_t size, unsigned long& error);

/// Puts a stand-in in place; null means the system again.
void ReplaceFileWrite(FileWrite write) noexcept;

}  // namespace CorvaneLogger::detail
