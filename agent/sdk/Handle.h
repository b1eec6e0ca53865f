#pragma once

#include <memory>

namespace CorvaneAgent {

/// Closes a kernel handle; the thread's last error stays what it was.
struct HandleCloser {
    void operator()(void* handle) const noexcept;
};

/// Owns a kernel handle whose invalid value is null: events, processes, threads.
using Handle = std::unique_ptr<void, HandleCloser>;

}  // namespace CorvaneAgent
