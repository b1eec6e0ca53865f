#pragma once

namespace CorvaneAgent {

/// Lets an unhandled structured fault or C++ exception of any thread end in the log as a fatal line of
/// "Agent.Crash", and the process with kExitCrash. A thread of its own, made here, writes the line, so that a
/// fault inside the logging, or one that leaves a lock taken, cannot keep it from ending: after five seconds
/// the process ends without. What destinations hold is written as the library is told that the process ends,
/// which waits for no lock.
void InstallCrashGuard();

}  // namespace CorvaneAgent
