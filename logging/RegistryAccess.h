#pragma once

#include "CorvaneLogger/CV_Logger.h"

namespace CorvaneLogger::detail {

/// What ends and tests of the registry need beyond its interface.
struct RegistryAccess {
    /// Writes out what file destinations hold, at the end of the process: no waiting, no heap, nothing
    /// closed.
    static void Finish() noexcept;

    /// Destroys the registry, when the library is unloaded. A later TheLogger() would make a new one.
    static void Destroy() noexcept;

    /// One pass of the thread: flush, and at every 22nd a look at the configuration file.
    static void Pass(CV_Logger& logger) { logger.pass(); }
};

/// The same for file destinations.
struct FileAccess {
    static void Finish(LogDst& destination) noexcept;
};

/// Destroys the logger factory, when the library is unloaded.
void DestroyLoggerFactory() noexcept;

}  // namespace CorvaneLogger::detail
