#pragma once

#include <string>
#include <vector>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "WindowsAgentCommon/ServiceConfig.h"

namespace WindowsAgentCommon {

/// What IServiceComponent::Initialize tells the component factory.
enum class InitializeResult : int {
    kDone = 0,   ///< The component is initialised.
    kDefer = 1,  ///< Something that it needs is not there yet: initialise the others, then ask again.
};

/// What every service component can do, whatever its service. Made by its module's creation function, owned
/// by the service configurator, found by name with _getService().
///
/// Its life: made, Configure, Initialize (again after kDefer), Start, used, Shutdown, destroyed. The
/// component factory makes these calls from one thread; the getters may be called by any thread at any time
/// after Configure. The order of the virtual functions is part of the binary interface.
class CORVANE_API IServiceComponent {
public:
    IServiceComponent() = default;
    IServiceComponent(const IServiceComponent&) {}
    IServiceComponent& operator=(const IServiceComponent&) { return *this; }
    virtual ~IServiceComponent();

    /// Gives the component its service configuration; text1 is the instance's name.
    virtual void Configure(const ServiceConfig& config) = 0;
    virtual const ServiceConfig& GetServiceConfig() const = 0;  ///< What Configure was given, or empty.
    virtual std::string GetInstanceName() const = 0;            ///< text1 of the service configuration.
    virtual std::string GetVersion() const = 0;                 ///< Such as "7.2.8".

    /// Adds the names of the services that must be initialised before this one.
    virtual void GetDependencies(std::vector<std::string>& services) const = 0;

    /// Reads the settings and gets the component ready to be used. Does nothing when it is initialised.
    /// Throws InitializationException when it cannot be used; it may then be tried again.
    virtual InitializeResult Initialize(const EnvironmentBlock& settings) = 0;

    virtual bool IsInitialized() const = 0;  ///< Between a successful Initialize and Shutdown.

    /// Begins the component's own work, after all components of the factory were initialised. Throws
    /// InitializationException when it cannot.
    virtual void Start() = 0;

    /// Adds what an operator would want to know about its state to status, as name and value.
    virtual void GetStatus(EnvironmentBlock& status) const = 0;

    /// Ends the component's work and its threads, and keeps what must not be lost. May block meanwhile.
    /// Nothing happens when it is not initialised. Throws nothing; Initialize may follow.
    virtual void Shutdown() = 0;
};

}  // namespace WindowsAgentCommon
