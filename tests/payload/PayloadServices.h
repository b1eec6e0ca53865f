#pragma once

#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "tests/support/FakeComponentFactory.h"

#include <memory>

namespace WindowsAgentCommon::test {

/// The library's payload factory, found by name as long as the object lives.
struct PayloadServices {
    explicit PayloadServices(const char* mapping = nullptr) {
        components.components["PayloadFactory"] = &factory;
        if (mapping != nullptr) settings.SetStringValue("PayloadFactoryMapping", mapping);
        factory.Initialize(settings);
    }
    ~PayloadServices() { factory.Shutdown(); }

    EnvironmentBlock settings;
    std::unique_ptr<ACE_Service_Object> service{_make_PayloadFactory(nullptr)};
    IPayloadFactory& factory = dynamic_cast<IPayloadFactory&>(*service);
    FakeComponentFactory components;
};

}  // namespace WindowsAgentCommon::test
