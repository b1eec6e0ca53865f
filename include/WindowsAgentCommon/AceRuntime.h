#pragma once

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// \file
/// Who starts and ends the ACE runtime.
///
/// ACE's threads and timers need a started runtime; a thread begun without it crashes.
/// - A host that uses ACE itself calls `ACE::init()` first thing in main, before anything of this library,
///   and `ACE::fini()` last, after the library's threads are closed. (ACE counts these calls: after an
///   `ACE::init()` that comes later than the library's own start, `ACE::fini()` ends nothing.)
/// - A host that does not may leave both out. Whatever in the library starts a thread calls
///   EnsureAceInitialized() first, and the runtime it started lasts until the process ends.
/// - A host that loads services ends them with `ACE_Service_Config::close()` or, as the first kind of host,
///   `ACE::fini()`; otherwise their fini() is never called.

/// Starts the ACE runtime unless it runs already; also starts it again after an early `ACE::fini()`.
/// Takes a lock for a few instructions. Thread-safe; must not be called from DllMain. The start
/// may change the thread's last error.
/// Throws InitializationException when ACE cannot be started; a later call tries again.
CORVANE_API void EnsureAceInitialized();

}  // namespace WindowsAgentCommon
