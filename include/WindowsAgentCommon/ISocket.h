#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// A socket's bare operations. One thread at a time. Functions return the Windows sockets code, 0 = success.
class CORVANE_API IRawSocket {
public:
    IRawSocket() = default;
    IRawSocket(const IRawSocket&) {}
    IRawSocket& operator=(const IRawSocket&) { return *this; }
    virtual ~IRawSocket();

    virtual unsigned long Open(bool ipv6) = 0;
    virtual void Close() = 0;
    virtual bool IsOpen() const = 0;
    virtual std::size_t GetHandle() const = 0;  ///< The SOCKET.

    /// sent: how many of size bytes were taken.
    virtual unsigned long Send(const char* data, std::size_t size, std::size_t& sent) = 0;
    /// received: bytes put into buffer; 0 with success at the end of a stream.
    virtual unsigned long Receive(char* buffer, std::size_t size, std::size_t& received) = 0;

    virtual unsigned long WaitReadable(unsigned int milliseconds) = 0;  ///< WAIT_TIMEOUT when it is not.
    virtual unsigned long WaitWritable(unsigned int milliseconds) = 0;  ///< WAIT_TIMEOUT when it is not.
    virtual unsigned long SetBlocking(bool blocking) = 0;
    virtual unsigned long SetBufferSizes(std::size_t sendBytes, std::size_t receiveBytes) = 0;  ///< 0: as is.
};

/// A socket with addresses. Hosts are names or addresses, UTF-8; ports are in host order.
class CORVANE_API ISocket : public IRawSocket {
public:
    ~ISocket() override;

    virtual unsigned long Bind(const std::string& address, unsigned short port) = 0;
    /// Resolves host and tries its addresses in turn, at most milliseconds in all.
    virtual unsigned long Connect(const std::string& host, unsigned short port,
                                  unsigned int milliseconds) = 0;
    virtual bool IsConnected() const = 0;
    virtual unsigned long GetLocalAddress(std::string& address, unsigned short& port) const = 0;
    virtual unsigned long GetPeerAddress(std::string& address, unsigned short& port) const = 0;
    virtual unsigned long SetReuseAddress(bool reuse) = 0;
    virtual unsigned long SetSendTimeout(unsigned int milliseconds) = 0;     ///< 0: waits for ever.
    virtual unsigned long SetReceiveTimeout(unsigned int milliseconds) = 0;  ///< 0: waits for ever.
    virtual unsigned long SendAll(const char* data, std::size_t size) = 0;   ///< All of it, or an error.
    virtual unsigned long GetAvailable(std::size_t& bytes) const = 0;        ///< What Receive would find.
    virtual unsigned long GetError() = 0;     ///< The error that waits on the socket, and clears it.
    virtual std::string GetName() const = 0;  ///< Such as "tcp://host:port", for logs.
};

/// A stream socket.
class CORVANE_API ITCPSocket : public ISocket {
public:
    ~ITCPSocket() override;

    virtual unsigned long Listen(int backlog) = 0;
    virtual unsigned long Accept(std::unique_ptr<ITCPSocket>& out) = 0;
    virtual unsigned long SetNoDelay(bool noDelay) = 0;
    virtual unsigned long SetKeepAlive(bool keepAlive) = 0;
};

/// A datagram socket.
class CORVANE_API IUDPSocket : public ISocket {
public:
    ~IUDPSocket() override;

    virtual std::size_t GetMaxDatagramSize() const = 0;  ///< Bytes that one Send may have.
};

}  // namespace WindowsAgentCommon
