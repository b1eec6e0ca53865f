#pragma once

#include "WindowsAgentCommon/IComponentFactory.h"

#include <ace/Service_Object.h>
#include <ace/Service_Repository.h>
#include <ace/Service_Types.h>

#include <map>
#include <string>

namespace WindowsAgentCommon::test {

/// Registers an object, which it does not own, with the service configurator as the component factory.
class RegisteredFactory {
public:
    explicit RegisteredFactory(ACE_Service_Object* factory) {
        auto* const type = new ACE_Service_Object_Type(factory, kName, ACE_Service_Type::DELETE_THIS);
        ACE_Service_Repository::instance()->insert(new ACE_Service_Type(kName, type, ACE_DLL(), true));
    }
    RegisteredFactory(const RegisteredFactory&) = delete;
    RegisteredFactory& operator=(const RegisteredFactory&) = delete;
    ~RegisteredFactory() { ACE_Service_Repository::instance()->remove(kName); }

private:
    static constexpr const wchar_t* kName = L"ComponentFactory_Dynamic_Service";
};

/// A component factory that hands out what a test put into components, which it does not own; registered as
/// long as it lives.
struct FakeComponentFactory : ACE_Service_Object, IComponentFactory {
    using Code = ComponentFactoryResultCode;
    Code Initialize(const std::vector<ServiceConfig>&) override { return kComponentFactorySuccess; }
    Code Shutdown() override { return kComponentFactorySuccess; }
    bool IsInitialized() const override { return true; }
    bool RegisterComponent(const std::string&, IServiceComponent*) override { return false; }
    // Out of line: a benchmark's compiler would move the look-up out of its loop.
    [[gnu::noipa]] IServiceComponent* GetComponent(const std::string& name) override {
        const auto found = components.find(name);
        return found != components.end() ? found->second : nullptr;
    }
    bool RemoveComponent(const std::string&) override { return false; }
    void GetComponentNames(std::vector<std::string>&) override {}
    bool IsInitialized(const std::string&) override { return true; }
    bool GetStatus(const std::string&, EnvironmentBlock&) override { return false; }
    void AddHook(IComponentFactoryHook*) override {}
    void RemoveHook(IComponentFactoryHook*) override {}
    void SetOverrideHook(IComponentFactoryOverrideHook*) override {}
    Code GetResultCode() const override { return kComponentFactorySuccess; }
    std::string GetFailedComponent() const override { return ""; }

    std::map<std::string, IServiceComponent*> components;
    const RegisteredFactory registered{this};
};

}  // namespace WindowsAgentCommon::test
