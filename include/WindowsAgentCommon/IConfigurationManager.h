#pragma once

#include <string>
#include <vector>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "WindowsAgentCommon/ServiceConfig.h"

namespace WindowsAgentCommon {

/// Obtains and maintains the agent's configuration. Lives in a module of its own, which a program loads by
/// name with ClientConfigurationHelper. One thread starts, runs and stops it; the getters may be called by
/// any thread in between. The order of the virtual functions is part of the binary interface.
class CORVANE_API IConfigurationManager {
public:
    IConfigurationManager() = default;
    IConfigurationManager(const IConfigurationManager&) {}
    IConfigurationManager& operator=(const IConfigurationManager&) { return *this; }
    virtual ~IConfigurationManager();

    /// Reads the configuration from the manager's own source. Throws InitializationException when there is
    /// none that can be used.
    virtual void Start() = 0;

    /// The same from source, such as a file's path (UTF-8). flag: what the helper was made with; its meaning
    /// is the manager's.
    virtual void Start(const std::string& source, bool flag) = 0;

    /// Puts the configuration into force, and returns when it is.
    virtual void Run() = 0;

    virtual void Stop() = 0;  ///< Ends what Start and Run began.

    /// Reads the source again. False, and the configuration as it was, when that fails; see GetLastError.
    virtual bool Reload() = 0;

    virtual std::string GetSource() const = 0;                ///< Where the configuration came from.
    virtual std::string GetConfigurationVersion() const = 0;  ///< What the configuration calls its version.
    virtual std::string GetLastError() const = 0;             ///< Why the last Reload failed; empty if not.
    virtual void GetSettings(EnvironmentBlock& settings) const = 0;            ///< The agent's own.
    virtual void GetServices(std::vector<ServiceConfig>& services) const = 0;  ///< All services, in order.
    virtual bool GetService(const std::string& name, ServiceConfig& service) const = 0;  ///< One by name.

    virtual bool TriedToDowngrade();  ///< Whether an older version was offered and refused. false
    virtual bool WasForcedUpdate();   ///< Whether the configuration in force was imposed. false
};

/// A connection to the server that hands out configurations. One thread at a time. Functions return the
/// Windows code, 0 = success.
class CORVANE_API IConfigurationServerConnection {
public:
    IConfigurationServerConnection() = default;
    IConfigurationServerConnection(const IConfigurationServerConnection&) {}
    IConfigurationServerConnection& operator=(const IConfigurationServerConnection&) { return *this; }
    virtual ~IConfigurationServerConnection();

    virtual void Configure(const EnvironmentBlock& settings) = 0;  ///< Before Open.
    virtual unsigned long Open() = 0;
    virtual void Close() = 0;
    virtual bool IsOpen() const = 0;
    virtual std::string GetServerName() const = 0;  ///< Host and port.
    virtual unsigned long Authenticate(const std::string& identifier, const std::string& token) = 0;
    virtual unsigned long GetConfigurationVersion(std::string& version) = 0;  ///< What the server offers.
    virtual unsigned long GetConfiguration(const std::string& version, std::string& configuration) = 0;
    virtual unsigned long AcknowledgeConfiguration(const std::string& version, bool accepted) = 0;
    virtual unsigned long SendStatus(const EnvironmentBlock& status) = 0;
    virtual unsigned long GetPatch(const std::string& name, const std::wstring& targetFile) = 0;
    virtual void SetTimeout(
        unsigned int milliseconds) = 0;            ///< Of each later call that waits for the server.
    virtual std::string GetLastError() const = 0;  ///< Why the last call failed; empty if not.
};

}  // namespace WindowsAgentCommon
