#pragma once

#include <memory>
#include <string>
#include <vector>

#include "WindowsAgentCommon/IServiceComponent.h"
#include "WindowsAgentCommon/ISender.h"

namespace WindowsAgentCommon {

class IConfigurationServerConnection;
class IRawSocket;
class ITCPSocket;
class IUDPSocket;

/// Makes connections. After Initialize any thread may call it. Creating functions return whether out holds
/// something.
class CORVANE_API IConnectionFactory : public IServiceComponent {
public:
    ~IConnectionFactory() override;

    static std::string GetServiceName();  ///< "ConnectionFactory"

    /// Makes a sender of its settings, not open yet. Those that every factory knows: "Type" ("UDP" or a
    /// stream), "TargetAddress", "TargetPort", "QueueLowWaterMark", "QueueHighWaterMark", "MaxPayloadSize"
    /// (bytes).
    virtual bool CreateSender(const EnvironmentBlock& settings, std::shared_ptr<ISender>& out) = 0;

    /// Makes a sender, as above, under a name for the others; false when the name is taken.
    virtual bool CreateSender(const std::string& name, const EnvironmentBlock& settings,
                              std::shared_ptr<ISender>& out) = 0;
    virtual bool GetSender(const std::string& name, std::shared_ptr<ISender>& out) = 0;
    virtual void GetSenderNames(std::vector<std::string>& names) = 0;

    virtual bool CreateRawSocket(std::unique_ptr<IRawSocket>& out) = 0;
    virtual bool CreateTCPSocket(std::unique_ptr<ITCPSocket>& out) = 0;
    virtual bool CreateUDPSocket(std::unique_ptr<IUDPSocket>& out) = 0;
    virtual bool CreateServerConnection(const EnvironmentBlock& settings,
                                        std::shared_ptr<IConfigurationServerConnection>& out) = 0;
};

}  // namespace WindowsAgentCommon
