#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "WindowsAgentCommon/ISocket.h"
#include "agent/net/Resolver.h"

namespace CorvaneAgent {

/// What all sockets share. Each is made without a socket; Open, Bind or Connect makes one, and the last owner
/// of the object closes it.
template <class Interface>
class RawOperations : public Interface {
public:
    RawOperations(const RawOperations&) = delete;
    RawOperations& operator=(const RawOperations&) = delete;
    ~RawOperations() override;

    unsigned long Open(bool ipv6) override;  ///< Closes the socket that there was.
    void Close() override;
    bool IsOpen() const override { return handle_ != kNone; }
    std::size_t GetHandle() const override { return handle_; }
    unsigned long Send(const char* data, std::size_t size, std::size_t& sent) override;
    /// A datagram that is longer than size fills the buffer and gives WSAEMSGSIZE; its rest is lost.
    unsigned long Receive(char* buffer, std::size_t size, std::size_t& received) override;
    unsigned long WaitReadable(unsigned int milliseconds) override;
    unsigned long WaitWritable(unsigned int milliseconds) override;
    unsigned long SetBlocking(bool blocking) override;
    unsigned long SetBufferSizes(std::size_t sendBytes, std::size_t receiveBytes) override;

protected:
    static constexpr std::size_t kNone = ~static_cast<std::size_t>(0);  // INVALID_SOCKET

    RawOperations(int type, int protocol);
    unsigned long openFamily(int family);
    void adopt(std::size_t handle, int family);
    unsigned long setOption(int level, int option, int value);
    int family() const { return family_; }
    bool isBlocking() const { return blocking_; }

private:
    unsigned long wait(unsigned int milliseconds, bool readable);

    std::shared_ptr<void> winsock_;
    int type_, protocol_;
    std::size_t handle_ = kNone;
    int family_ = 0;
    bool blocking_ = true;
};

/// What sockets with addresses share. An open socket is connected and bound as it is, to addresses of its
/// family only; otherwise one is opened for each address that is tried.
template <class Interface>
class AddressOperations : public RawOperations<Interface> {
public:
    unsigned long Bind(const std::string& address, unsigned short port) override;
    unsigned long Connect(const std::string& host, unsigned short port, unsigned int milliseconds) override;
    /// The same; ends with ERROR_CANCELLED when cancelled, asked every 50 ms, says so. Each address gets its
    /// share of the time that is left, so that one that does not answer leaves time for the next.
    unsigned long Connect(const std::string& host, unsigned short port, unsigned int milliseconds,
                          const Cancelled& cancelled);
    void Close() override;
    bool IsConnected() const override { return connected_; }
    unsigned long GetLocalAddress(std::string& address, unsigned short& port) const override;
    unsigned long GetPeerAddress(std::string& address, unsigned short& port) const override;
    unsigned long SetReuseAddress(bool reuse) override;
    unsigned long SetSendTimeout(unsigned int milliseconds) override;
    unsigned long SetReceiveTimeout(unsigned int milliseconds) override;
    unsigned long SendAll(const char* data, std::size_t size) override;
    unsigned long GetAvailable(std::size_t& bytes) const override;
    unsigned long GetError() override;
    std::string GetName() const override { return name_; }

protected:
    AddressOperations(int type, int protocol, const char* scheme)
        : RawOperations<Interface>(type, protocol), scheme_(scheme), name_(scheme) {}
    void setConnected(const std::string& host, unsigned short port);

private:
    unsigned long connectTo(const Address& address, unsigned int milliseconds, const Cancelled& cancelled);

    const char* scheme_;
    std::string name_;
    bool connected_ = false;
};

class TCPSocket final : public AddressOperations<WindowsAgentCommon::ITCPSocket> {
public:
    TCPSocket();
    unsigned long Listen(int backlog) override;
    unsigned long Accept(std::unique_ptr<WindowsAgentCommon::ITCPSocket>& out) override;
    unsigned long SetNoDelay(bool noDelay) override;
    /// Asks after a minute of silence, then every 5 seconds, whether the peer is still there.
    unsigned long SetKeepAlive(bool keepAlive) override;
};

/// Answers that a datagram could not be delivered are not taken for errors of the socket.
class UDPSocket final : public AddressOperations<WindowsAgentCommon::IUDPSocket> {
public:
    UDPSocket();
    std::size_t GetMaxDatagramSize() const override;
};

/// A socket for echo messages (ICMP), for which the system demands an administrator.
class RawSocket final : public RawOperations<WindowsAgentCommon::IRawSocket> {
public:
    RawSocket();
};

/// "tcp://host:port"; an address with colons stands in brackets.
std::string MakeTarget(const std::string& scheme, const std::string& host, unsigned short port);

}  // namespace CorvaneAgent
