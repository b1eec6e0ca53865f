#pragma once

#include <functional>
#include <utility>

#include <windows.h>

namespace WindowsAgentCommon::test {

/// A thread that does one piece of work and is waited for when the object ends.
class Thread {
public:
    /// stack: the bytes that its stack may take; 0: as many as the program's.
    explicit Thread(std::function<void()> work, std::size_t stack = 0)
        : work_(std::move(work)),
          handle_(::CreateThread(nullptr, stack, &Run, this, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr)) {}
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    ~Thread() {
        ::WaitForSingleObject(handle_, INFINITE);
        ::CloseHandle(handle_);
    }

    bool IsAtWork() const { return ::WaitForSingleObject(handle_, 0) == WAIT_TIMEOUT; }

private:
    static unsigned long __stdcall Run(void* self) {
        static_cast<Thread*>(self)->work_();
        return 0;
    }

    const std::function<void()> work_;
    const HANDLE handle_;
};

}  // namespace WindowsAgentCommon::test
