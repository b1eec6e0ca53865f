#include "agent/net/ConnectionFactory.h"

#include "WindowsAgentCommon/IConfigurationManager.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "agent/net/Sender.h"
#include "agent/net/Sockets.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/MakeService.h"
#include "agent/sdk/SettingsReader.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <exception>

namespace CorvaneAgent {

namespace {

using namespace WindowsAgentCommon;
using Guard = ACE_Guard<ACE_Thread_Mutex>;

Log logger() { return GetLoggerFactory().GetLog("Agent.ConnectionFactory"); }

template <class Socket, class Interface>
bool createSocket(std::unique_ptr<Interface>& out) {
    try {
        out = std::make_unique<Socket>();
        return true;
    } catch (const std::exception& exception) {
        logger()->Error("Cannot make a socket: %s", exception.what());
        return false;
    }
}

}  // namespace

InitializeResult ConnectionFactory::Initialize(const EnvironmentBlock& settings) {
    SettingsReader("ConnectionFactory", settings.Entries()).RefuseUnknown();
    SetInitialized(true);
    return InitializeResult::kDone;
}

void ConnectionFactory::Shutdown() {
    constexpr std::int64_t kTimeoutMs = 2000;
    std::vector<std::shared_ptr<ISender>> senders;
    try {
        const Guard guard(lock_);
        SetInitialized(false);
        for (const auto& [name, sender] : named_) senders.push_back(sender);
        for (const auto& weak : unnamed_)
            if (auto sender = weak.lock()) senders.push_back(std::move(sender));
        named_.clear();
        unnamed_.clear();
    } catch (const std::bad_alloc&) {
        // Those that are not in the list close when their last owner lets them go.
    }
    const std::int64_t end = SteadyMilliseconds() + kTimeoutMs;
    for (const auto& sender : senders)
        sender->Close(static_cast<unsigned int>(std::max<std::int64_t>(end - SteadyMilliseconds(), 0)));
}

void ConnectionFactory::GetStatus(EnvironmentBlock& status) const {
    const Guard guard(lock_);
    for (const auto& [name, sender] : named_) {
        EnvironmentBlock own;
        sender->GetStatus(own);
        for (const auto& [counter, value] : own.Entries()) status.SetStringValue(name + "." + counter, value);
    }
}

bool ConnectionFactory::create(const std::string* name, const EnvironmentBlock& settings,
                               std::shared_ptr<ISender>& out) {
    const Guard guard(lock_);
    if (!IsInitialized() || (name && named_.count(*name) > 0)) return false;
    try {
        auto sender = std::make_shared<Sender>(ReadSenderSettings(settings));
        if (name) {
            named_.emplace(*name, sender);
        } else {
            unnamed_.erase(std::remove_if(unnamed_.begin(), unnamed_.end(),
                                          [](const auto& weak) { return weak.expired(); }),
                           unnamed_.end());
            unnamed_.push_back(sender);
        }
        out = std::move(sender);
        return true;
    } catch (const std::exception& exception) {
        logger()->Error("Cannot make sender \"%s\": %s", name ? name->c_str() : "", exception.what());
        return false;
    }
}

bool ConnectionFactory::CreateSender(const EnvironmentBlock& settings, std::shared_ptr<ISender>& out) {
    return create(nullptr, settings, out);
}

bool ConnectionFactory::CreateSender(const std::string& name, const EnvironmentBlock& settings,
                                     std::shared_ptr<ISender>& out) {
    return create(&name, settings, out);
}

bool ConnectionFactory::GetSender(const std::string& name, std::shared_ptr<ISender>& out) {
    const Guard guard(lock_);
    const auto found = named_.find(name);
    if (found == named_.end()) return false;
    out = found->second;
    return true;
}

void ConnectionFactory::GetSenderNames(std::vector<std::string>& names) {
    const Guard guard(lock_);
    for (const auto& entry : named_) names.push_back(entry.first);
}

bool ConnectionFactory::CreateRawSocket(std::unique_ptr<IRawSocket>& out) {
    return createSocket<RawSocket>(out);
}
bool ConnectionFactory::CreateTCPSocket(std::unique_ptr<ITCPSocket>& out) {
    return createSocket<TCPSocket>(out);
}
bool ConnectionFactory::CreateUDPSocket(std::unique_ptr<IUDPSocket>& out) {
    return createSocket<UDPSocket>(out);
}

bool ConnectionFactory::CreateServerConnection(const EnvironmentBlock&,
                                               std::shared_ptr<IConfigurationServerConnection>&) {
    return false;
}

}  // namespace CorvaneAgent

extern "C" __declspec(dllexport)
    ACE_Service_Object* _make_ConnectionFactory(ACE_Service_Object_Exterminator* exterminator) {
    return CorvaneAgent::MakeService<CorvaneAgent::ConnectionFactory>(exterminator);
}
