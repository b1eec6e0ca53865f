#pragma once

#include <memory>

namespace CorvaneAgent {

/// Windows Sockets, started by the first of those who hold it and ended after the last. Throws
/// SocketException when it cannot be started. Thread-safe.
std::shared_ptr<void> UseWinsock();

}  // namespace CorvaneAgent
