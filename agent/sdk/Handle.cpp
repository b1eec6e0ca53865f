#include "agent/sdk/Handle.h"

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

void HandleCloser::operator()(void* handle) const noexcept {
    const DWORD kept = ::GetLastError();  // closing must not hide the caller's error
    ::CloseHandle(handle);
    ::SetLastError(kept);
}

}  // namespace CorvaneAgent
