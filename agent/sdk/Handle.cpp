#include "agent/sdk/Handle.h"

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

void HandleCloser::operator()(void* handle) const noexcept {
    const DWORD kept = ::GetLastError();
    ::CloseHandle(handle);
    ::SetLastError(kept);
}

}  // namespace CorvaneAgent
