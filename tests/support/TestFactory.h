#pragma once

#include "WindowsAgentCommon/IComponentFactory.h"

#include <ace/Service_Config.h>
#include <ace/Service_Object.h>

#include <map>
#include <string>

namespace WindowsAgentCommon::test {

/// Registers an object with the service configurator as the component factory, and owns it until the end.
class RegisteredFactory {
public:
    explicit RegisteredFactory(ACE_Service_Object* factory) {
        object_ = factory;
        ACE_Static_Svc_Descriptor descriptor = {kName, ACE_SVC_OBJ_T, Give, ACE_Service_Type::DELETE_THIS, 1};
        ACE_Service_Config::current()->process_directive(descriptor, false);
    }
    RegisteredFactory(const RegisteredFactory&) = delete;
    RegisteredFactory& operator=(const RegisteredFactory&) = delete;
    ~RegisteredFactory() { ACE_Service_Config::remove(kName); }

private:
    static ACE_Service_Object* Give(ACE_Service_Object_Exterminator* exterminator) {
        *exterminator = [](void* object) { delete static_cast<ACE_Service_Object*>(object); };
        return object_;
    }

    static constexpr const wchar_t* kName = L"ComponentFactory_Dynamic_Service";
    static inline ACE_Service_Object* object_ = nullptr;
};

/// A component factory that knows what it was given, and does nothing else.
struct TestFactory : ACE_Service_Object, IComponentFactory {
    using Code = ComponentFactoryResultCode;
    Code Initialize(const std::vector<ServiceConfig>&) override { return kComponentFactorySuccess; }
    Code Shutdown() override { return kComponentFactorySuccess; }
    bool IsInitialized() const override { return true; }
    bool RegisterComponent(const std::string& name, IServiceComponent* component) override {
        return components.emplace(name, component).second;
    }
    // Out of line: a benchmark's compiler would move the look-up out of its loop.
    [[gnu::noipa]] IServiceComponent* GetComponent(const std::string& name) override {
        const auto found = components.find(name);
        return found != components.end() ? found->second : nullptr;
    }
    bool RemoveComponent(const std::string& name) override { return components.erase(name) != 0; }
    void GetComponentNames(std::vector<std::string>&) override {}
    bool IsInitialized(const std::string&) override { return true; }
    bool GetStatus(const std::string&, EnvironmentBlock&) override { return false; }
    void AddHook(IComponentFactoryHook*) override {}
    void RemoveHook(IComponentFactoryHook*) override {}
    void SetOverrideHook(IComponentFactoryOverrideHook*) override {}
    Code GetResultCode() const override { return kComponentFactorySuccess; }
    std::string GetFailedComponent() const override { return ""; }

    std::map<std::string, IServiceComponent*> components;
};

}  // namespace WindowsAgentCommon::test
