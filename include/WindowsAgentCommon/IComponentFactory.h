#pragma once

#include <string>
#include <vector>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

/// How the factory's initialisation or shut-down, or that of one component, ended.
enum ComponentFactoryResultCode : int {
    kComponentFactorySuccess = 0,
    kComponentFactoryModuleMissing = 1,  ///< A module, or its creation function, could not be loaded.
    kComponentFactoryNotAComponent = 2,  ///< A module loaded, but what it made is no IServiceComponent.
    kComponentFactoryBadDependency = 3,  ///< A dependency is unknown, failed, or leads back to its component.
    kComponentFactoryComponentFailed = 4,  ///< A component's Initialize or Start failed.
    kComponentFactoryDeferredForever = 5,  ///< Components kept deferring with nothing left to wait for.
    kComponentFactoryShutdownFailed = 6,   ///< A component did not shut down cleanly.
    kComponentFactoryWrongState = 7,       ///< Initialised twice, or shut down without initialisation.
};

/// Watches a component factory at work. A host derives from it and overrides what it wants to see; names are
/// those of components (services). The calls come from the thread in which the factory works, in the order in
/// which things happen; an exception that leaves one ends what the factory is doing as the failure of the
/// component in hand.
class CORVANE_API IComponentFactoryHook {
public:
    IComponentFactoryHook() = default;
    IComponentFactoryHook(const IComponentFactoryHook&) {}
    IComponentFactoryHook& operator=(const IComponentFactoryHook&) { return *this; }
    virtual ~IComponentFactoryHook();

    virtual std::string GetHookName() const = 0;  ///< What the factory's log calls this hook.

    virtual void OnFactoryInitializationStart();
    /// The component has its service configuration and settings.
    virtual void OnStaticConfigurationInitialized(const std::string& name);
    virtual void OnModuleInitialized(const std::string& name);  ///< Its module is loaded, the component made.
    virtual void OnComponentInitializeSuccess(const std::string& name);
    virtual void OnComponentInitializeFail(const std::string& name);
    virtual void OnComponentInitializeDefer(const std::string& name);
    virtual void OnComponentInitializeBadDependency(const std::string& name);
    virtual void OnFactoryInitializationEnd(ComponentFactoryResultCode result);
    virtual void OnBeforeComponentShutdown(const std::string& name);
    virtual void OnAfterComponentShutdown(const std::string& name, ComponentFactoryResultCode result);
    virtual void OnFactoryShutdownStarting();
    virtual void OnFactoryShutdownComplete();
};

/// Lets a host put something of its own in place of what the factory would take. Each operation returns
/// false, and leaves its output alone, for "as configured".
class CORVANE_API IComponentFactoryOverrideHook {
public:
    IComponentFactoryOverrideHook() = default;
    IComponentFactoryOverrideHook(const IComponentFactoryOverrideHook&) {}
    IComponentFactoryOverrideHook& operator=(const IComponentFactoryOverrideHook&) { return *this; }
    virtual ~IComponentFactoryOverrideHook();

    /// module: the DLL to load for the service, without folder and extension.
    virtual bool OverrideModule(const std::string& name, std::string& module) = 0;
    /// settings: what the component's Initialize gets.
    virtual bool OverrideSettings(const std::string& name, EnvironmentBlock& settings) = 0;
    /// component: what is registered instead of loading a module; stays the host's.
    virtual bool OverrideComponent(const std::string& name, IServiceComponent*& component) = 0;
};

/// Makes the agent's service components, orders their initialisation by their dependencies, keeps them by
/// name, and ends them in the opposite order. Lives outside this library: the host registers one with the
/// service configurator as "ComponentFactory_Dynamic_Service", and GetComponentFactory() finds it.
///
/// One thread initialises and shuts down; look-ups may come from any thread. The order of the virtual
/// functions is part of the binary interface.
class CORVANE_API IComponentFactory {
public:
    IComponentFactory() = default;
    IComponentFactory(const IComponentFactory&) {}
    IComponentFactory& operator=(const IComponentFactory&) { return *this; }
    virtual ~IComponentFactory();

    /// Makes, configures, initialises and starts the components. Of a record, text1 is the service's name,
    /// text2 its module (empty: the library's own), and settings what Initialize gets. When a component
    /// fails, those that were initialised are shut down again.
    virtual ComponentFactoryResultCode Initialize(const std::vector<ServiceConfig>& services) = 0;
    virtual ComponentFactoryResultCode Shutdown() = 0;  ///< Ends every component, the last one first.
    virtual bool IsInitialized() const = 0;

    /// Registers a component of the host's own before Initialize, which stays the host's; it is initialised
    /// with the others. False when the name is taken.
    virtual bool RegisterComponent(const std::string& name, IServiceComponent* component) = 0;

    /// The component registered under name, or null. Valid until the factory shuts down.
    virtual IServiceComponent* GetComponent(const std::string& name) = 0;

    virtual bool RemoveComponent(const std::string& name) = 0;  ///< Shuts one component down and forgets it.
    virtual void GetComponentNames(std::vector<std::string>& names) = 0;  ///< In order of initialisation.
    virtual bool IsInitialized(const std::string& name) = 0;              ///< One component's state.
    virtual bool GetStatus(const std::string& name,
                           EnvironmentBlock& status) = 0;      ///< One component's status.
    virtual void AddHook(IComponentFactoryHook* hook) = 0;     ///< Not owned. Before Initialize.
    virtual void RemoveHook(IComponentFactoryHook* hook) = 0;  ///< Nothing when it was not added.
    virtual void SetOverrideHook(IComponentFactoryOverrideHook* hook) = 0;  ///< Not owned; null for none.
    virtual ComponentFactoryResultCode GetResultCode() const = 0;  ///< Of the last call that had one.
    virtual std::string GetFailedComponent() const = 0;  ///< Whom the result code is about; empty for nobody.
};

/// The registered component factory; null when none is registered or what is registered is no such. Looked up
/// at each call. Any thread; throws nothing.
CORVANE_API IComponentFactory* GetComponentFactory();

/// The component of a service, such as `_getService(IPayloadFactory::GetServiceName())`, to be narrowed with
/// dynamic_cast; null when there is no factory (an error in the log of "Code.ComponentFactory") or it knows
/// no such service (a debug line). Not owned. Any thread; throws nothing.
CORVANE_API IServiceComponent* _getService(std::string name);

}  // namespace WindowsAgentCommon
