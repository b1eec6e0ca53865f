#include "agent/sdk/Handle.h"

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

void HandleCloser::operator()(void* handle) const noexcept {
    const DWORD kept = ::GetLastError();  // closing must not hide the caller's error
    ::CloseHandle(handle);
    ::SetLastError(kept);
}

Handle OwnFile(void* file) noexcept { return Handle(file == INVALID_HANDLE_VALUE ? nullptr : file); }

}  // namespace CorvaneAgent
