#pragma once

#include <functional>
#include <utility>

#include <windows.h>

namespace WindowsAgentCommon::test {

/// A thread that does one piece of work and is waited for when the object ends.
class Thread {
public:
    explicit Thread(std::function<void()> work)
        : work_(std::move(work)), handle_(::CreateThread(nullptr, 0, &Run, this, 0, nullptr)) {}
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
