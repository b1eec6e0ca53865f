#pragma once

#include "CorvaneLogger/CV_Logger.h"

namespace CorvaneLogger::detail {

/// What ends and tests of the registry need beyond its interface.
struct RegistryAccess {
    /// Destroys the registry, when the library is unloaded. A later TheLogger() would make a new one.
    static void Destroy() noexcept;

    /// One pass of the thread: flush, and at every 22nd a look at the configuration file.
    static void Pass(CV_Logger& logger) { logger.pass(); }
};

/// CV_Logger::WriteOutUnlocked for a file destination, which stays open.
struct FileAccess {
    static void Finish(LogDst& destination) noexcept;
};

/// Destroys the logger factory, when the library is unloaded.
void DestroyLoggerFactory() noexcept;

}  // namespace CorvaneLogger::detail
