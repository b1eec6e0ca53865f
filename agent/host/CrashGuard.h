#pragma once

namespace CorvaneAgent {

/// Lets an unhandled structured fault or C++ exception of any thread end on the console and in the log as a
/// fatal line of "Agent.Crash", and the process with kExitCrash. Threads of their own, made here, write the
/// line to the log and then what its destinations hold, and the line to the console, of which neither waits
/// long for the other. The faulting thread only waits: after five seconds, when the log is stuck on a lock
/// that a fault inside the logging left taken, it lets one more thread write out what the log's files hold
/// without any lock, for a second at most, and ends the process; the log may lack the fatal line then. The
/// process ends at once either way: no module is told, and none can hold it up.
void InstallCrashGuard();

}  // namespace CorvaneAgent
