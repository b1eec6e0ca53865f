// What a sender's own thread does.

#include "agent/net/Sender.h"

#include "WindowsAgentCommon/SystemInfo.h"
#include "agent/net/Sockets.h"
#include "agent/sdk/Clock.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <exception>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;
using WindowsAgentCommon::ConnectionState;

constexpr DWORD kStepMs = 50;    // of a wait that the clock ends
constexpr DWORD kIdleMs = 1000;  // of a wait that only news end
constexpr std::int64_t kEndOfStreamMs = 1000;
constexpr int kReadsAtOnce = 16;
constexpr std::size_t kSendBuffer = 256 << 10;  // bytes: bounds what a lost connection takes along

std::string describe(unsigned long code) {
    if (code == WSAEDISCON) return "the other side closed it";
    if (code == WAIT_TIMEOUT) return "it takes no data";
    std::string text;
    WindowsAgentCommon::GetLastErrorText(code, text);
    return text;
}

}  // namespace

int Sender::Worker::svc() {
    while (!sender.isFinished()) {
        try {
            sender.run();
        } catch (const std::exception&) {  // no memory to connect or to describe an error: it is tried again
            sender.wait(kStepMs);
        }
    }
    sender.endStream();
    sender.socket_.reset();
    sender.state_ = ConnectionState::kClosed;
    return 0;
}

void Sender::run() {
    if (!socket_ && !connect()) {
        waitBeforeNextTry();
        return;
    }
    const unsigned long code = serve();
    if (code == 0) return;
    lose(code);
    waitBeforeNextTry();
}

bool Sender::isFinished() {
    const Guard guard(lock_);
    return closing_ && (queue_.Used() == 0 || SteadyMilliseconds() >= closeAt_);
}

bool Sender::connect() {
    const Cancelled cancelled = [this] {
        watch();
        return isFinished();
    };
    unsigned long code = 0;
    const auto tryIt = [&](auto socket) {
        code = socket->Connect(settings_.targetAddress, settings_.targetPort, settings_.connectTimeout,
                               cancelled);
        if (code == 0) code = socket->SetBufferSizes(kSendBuffer, 0);
        if (code == 0 && ::WSAEventSelect(socket->GetHandle(), socketEvent_.get(),
                                          FD_READ | FD_WRITE | FD_CLOSE) == SOCKET_ERROR)
            code = static_cast<unsigned long>(::WSAGetLastError());
        if (code == 0) socket_ = std::move(socket);
    };
    if (settings_.stream) {
        tryIt(std::make_unique<TCPSocket>());
    } else {
        tryIt(std::make_unique<UDPSocket>());
    }
    if (code == ERROR_CANCELLED) return false;
    {
        const Guard guard(lock_);
        ++(code == 0 ? counters_.connects : counters_.connectFailures);
    }
    if (code != 0) {
        log_.CannotConnect(describe(code));
        return false;
    }
    if (settings_.stream) {
        static_cast<TCPSocket&>(*socket_).SetNoDelay(true);
        static_cast<TCPSocket&>(*socket_).SetKeepAlive(true);
    }
    progressAt_ = SteadyMilliseconds();
    state_ = ConnectionState::kConnected;
    log_.Connected(progressAt_);
    return true;
}

void Sender::waitBeforeNextTry() {
    const std::int64_t end = SteadyMilliseconds() + backoff_.Next(chance_.Next());
    while (!isFinished()) {
        const std::int64_t left = end - SteadyMilliseconds();
        if (left <= 0) return;
        wait(static_cast<DWORD>(std::min<std::int64_t>(left, kStepMs)));
    }
}

// One round. Returns why the connection is lost, or 0.
unsigned long Sender::serve() {
    const std::int64_t now = SteadyMilliseconds();
    log_.StillConnected(now);
    watch();
    if (settings_.stream) {  // what a datagram socket cannot hold the system drops
        if (const unsigned long code = discardInput()) return code;
    }
    if (!hasWork()) {
        progressAt_ = now;
        wait(kIdleMs);
        return 0;
    }
    std::size_t sent = 0;
    const unsigned long code = settings_.stream ? sendStream(sent) : sendDatagram(sent);
    if (sent > 0) {
        progressAt_ = now;
        account(sent);
    }
    if (code != WSAEWOULDBLOCK) return code;
    if (now - progressAt_ >= settings_.sendTimeout) return WAIT_TIMEOUT;
    wait(kStepMs);
    return 0;
}

bool Sender::hasWork() {
    if (offset_ < chunk_.bytes.size()) return true;
    const Guard guard(lock_);
    offset_ = line_ = 0;
    if (queue_.Take(chunk_)) return true;
    sleeping_ = !closing_;
    return false;
}

// sent: bytes of chunk_ that are done with.
unsigned long Sender::sendStream(std::size_t& sent) {
    const std::size_t size = std::min(chunk_.bytes.size() - offset_, LineQueue::kChunkSize);
    return socket_->Send(chunk_.bytes.data() + offset_, size, sent);
}

unsigned long Sender::sendDatagram(std::size_t& sent) {
    const std::size_t size = chunk_.ends[line_] - offset_;
    const unsigned long code = socket_->Send(chunk_.bytes.data() + offset_, size, sent);
    // An answer to an earlier datagram, which nobody waits for: this one was not sent.
    if (code == WSAECONNRESET || code == WSAENETRESET || code == WSAECONNREFUSED) return 0;
    if (code != WSAEMSGSIZE) return code;
    const Guard guard(lock_);
    ++counters_.tooLong;
    queue_.Release(size);
    offset_ = chunk_.ends[line_++];
    return 0;
}

void Sender::account(std::size_t sent) {
    offset_ += sent;
    const std::size_t before = line_;
    while (line_ < chunk_.ends.size() && chunk_.ends[line_] <= offset_) ++line_;
    const Guard guard(lock_);
    queue_.Release(sent);
    counters_.sentBytes += sent;
    counters_.sent += line_ - before;
    counters_.lastSent = SystemMilliseconds();
}

// Nothing that a receiver says is of interest but that it hangs up.
unsigned long Sender::discardInput() {
    char buffer[4096];
    for (int i = 0; i < kReadsAtOnce; ++i) {
        std::size_t received = 0;
        const unsigned long code = socket_->Receive(buffer, sizeof buffer, received);
        if (code == WSAEWOULDBLOCK) return 0;
        if (code != 0) return code;
        if (received == 0) return WSAEDISCON;
    }
    return 0;
}

// Where the event begins that is sent next, or is cut short.
std::size_t Sender::eventBegin() const { return line_ == 0 ? 0 : chunk_.ends[line_ - 1]; }

// A receiver would take an event that is cut short for a whole one if the stream ended in order behind it.
bool Sender::resetIfTorn() {
    if (!socket_ || !settings_.stream || offset_ == eventBegin()) return false;
    const linger hard = {1, 0};
    ::setsockopt(socket_->GetHandle(), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&hard),
                 sizeof hard);
    socket_.reset();
    return true;
}

void Sender::lose(unsigned long code) {
    resetIfTorn();
    socket_.reset();
    state_ = ConnectionState::kConnecting;
    {
        const Guard guard(lock_);
        ++counters_.losses;
        if (settings_.discardOnLoss) {
            counters_.onLoss += dropAll();
        } else {
            // The event that was cut short goes again from its beginning, so it is back in the queue.
            queue_.Return(offset_ - eventBegin());
            offset_ = eventBegin();
        }
    }
    if (log_.Lost(describe(code), SteadyMilliseconds())) backoff_.Reset();
}

// Under lock_; returns how many events.
std::size_t Sender::dropAll() {
    const std::size_t count = chunk_.ends.size() - line_ + queue_.Clear();
    queue_.Release(chunk_.bytes.size() - offset_);
    chunk_ = Chunk();
    offset_ = line_ = 0;
    return count;
}

void Sender::countLoss() {
    const Guard guard(lock_);
    ++counters_.losses;
}

// Closing a socket with unread input would take along what is still on its way.
void Sender::endStream() {
    if (resetIfTorn()) return countLoss();
    if (!socket_ || !settings_.stream || ::shutdown(socket_->GetHandle(), SD_SEND) == SOCKET_ERROR) return;
    const std::int64_t end = std::min(closeAt_, SteadyMilliseconds() + kEndOfStreamMs);
    while (SteadyMilliseconds() < end) {
        const unsigned long code = discardInput();
        if (code == WSAEDISCON) return;
        if (code != 0) return countLoss();
        wait(kStepMs);
    }
}

void Sender::wait(unsigned long milliseconds) {
    const HANDLE events[] = {wake_.get(), socketEvent_.get()};
    ::WaitForMultipleObjects(2, events, FALSE, milliseconds);
    watch();
}

// A queue that refuses counts as full, however little it would still hold.
void Sender::watch() {
    std::uint64_t used = 0;
    {
        const Guard guard(lock_);
        used = queue_.IsFull() ? std::max(settings_.queueHighWaterMark, queue_.Used()) : queue_.Used();
    }
    alarmState_ = alarm_.Update(used, settings_.queueHighWaterMark, SteadyMilliseconds());
}

}  // namespace CorvaneAgent
