#pragma once

#include "WindowsAgentCommon/IComponentFactory.h"

#include <ace/Service_Config.h>
#include <ace/Service_Object.h>
#include <ace/Service_Repository.h>
#include <ace/Service_Types.h>

#include <map>

namespace WindowsAgentCommon::test {

/// A component factory that hands out what a test put into components; registered with the service
/// configurator as long as it lives.
class FakeComponentFactory : public IComponentFactory, public ACE_Service_Object {
public:
    FakeComponentFactory() {
        auto* const type = new ACE_Service_Object_Type(static_cast<ACE_Service_Object*>(this), kName,
                                                       ACE_Service_Type::DELETE_THIS);
        ACE_Service_Repository::instance()->insert(new ACE_Service_Type(kName, type, ACE_DLL(), true));
    }
    ~FakeComponentFactory() override { ACE_Service_Repository::instance()->remove(kName); }

    IServiceComponent* GetComponent(const std::string& name) override { return components[name]; }

    ComponentFactoryResultCode Initialize(const std::vector<ServiceConfig>&) override { return {}; }
    ComponentFactoryResultCode Shutdown() override { return {}; }
    bool IsInitialized() const override { return true; }
    bool RegisterComponent(const std::string&, IServiceComponent*) override { return false; }
    bool RemoveComponent(const std::string&) override { return false; }
    void GetComponentNames(std::vector<std::string>&) override {}
    bool IsInitialized(const std::string&) override { return true; }
    bool GetStatus(const std::string&, EnvironmentBlock&) override { return false; }
    void AddHook(IComponentFactoryHook*) override {}
    void RemoveHook(IComponentFactoryHook*) override {}
    void SetOverrideHook(IComponentFactoryOverrideHook*) override {}
    ComponentFactoryResultCode GetResultCode() const override { return {}; }
    std::string GetFailedComponent() const override { return {}; }

    std::map<std::string, IServiceComponent*> components;  ///< By service name; not owned.

private:
    static constexpr const wchar_t* kName = L"ComponentFactory_Dynamic_Service";
};

}  // namespace WindowsAgentCommon::test
