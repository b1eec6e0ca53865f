#pragma once

namespace CorvaneAgent {

/// Lets an unhandled structured fault or C++ exception of any thread end on the console and in the log as a
/// fatal line of "Agent.Crash", and the process with kExitCrash. A thread of its own, made here, writes the
/// line and then what the log's destinations hold. The faulting thread only waits: after five seconds, when
/// the other one is stuck on a lock that a fault inside the logging left taken, it ends the process with what
/// was written by then. The process ends at once either way: no module is told, and none can hold it up.
void InstallCrashGuard();

}  // namespace CorvaneAgent
