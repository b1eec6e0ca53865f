#pragma once

#include <ace/Thread_Mutex.h>

namespace CorvaneLogger::detail {

/// Whether the process is ending and the system has ended all threads but this one, with whatever locks they
/// held. Never turns false again.
bool ProcessIsEnding() noexcept;

/// Holds a lock while it lives. False when the process is ending and the lock is held by a thread that is no
/// more: waiting would never end.
class LockUnlessEnding {
public:
    explicit LockUnlessEnding(ACE_Thread_Mutex& mutex) noexcept
        : mutex_(mutex.tryacquire() == 0 || (!ProcessIsEnding() && mutex.acquire() == 0) ? &mutex : nullptr) {
    }
    LockUnlessEnding(const LockUnlessEnding&) = delete;
    LockUnlessEnding& operator=(const LockUnlessEnding&) = delete;
    ~LockUnlessEnding() {
        if (mutex_ != nullptr) mutex_->release();
    }
    explicit operator bool() const noexcept { return mutex_ != nullptr; }

private:
    ACE_Thread_Mutex* mutex_;
};

}  // namespace CorvaneLogger::detail
