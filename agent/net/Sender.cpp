#include "agent/net/Sender.h"

#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "agent/net/Winsock.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/Text.h"

#include <ace/Guard_T.h>

#include <exception>
#include <utility>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;
using WindowsAgentCommon::ConnectionState;

WindowsAgentCommon::Log logOf(const std::string& target) {
    return WindowsAgentCommon::GetLoggerFactory().GetLog("Agent.Sender." + target);
}

Handle makeEvent() {
    Handle event(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!event) throw WindowsAgentCommon::KORException(__FILE__, __FUNCTION__, __LINE__, "No event");
    return event;
}

}  // namespace

Sender::Sender(SenderSettings settings)
    : settings_(std::move(settings)),
      target_(settings_.GetTarget()),
      winsock_(UseWinsock()),
      wake_(makeEvent()),
      socketEvent_(makeEvent()),
      queue_(settings_.framing, settings_.queueLowWaterMark, settings_.queueHighWaterMark),
      log_(logOf(target_)),
      alarm_(logOf(target_), "Queue", true),
      backoff_(settings_.backoffMin, settings_.backoffMax) {}

Sender::~Sender() { Sender::Close(0); }

unsigned long Sender::Open() {
    const Guard opening(openLock_);
    const Guard guard(lock_);
    if (isOpen_) return 0;
    closing_ = false;
    sleeping_ = false;
    state_ = ConnectionState::kConnecting;
    if (worker_.activate(THR_NEW_LWP | THR_JOINABLE, 1) != 0) {
        const DWORD code = ::GetLastError();
        state_ = ConnectionState::kClosed;
        return code != 0 ? code : ERROR_NOT_ENOUGH_MEMORY;
    }
    isOpen_ = true;
    return 0;
}

void Sender::Close(unsigned int timeoutMs) {
    const Guard opening(openLock_);
    {
        const Guard guard(lock_);
        if (!isOpen_) return;
        closing_ = true;
        closeAt_ = SteadyMilliseconds() + timeoutMs;
    }
    ::SetEvent(wake_.get());
    worker_.wait();
    const Guard guard(lock_);
    counters_.closed += dropAll();
    isOpen_ = false;
}

bool Sender::Send(const char* data, std::size_t size) {
    if (size == 0) return true;
    bool wakeUp = false;
    {
        const Guard guard(lock_);
        if (!push(data, size)) return false;
        wakeUp = std::exchange(sleeping_, false);
    }
    if (wakeUp) ::SetEvent(wake_.get());
    return true;
}

// Under lock_.
bool Sender::push(const char* data, std::size_t size) {
    if (!isOpen_ || closing_) {
        ++counters_.closed;
        return false;
    }
    if (settings_.discardOnLoss && toldLosses_ != counters_.losses) {
        ++counters_.onLoss;
        return false;
    }
    const std::size_t kept = settings_.stream ? size : CutAtCharacter(data, size, settings_.maxPayloadSize);
    bool taken = false;
    try {
        taken = queue_.Push(data, kept);
    } catch (const std::exception&) {  // no memory is as good as a full queue
    }
    if (!taken) {
        ++counters_.queueFull;
    } else if (kept < size) {
        ++counters_.cut;
    }
    return taken;
}

ConnectionState Sender::GetState() const { return state_; }

std::size_t Sender::GetQueuedBytes() const {
    const Guard guard(lock_);
    return queue_.Used();
}

unsigned int Sender::GetLossCount() const {
    const Guard guard(lock_);
    return toldLosses_ = counters_.losses;
}

void Sender::GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const {
    static const char* const kStates[] = {"closed", "connecting", "connected"};
    static const char* const kAlarms[] = {"normal", "warning", "flooded"};
    Counters counters;
    std::uint64_t queued = 0;
    {
        const Guard guard(lock_);
        counters = counters_;
        queued = queue_.Used();
    }
    status.SetIntegerValue("Sent", counters.sent);
    status.SetIntegerValue("SentBytes", counters.sentBytes);
    status.SetIntegerValue("Dropped.QueueFull", counters.queueFull);
    status.SetIntegerValue("Dropped.Closed", counters.closed);
    status.SetIntegerValue("Dropped.Loss", counters.onLoss);
    status.SetIntegerValue("Dropped.TooLong", counters.tooLong);
    status.SetIntegerValue("Cut", counters.cut);
    status.SetIntegerValue("Losses", counters.losses);
    status.SetIntegerValue("Connects", counters.connects);
    status.SetIntegerValue("ConnectFailures", counters.connectFailures);
    status.SetIntegerValue("QueuedBytes", queued);
    status.SetStringValue("State", kStates[static_cast<int>(GetState())]);
    status.SetIntegerValue("LastSent", static_cast<std::uint64_t>(counters.lastSent));
    status.SetStringValue("Alarm", kAlarms[static_cast<int>(alarmState_.load())]);
}

}  // namespace CorvaneAgent
