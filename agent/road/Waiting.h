#pragma once

#include <ace/Condition_Thread_Mutex.h>
#include <ace/OS_NS_sys_time.h>

namespace CorvaneAgent {

/// Waits for a condition whose mutex the caller holds, for at most so many milliseconds; returns earlier for
/// a signal or for no reason. The wait follows the system's clock: keep it short and judge time elsewhere.
inline void WaitStep(ACE_Condition_Thread_Mutex& condition, int milliseconds) {
    const ACE_Time_Value end =
        ACE_OS::gettimeofday() + ACE_Time_Value(milliseconds / 1000, milliseconds % 1000 * 1000);
    condition.wait(&end);
}

}  // namespace CorvaneAgent
