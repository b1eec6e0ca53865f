#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <ace/Service_Object.h>
#include <ace/Thread_Mutex.h>

#include "WindowsAgentCommon/IConnectionFactory.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"

namespace CorvaneAgent {

/// The agent's connections. Senders are made only while it is initialised; Shutdown closes all that are
/// left, those without a name too, within two seconds. They must be released before the module goes.
class ConnectionFactory final
    : public WindowsAgentCommon::ServiceComponentBase<WindowsAgentCommon::IConnectionFactory,
                                                      ACE_Service_Object> {
public:
    /// Takes no settings: InitializationException for any.
    WindowsAgentCommon::InitializeResult Initialize(
        const WindowsAgentCommon::EnvironmentBlock& settings) override;
    void Shutdown() override;
    void GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const override;  ///< "NAME.COUNTER"

    /// The settings: docs/agent-connections.md. False, and why in the log, when they cannot be used.
    bool CreateSender(const WindowsAgentCommon::EnvironmentBlock& settings,
                      std::shared_ptr<WindowsAgentCommon::ISender>& out) override;
    bool CreateSender(const std::string& name, const WindowsAgentCommon::EnvironmentBlock& settings,
                      std::shared_ptr<WindowsAgentCommon::ISender>& out) override;
    bool GetSender(const std::string& name, std::shared_ptr<WindowsAgentCommon::ISender>& out) override;
    void GetSenderNames(std::vector<std::string>& names) override;

    bool CreateRawSocket(std::unique_ptr<WindowsAgentCommon::IRawSocket>& out) override;
    bool CreateTCPSocket(std::unique_ptr<WindowsAgentCommon::ITCPSocket>& out) override;
    bool CreateUDPSocket(std::unique_ptr<WindowsAgentCommon::IUDPSocket>& out) override;
    /// False: this agent knows no configuration server.
    bool CreateServerConnection(
        const WindowsAgentCommon::EnvironmentBlock& settings,
        std::shared_ptr<WindowsAgentCommon::IConfigurationServerConnection>& out) override;

private:
    bool create(const std::string* name, const WindowsAgentCommon::EnvironmentBlock& settings,
                std::shared_ptr<WindowsAgentCommon::ISender>& out);

    mutable ACE_Thread_Mutex lock_;
    std::map<std::string, std::shared_ptr<WindowsAgentCommon::ISender>> named_;  // under lock_
    std::vector<std::weak_ptr<WindowsAgentCommon::ISender>> unnamed_;            // under lock_
};

}  // namespace CorvaneAgent
