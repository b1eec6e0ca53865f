#pragma once

#include <map>
#include <string>
#include <vector>

#include <ace/RW_Thread_Mutex.h>
#include <ace/Service_Object.h>

#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/LoggerFactory.h"

namespace CorvaneAgent {

/// Whether a name can stand in a directive: letters, digits and "_", no digit first, at least two characters
/// (ACE takes one letter for a drive).
bool IsDirectiveName(const std::string& name);

/// The agent's component factory. Of a service's record, text1 is its name, text2 its module (empty:
/// CorvaneCommon), text3 the class that its creation function is named for (empty: the name); each line of a
/// setting is a value of its own.
///
/// Initialize makes all components first, in the order given, then initialises each as soon as the services
/// that it names as its dependencies are, then starts them in the order in which they were initialised. A
/// component that defers is asked again after another one was initialised. The first failure ends it: what
/// was initialised is shut down, the last one first, and everything made is destroyed.
class ComponentFactory : public WindowsAgentCommon::IComponentFactory, public ACE_Service_Object {
public:
    using Result = WindowsAgentCommon::ComponentFactoryResultCode;

    ComponentFactory();
    ~ComponentFactory() override;

    Result Initialize(const std::vector<WindowsAgentCommon::ServiceConfig>& services) override;
    Result Shutdown() override;
    bool IsInitialized() const override;
    bool RegisterComponent(const std::string& name,
                           WindowsAgentCommon::IServiceComponent* component) override;
    WindowsAgentCommon::IServiceComponent* GetComponent(const std::string& name) override;
    bool RemoveComponent(const std::string& name) override;
    void GetComponentNames(std::vector<std::string>& names) override;
    bool IsInitialized(const std::string& name) override;
    bool GetStatus(const std::string& name, WindowsAgentCommon::EnvironmentBlock& status) override;
    void AddHook(WindowsAgentCommon::IComponentFactoryHook* hook) override;
    void RemoveHook(WindowsAgentCommon::IComponentFactoryHook* hook) override;
    void SetOverrideHook(WindowsAgentCommon::IComponentFactoryOverrideHook* hook) override;
    Result GetResultCode() const override;
    std::string GetFailedComponent() const override;

    /// Makes, initialises and starts one more component, once Initialize has succeeded; RemoveComponent
    /// undoes it. Only a collector (IDeviceService): kComponentFactoryNotAComponent for another. After a
    /// failure nothing of it is left.
    Result Add(const WindowsAgentCommon::ServiceConfig& service);

    /// Begins the end of components (IStoppable) that are shut down next, with one deadline in a second, so
    /// that what each may wait for does not add up.
    void BeginStop(const std::vector<std::string>& names);

    std::string GetFailure() const { return failure_; }  ///< Why it failed, UTF-8.

    int fini() override { return 0; }  ///< The host shuts it down itself.

private:
    struct Entry {
        std::string name;
        WindowsAgentCommon::IServiceComponent* component = nullptr;
        WindowsAgentCommon::EnvironmentBlock settings;
        bool loaded = false;  // by a directive, which is undone at the end
        bool initialized = false;
    };

    Result make(const WindowsAgentCommon::ServiceConfig& service);
    Result load(const WindowsAgentCommon::ServiceConfig& service, const std::string& module, Entry& entry);
    Result initializeAll();
    bool hasDependencies(const Entry& entry, bool& known);
    bool initializeOne(std::size_t index);
    Result reportStuck(const std::vector<std::size_t>& waiting);
    Result startAll(std::size_t from);
    void shutdownOne(Entry& entry);
    Result endAll(Result result);
    Result fail(Result result, const std::string& name, const std::string& why);
    void unload(const Entry& entry);
    void add(const Entry& entry);
    Result addOne(const WindowsAgentCommon::ServiceConfig& service);

    template <class Call>
    void tell(Call call);

    WindowsAgentCommon::Log log_;
    mutable ACE_RW_Thread_Mutex lock_;  // guards the next line
    std::map<std::string, WindowsAgentCommon::IServiceComponent*> byName_;
    std::vector<Entry> entries_;      // as they were made; the factory's thread only, like what follows
    std::vector<std::size_t> order_;  // indexes of entries_, as they were initialised
    std::vector<WindowsAgentCommon::IComponentFactoryHook*> hooks_;
    WindowsAgentCommon::IComponentFactoryOverrideHook* override_ = nullptr;
    Result result_ = WindowsAgentCommon::kComponentFactorySuccess;
    std::string failed_;
    std::string failure_;
    bool initialized_ = false;
};

}  // namespace CorvaneAgent
