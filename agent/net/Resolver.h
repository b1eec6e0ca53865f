#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CorvaneAgent {

/// An IPv4 or IPv6 address with a port, as the socket functions take it.
struct Address {
    alignas(8) unsigned char bytes[128];  ///< A sockaddr_storage.
    int size;                             ///< Bytes of it in use.
    int family;                           ///< AF_INET or AF_INET6.
};

/// Asked every 50 ms during a long operation: whether it is to end.
using Cancelled = std::function<bool()>;

/// Replaces out by the addresses of host in the system's order of preference. host: a name (ASCII) or an
/// address. Returns the Windows sockets code, 0 = success; WSAETIMEDOUT after milliseconds,
/// ERROR_CANCELLED when cancelled says so; out is empty then. The system's own look-up cannot be ended: it
/// goes on in a thread that ends by itself, and who asks for the same meanwhile waits for that one.
unsigned long Resolve(const std::string& host, unsigned short port, unsigned int milliseconds,
                      const Cancelled& cancelled, std::vector<Address>& out);

}  // namespace CorvaneAgent
