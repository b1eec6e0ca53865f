#pragma once

#include <memory>

namespace CorvaneAgent {

/// Closes a kernel handle.
struct HandleCloser {
    void operator()(void* handle) const noexcept;
};

/// The owner of a kernel handle (event, file, thread). Null is none: turn INVALID_HANDLE_VALUE into null
/// before it is owned.
using Handle = std::unique_ptr<void, HandleCloser>;

}  // namespace CorvaneAgent
