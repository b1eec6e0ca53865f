#pragma once

#include <memory>

namespace CorvaneAgent {

/// Closes a kernel handle; the thread's last error stays what it was.
struct HandleCloser {
    void operator()(void* handle) const noexcept;
};

/// Owns a kernel handle; null for none.
using Handle = std::unique_ptr<void, HandleCloser>;

/// Owns what CreateFile returned, whose sign of failure is not null; the thread's last error stays what it
/// was.
Handle OwnFile(void* file) noexcept;

}  // namespace CorvaneAgent
