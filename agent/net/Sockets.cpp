#include "agent/net/Sockets.h"

#include "WindowsAgentCommon/Formatting.h"
#include "agent/net/Winsock.h"
#include "agent/sdk/Clock.h"

#include <algorithm>
#include <cstring>

#include "agent/sdk/Win32.h"

#include <ws2tcpip.h>
#include <mstcpip.h>

namespace CorvaneAgent {

namespace {

constexpr unsigned int kStepMs = 50;
constexpr std::size_t kMaxPart = 0x40000000;  // of one call, whose lengths are int

unsigned long lastError() { return static_cast<unsigned long>(::WSAGetLastError()); }

unsigned long codeOf(int result) { return result == SOCKET_ERROR ? lastError() : 0; }

// Numeric address and port.
unsigned long describe(const sockaddr_storage& storage, int size, std::string& address,
                       unsigned short& port) {
    char host[NI_MAXHOST];
    const auto* const general = reinterpret_cast<const sockaddr*>(&storage);
    const int code =
        ::getnameinfo(general, size, host, sizeof host, nullptr, 0, NI_NUMERICHOST | NI_NUMERICSERV);
    if (code != 0) return static_cast<unsigned long>(code);
    address = host;
    port = ::ntohs(storage.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(storage).sin6_port
                                                 : reinterpret_cast<const sockaddr_in&>(storage).sin_port);
    return 0;
}

using NameFunction = int(WSAAPI*)(SOCKET, sockaddr*, int*);

unsigned long addressOf(NameFunction function, SOCKET handle, std::string& address, unsigned short& port) {
    sockaddr_storage storage = {};
    int size = sizeof storage;
    if (function(handle, reinterpret_cast<sockaddr*>(&storage), &size) == SOCKET_ERROR) return lastError();
    return describe(storage, size, address, port);
}

}  // namespace

std::string MakeTarget(const std::string& scheme, const std::string& host, unsigned short port) {
    const bool bare = host.find(':') != std::string::npos && host.front() != '[';
    std::string result;
    WindowsAgentCommon::Format(result, bare ? "%s://[%s]:%u" : "%s://%s:%u", scheme.c_str(), host.c_str(),
                               static_cast<unsigned int>(port));
    return result;
}

template <class Interface>
RawOperations<Interface>::RawOperations(int type, int protocol)
    : winsock_(UseWinsock()), type_(type), protocol_(protocol) {}

template <class Interface>
RawOperations<Interface>::~RawOperations() {
    RawOperations::Close();
}

template <class Interface>
unsigned long RawOperations<Interface>::Open(bool ipv6) {
    return openFamily(ipv6 ? AF_INET6 : AF_INET);
}

template <class Interface>
unsigned long RawOperations<Interface>::openFamily(int family) {
    this->Close();
    const int protocol = protocol_ == IPPROTO_ICMP && family == AF_INET6 ? IPPROTO_ICMPV6 : protocol_;
    const SOCKET handle = ::WSASocketW(family, type_, protocol, nullptr, 0, WSA_FLAG_OVERLAPPED);
    if (handle == INVALID_SOCKET) return lastError();
    adopt(handle, family);
    if (type_ == SOCK_DGRAM) {
        constexpr DWORD kUdpConnReset = IOC_IN | IOC_VENDOR | 12;  // SIO_UDP_CONNRESET
        BOOL report = FALSE;
        DWORD size = 0;
        ::WSAIoctl(handle, kUdpConnReset, &report, sizeof report, nullptr, 0, &size, nullptr, nullptr);
    }
    return 0;
}

template <class Interface>
void RawOperations<Interface>::adopt(std::size_t handle, int family) {
    handle_ = handle;
    family_ = family;
    blocking_ = true;
    ::SetHandleInformation(reinterpret_cast<HANDLE>(handle), HANDLE_FLAG_INHERIT, 0);
}

template <class Interface>
void RawOperations<Interface>::Close() {
    if (handle_ != kNone) ::closesocket(handle_);
    handle_ = kNone;
}

template <class Interface>
unsigned long RawOperations<Interface>::Send(const char* data, std::size_t size, std::size_t& sent) {
    sent = 0;
    const int got = ::send(handle_, data, static_cast<int>(std::min(size, kMaxPart)), 0);
    if (got == SOCKET_ERROR) return lastError();
    sent = static_cast<std::size_t>(got);
    return 0;
}

template <class Interface>
unsigned long RawOperations<Interface>::Receive(char* buffer, std::size_t size, std::size_t& received) {
    received = 0;
    const int got = ::recv(handle_, buffer, static_cast<int>(std::min(size, kMaxPart)), 0);
    if (got == SOCKET_ERROR) {
        const unsigned long code = lastError();
        if (code == WSAEMSGSIZE) received = size;
        return code;
    }
    received = static_cast<std::size_t>(got);
    return 0;
}

template <class Interface>
unsigned long RawOperations<Interface>::wait(unsigned int milliseconds, bool readable) {
    if (!IsOpen()) return WSAENOTSOCK;
    fd_set set = {1, {handle_}}, errors = set;
    timeval time = {static_cast<long>(milliseconds / 1000), static_cast<long>(milliseconds % 1000 * 1000)};
    const int count = ::select(0, readable ? &set : nullptr, readable ? nullptr : &set, &errors, &time);
    if (count == SOCKET_ERROR) return lastError();
    return count == 0 ? WAIT_TIMEOUT : 0;
}

template <class Interface>
unsigned long RawOperations<Interface>::WaitReadable(unsigned int milliseconds) {
    return wait(milliseconds, true);
}

template <class Interface>
unsigned long RawOperations<Interface>::WaitWritable(unsigned int milliseconds) {
    return wait(milliseconds, false);
}

template <class Interface>
unsigned long RawOperations<Interface>::SetBlocking(bool blocking) {
    u_long value = blocking ? 0 : 1;
    const unsigned long code = codeOf(::ioctlsocket(handle_, FIONBIO, &value));
    if (code == 0) blocking_ = blocking;
    return code;
}

template <class Interface>
unsigned long RawOperations<Interface>::SetBufferSizes(std::size_t sendBytes, std::size_t receiveBytes) {
    unsigned long code = 0;
    if (sendBytes > 0)
        code = setOption(SOL_SOCKET, SO_SNDBUF, static_cast<int>(std::min(sendBytes, kMaxPart)));
    if (code == 0 && receiveBytes > 0)
        code = setOption(SOL_SOCKET, SO_RCVBUF, static_cast<int>(std::min(receiveBytes, kMaxPart)));
    return code;
}

template <class Interface>
unsigned long RawOperations<Interface>::setOption(int level, int option, int value) {
    return codeOf(::setsockopt(handle_, level, option, reinterpret_cast<const char*>(&value), sizeof value));
}

template <class Interface>
unsigned long AddressOperations<Interface>::Bind(const std::string& address, unsigned short port) {
    std::vector<Address> addresses;
    if (const unsigned long code = Resolve(
            address, port, INFINITE, [] { return false; }, addresses))
        return code;
    unsigned long code = WSAEADDRNOTAVAIL;
    for (const Address& candidate : addresses) {
        if (!this->IsOpen()) {
            if ((code = this->openFamily(candidate.family)) != 0) return code;
        } else if (candidate.family != this->family()) {
            continue;
        }
        code = codeOf(
            ::bind(this->GetHandle(), reinterpret_cast<const sockaddr*>(candidate.bytes), candidate.size));
        if (code == 0) break;
    }
    if (code == 0) name_ = MakeTarget(scheme_, address, port);
    return code;
}

template <class Interface>
unsigned long AddressOperations<Interface>::Connect(const std::string& host, unsigned short port,
                                                    unsigned int milliseconds) {
    return Connect(host, port, milliseconds, [] { return false; });
}

template <class Interface>
unsigned long AddressOperations<Interface>::Connect(const std::string& host, unsigned short port,
                                                    unsigned int milliseconds, const Cancelled& cancelled) {
    const std::int64_t end = SteadyMilliseconds() + milliseconds;
    std::vector<Address> addresses;
    unsigned long code = Resolve(host, port, milliseconds, cancelled, addresses);
    if (code != 0) return code;
    const bool asItIs = this->IsOpen();
    if (asItIs) {
        const auto isOther = [this](const Address& address) { return address.family != this->family(); };
        addresses.erase(std::remove_if(addresses.begin(), addresses.end(), isOther), addresses.end());
    }
    code = WSAEAFNOSUPPORT;
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        if (!asItIs && (code = this->openFamily(addresses[i].family)) != 0) continue;
        const std::int64_t left = std::max<std::int64_t>(end - SteadyMilliseconds(), 0);
        const auto share = static_cast<unsigned int>(left / static_cast<std::int64_t>(addresses.size() - i));
        code = connectTo(addresses[i], share, cancelled);
        if (code == 0) {
            setConnected(host, port);
            return 0;
        }
        // A socket whose connection is still being tried is good for nothing else.
        if (!asItIs || code == WSAETIMEDOUT || code == ERROR_CANCELLED) this->Close();
        if (code == ERROR_CANCELLED || (asItIs && !this->IsOpen())) break;
    }
    return code;
}

template <class Interface>
unsigned long AddressOperations<Interface>::connectTo(const Address& address, unsigned int milliseconds,
                                                      const Cancelled& cancelled) {
    const bool blocking = this->isBlocking();
    if (const unsigned long code = this->SetBlocking(false)) return code;
    const std::int64_t end = SteadyMilliseconds() + milliseconds;
    unsigned long code =
        codeOf(::connect(this->GetHandle(), reinterpret_cast<const sockaddr*>(address.bytes), address.size));
    while (code == WSAEWOULDBLOCK) {
        const unsigned long waited = this->WaitWritable(kStepMs);
        if (waited == 0) {
            code = GetError();
            break;
        }
        if (waited != WAIT_TIMEOUT) {
            code = waited;
            break;
        }
        if (cancelled()) return ERROR_CANCELLED;
        if (SteadyMilliseconds() >= end) return WSAETIMEDOUT;
    }
    if (blocking) this->SetBlocking(true);
    return code;
}

template <class Interface>
void AddressOperations<Interface>::setConnected(const std::string& host, unsigned short port) {
    connected_ = true;
    name_ = MakeTarget(scheme_, host, port);
}

template <class Interface>
void AddressOperations<Interface>::Close() {
    connected_ = false;
    RawOperations<Interface>::Close();
}

template <class Interface>
unsigned long AddressOperations<Interface>::GetLocalAddress(std::string& address,
                                                            unsigned short& port) const {
    return addressOf(&::getsockname, this->GetHandle(), address, port);
}

template <class Interface>
unsigned long AddressOperations<Interface>::GetPeerAddress(std::string& address, unsigned short& port) const {
    return addressOf(&::getpeername, this->GetHandle(), address, port);
}

template <class Interface>
unsigned long AddressOperations<Interface>::SetReuseAddress(bool reuse) {
    return this->setOption(SOL_SOCKET, SO_REUSEADDR, reuse);
}

template <class Interface>
unsigned long AddressOperations<Interface>::SetSendTimeout(unsigned int milliseconds) {
    return this->setOption(SOL_SOCKET, SO_SNDTIMEO, static_cast<int>(std::min(milliseconds, 0x7fffffffU)));
}

template <class Interface>
unsigned long AddressOperations<Interface>::SetReceiveTimeout(unsigned int milliseconds) {
    return this->setOption(SOL_SOCKET, SO_RCVTIMEO, static_cast<int>(std::min(milliseconds, 0x7fffffffU)));
}

template <class Interface>
unsigned long AddressOperations<Interface>::SendAll(const char* data, std::size_t size) {
    while (size > 0) {
        std::size_t sent = 0;
        if (const unsigned long code = this->Send(data, size, sent)) return code;
        data += sent;
        size -= sent;
    }
    return 0;
}

template <class Interface>
unsigned long AddressOperations<Interface>::GetAvailable(std::size_t& bytes) const {
    u_long count = 0;
    const unsigned long code = codeOf(::ioctlsocket(this->GetHandle(), FIONREAD, &count));
    bytes = count;
    return code;
}

template <class Interface>
unsigned long AddressOperations<Interface>::GetError() {
    int error = 0, size = sizeof error;
    const int result =
        ::getsockopt(this->GetHandle(), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
    return result == SOCKET_ERROR ? lastError() : static_cast<unsigned long>(error);
}

template class RawOperations<WindowsAgentCommon::IRawSocket>;
template class RawOperations<WindowsAgentCommon::ITCPSocket>;
template class RawOperations<WindowsAgentCommon::IUDPSocket>;
template class AddressOperations<WindowsAgentCommon::ITCPSocket>;
template class AddressOperations<WindowsAgentCommon::IUDPSocket>;

RawSocket::RawSocket() : RawOperations(SOCK_RAW, IPPROTO_ICMP) {}

UDPSocket::UDPSocket() : AddressOperations(SOCK_DGRAM, IPPROTO_UDP, "udp") {}

std::size_t UDPSocket::GetMaxDatagramSize() const {
    return family() == AF_INET6 ? 65'527 : 65'507;  // 65535 without the headers that count
}

TCPSocket::TCPSocket() : AddressOperations(SOCK_STREAM, IPPROTO_TCP, "tcp") {}

unsigned long TCPSocket::Listen(int backlog) { return codeOf(::listen(GetHandle(), backlog)); }

unsigned long TCPSocket::Accept(std::unique_ptr<WindowsAgentCommon::ITCPSocket>& out) {
    auto peer = std::make_unique<TCPSocket>();
    const SOCKET handle = ::accept(GetHandle(), nullptr, nullptr);
    if (handle == INVALID_SOCKET) return lastError();
    peer->adopt(handle, family());
    if (!isBlocking()) peer->SetBlocking(true);
    std::string address;
    unsigned short port = 0;
    peer->GetPeerAddress(address, port);
    peer->setConnected(address, port);
    out = std::move(peer);
    return 0;
}

unsigned long TCPSocket::SetNoDelay(bool noDelay) { return setOption(IPPROTO_TCP, TCP_NODELAY, noDelay); }

unsigned long TCPSocket::SetKeepAlive(bool keepAlive) {
    // The system's own two hours of silence are too long to notice a dead connection in.
    tcp_keepalive values = {keepAlive ? 1UL : 0UL, 60'000, 5000};
    DWORD size = 0;
    return codeOf(::WSAIoctl(GetHandle(), SIO_KEEPALIVE_VALS, &values, sizeof values, nullptr, 0, &size,
                             nullptr, nullptr));
}

}  // namespace CorvaneAgent
